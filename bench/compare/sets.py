"""The sets of files to fetch, and the library that each is published as."""

import dataclasses
import json
import pathlib
import random
import shutil
import subprocess

KIB = 1024
MIB = 1024 * KIB


@dataclasses.dataclass
class Library:
    """A published tree."""

    folder: pathlib.Path
    names: list  # of the files, relative to the folder
    size: int  # bytes in all

    def build(self, programs):
        subprocess.run([programs / "mtlpublish", "build", self.folder], check=True,
                       stdout=subprocess.DEVNULL)

    def remove(self):
        shutil.rmtree(self.folder)


@dataclasses.dataclass
class FileSet:
    name: str
    count: int
    size: int  # bytes a file
    folders: int
    round_trip: float = 0  # seconds; 0 fetches over loopback
    digests: bool = True  # in the list
    schemes: tuple = ("http", "https")

    def publish(self, folder, programs):
        """The set as a library in `folder`; the same bytes each time."""
        source = random.Random(self.name)
        content = source.randbytes(min(self.size, MIB) + KIB)
        names = []
        for index in range(self.count):
            name = f"maps{index % self.folders:03}/texture{index:05}.tx"
            path = folder / name
            path.parent.mkdir(parents=True, exist_ok=True)
            with open(path, "wb") as file:
                for written in range(0, self.size, MIB):
                    # Each file has a content of its own: what is twice is not fetched twice.
                    begin = source.randrange(KIB)
                    piece = content[begin:begin + min(MIB, self.size - written)]
                    mark = f"{index:08}"[-len(piece):].encode()
                    file.write(mark + piece[len(mark):])
            names.append(name)
        library = Library(folder, names, self.count * self.size)
        library.build(programs)
        if not self.digests:
            without_digests(folder / "filelist.json")
        return library


def without_digests(file):
    entries = json.loads(file.read_text())
    for entry in entries:
        del entry["sha256"]
    file.write_text(json.dumps(entries) + "\n")


FULL = [
    FileSet("small", 20_000, 4 * KIB, folders=200),
    FileSet("medium", 2_000, 512 * KIB, folders=20),
    FileSet("large", 8, 256 * MIB, folders=1),
    FileSet("large without digests", 8, 256 * MIB, folders=1, digests=False, schemes=("http",)),
    FileSet("wan", 500, 64 * KIB, folders=5, round_trip=0.030),
]

# The same with fewer or smaller files.
QUICK = [dataclasses.replace(file_set, count=count, size=size)
         for file_set, count, size in zip(FULL, (2_000, 200, 8, 8, 50),
                                          (4 * KIB, 512 * KIB, 32 * MIB, 32 * MIB, 64 * KIB))]
