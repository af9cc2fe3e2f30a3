#!/usr/bin/python3
"""Measures what the real mtlsync asks a real nginx for in each kind of run.

Publishes a library, keeps a copy of it by each kind of client, and writes what nginx counted as
the figures that the simulation of a fleet is made from.
"""

from __future__ import annotations

import argparse
import dataclasses
import os
import pathlib
import random
import subprocess
import tempfile

from figures import (DIFFERENCE, FILE, FIRST, HUNDRED, KIT, LIST, MODULE, NAMED_ANEW, NOTHING, ONE,
                     PACKED_LIST, STAMP, WHOLE_LIST, Figures, Run, Traffic)
from server import Server, nginx

FIGURES = pathlib.Path(__file__).with_name("figures.json")
FILES_A_FOLDER = 100


def run(command: list[str | pathlib.Path]) -> str:
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


@dataclasses.dataclass
class Library:
    """A library of files of one size, whose contents are the same each time it is made."""

    folder: pathlib.Path
    programs: pathlib.Path
    size: int  # of each file
    names: list[str] = dataclasses.field(default_factory=list)
    content: random.Random = dataclasses.field(default_factory=lambda: random.Random(1))

    def write(self, name: str) -> None:
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(self.content.randbytes(self.size))

    def fill(self, count: int) -> None:
        self.names = [f"materials/{index // FILES_A_FOLDER:03}/texture{index:05}.tx"
                      for index in range(count)]
        for name in self.names:
            self.write(name)

    def change(self, count: int) -> None:
        """Other contents for files from all over the library."""
        for name in self.names[::len(self.names) // count][:count]:
            self.write(name)

    def replace_by_another(self) -> None:
        """A file whose name changes with its content."""
        (self.folder / self.names.pop()).unlink()
        self.names.append("maps/texture-2.tx")
        self.write(self.names[-1])

    @property
    def key(self) -> pathlib.Path:
        """Where the keys are, without what distinguishes them."""
        return self.folder.with_name("fleet")

    def build(self, *options: str) -> None:
        if not self.key.with_suffix(".key").exists():
            run([self.programs / "mtlpublish", "keygen", "--no-password", self.key])
        run([self.programs / "mtlpublish", "build", "--sign", self.key.with_suffix(".key"),
             "--name", "fleet", *options, self.folder])

    def set(self, *lines: str) -> None:
        """How it is published from now on."""
        (self.folder / "library.toml").write_text("\n".join(lines) + "\n", encoding="utf-8")


@dataclasses.dataclass
class Client:
    """A kind of client, and its copy of the library."""

    name: str
    command: list[str | pathlib.Path]
    copy: pathlib.Path

    def run(self, server: Server) -> None:
        run([*self.command, server.address, self.copy])

    def update(self, server: Server) -> dict[str, Traffic]:
        """What a run asks for."""
        self.run(server)
        return server.counted()


def clients_of(library: Library, work: pathlib.Path) -> list[Client]:
    programs = library.programs
    mtlsync: list[str | pathlib.Path] = [programs / "mtlsync", "--quiet", "--no-proxy"]
    return [Client(KIT, [*mtlsync, "--key", library.key.with_suffix(".pub")], work / KIT),
            Client(MODULE, [*mtlsync, "--module", programs / "libmtllib.so"], work / MODULE)]


def measure_unchanged(server: Server, library: Library) -> dict[str, Traffic]:
    """What a cache takes that asks whether what it has of each kind is still good."""
    difference = next((library.folder / "changes").iterdir())
    paths = {STAMP: "id.txt", LIST: "filelist.json", PACKED_LIST: "filelist.json.gz",
             DIFFERENCE: f"changes/{difference.name}", FILE: library.names[0]}
    parts = {}
    for kind, path in paths.items():
        tag = server.get(f"/lib/{path}", {"Accept-Encoding": "identity"}).headers["ETag"]
        server.counted()
        response = server.get(f"/lib/{path}", {"If-None-Match": tag})
        assert response.status == 304, f"{path}: {response.status}"
        (parts[kind],) = server.counted().values()
    return parts


def measure_runs(library: Library, server: Server,
                 clients: list[Client]) -> dict[str, dict[str, Run]]:
    """Each kind of run, of every client."""
    runs: dict[str, dict[str, Run]] = {client.name: {} for client in clients}

    def note(kind: str, new_files: int) -> None:
        for client in clients:
            runs[client.name][kind] = Run(client.update(server), new_files)

    note(FIRST, len(library.names))
    note(NOTHING, 0)
    def note_change(kind: str, count: int) -> None:
        library.change(count)
        library.build()
        note(kind, count)

    note_change(ONE, 1)
    note_change(HUNDRED, 100)
    library.set("differences = 0")
    note_change(WHOLE_LIST, 1)
    # From here on a content has a name of its own, and nobody fetches it twice.
    library.set("[[policy]]", 'files = ["*"]', 'download = "missing"')
    library.build()
    for client in clients:
        client.update(server)
    library.replace_by_another()
    library.build()
    note(NAMED_ANEW, 1)
    return runs


def measure(programs: pathlib.Path, files: int, size: int) -> Figures:
    # In memory where there is room: so many files are a disk's work.
    room = "/dev/shm" if os.path.isdir("/dev/shm") else None
    with tempfile.TemporaryDirectory(prefix="mtllib-fleet-", dir=room) as name:
        work = pathlib.Path(name)
        library = Library(work / "library", programs, size)
        library.fill(files)
        library.build()
        with nginx(library.folder, work) as server:
            runs = measure_runs(library, server, clients_of(library, work))
            unchanged = measure_unchanged(server, library)
        version = run([programs / "mtlsync", "--version"]).splitlines()[0]
        return Figures(version, files, files * size, runs, unchanged)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", type=pathlib.Path, required=True, metavar="DIR",
                        help="folder of the built mtlsync, mtlpublish and module")
    parser.add_argument("--files", type=int, default=30_000, metavar="N")
    parser.add_argument("--size", type=int, default=11_500, metavar="BYTES", help="of each file")
    parser.add_argument("--output", type=pathlib.Path, default=FIGURES, metavar="FILE")
    arguments = parser.parse_args()
    measure(arguments.programs.resolve(), arguments.files, arguments.size).save(arguments.output)


if __name__ == "__main__":
    main()
