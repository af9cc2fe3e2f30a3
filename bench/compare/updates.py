"""Measures what keeping a copy up to date costs: one file of many has changed, or nothing has."""

import dataclasses
import os
import random
import time

from measure import run
from results import OURS
from server import nginx

CHANGED = "1 file changed"
NOTHING = "nothing new"


@dataclasses.dataclass
class Traffic:
    """What a server has answered."""

    requests: int
    size: int  # bytes of the bodies

    @classmethod
    def read(cls, log):
        time.sleep(0.5)  # The server writes of an answer after the client has it.
        sizes = [int(line.split()[0]) for line in log.read_text().splitlines()]
        log.write_text("")
        return cls(len(sizes), sum(sizes))


def change(path):
    """Another content of the same size."""
    content = bytearray(path.read_bytes())
    content[:8] = random.randbytes(8)
    path.write_bytes(content)


def files_of(copy):
    """Those of the library."""
    for folder, folders, names in os.walk(copy):
        if ".mtllib" in folders:
            folders.remove(".mtllib")
        for name in names:
            if name != "id.txt":
                yield os.path.join(folder, name)


def files_read(copy, action):
    """How many files of the copy are read meanwhile."""
    files = list(files_of(copy))
    for file in files:
        os.utime(file, ns=(0, os.stat(file).st_mtime_ns))
    action()
    count = sum(os.stat(file).st_atime_ns != 0 for file in files)
    with open(files[0], "rb") as file:
        file.read()
    assert os.stat(files[0]).st_atime_ns != 0, "the file system does not say what is read"
    return count


def measure_updates(file_set, tools, rounds, work, authority, programs, results):
    """Each tool with a copy of its own, in turns."""
    library = file_set.publish(work / "updated", programs)
    an_hour_ago = time.time() - 3600
    for name in library.names:
        os.utime(library.folder / name, (an_hour_ago, an_hour_ago))
    library.build(programs)
    copies = {tool.name: work / f"copy of {tool.name}" for tool in tools}
    log = work / "requests"
    with nginx(library.folder, authority, work, log=log) as server:
        address = server.address("http")
        for tool in tools:
            tool.update(library, address, copies[tool.name])
        Traffic.read(log)
        for _ in range(rounds):
            changed = library.folder / random.choice(library.names)
            change(changed)
            library.build(programs)
            own = [library.folder / "id.txt", library.folder / "filelist.json"]
            results.least = sum(os.path.getsize(file) for file in [changed, *own])
            for work_name in (CHANGED, NOTHING):
                for tool in random.sample(tools, len(tools)):
                    usage = tool.update(library, address, copies[tool.name])
                    results.add(work_name, "http", tool.name, usage)
                    results.traffic[work_name, tool.name] = Traffic.read(log)
        ours = next(tool for tool in tools if tool.name == OURS)
        results.files_read = files_read(
            copies[OURS], lambda: run(ours.command(library, address, copies[OURS])))
    library.remove()
