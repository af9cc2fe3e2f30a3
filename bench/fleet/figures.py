"""Figures are the requests and bytes of one run of a client, by kind of document, as nginx counted
them."""

from __future__ import annotations

import dataclasses
import json
import pathlib
from collections.abc import Mapping

STAMP, LIST, PACKED_LIST, DIFFERENCE, FILE = KINDS = (
    "stamp", "list", "packed list", "difference", "file")

KIT, MODULE = "kit", "module"
FIRST = "first run"
NOTHING = "nothing new"
ONE = "1 file changed"
HUNDRED = "100 files changed"
WHOLE_LIST = "1 file changed, without list differences"
NAMED_ANEW = "1 file changed, under a new name"


@dataclasses.dataclass(frozen=True)
class Traffic:
    """Requests, and the bytes of headers and bodies that went each way, without TLS."""

    requests: int = 0
    sent: int = 0  # by the client
    received: int = 0

    def __add__(self, other: Traffic) -> Traffic:
        return Traffic(self.requests + other.requests, self.sent + other.sent,
                       self.received + other.received)

    def __sub__(self, other: Traffic) -> Traffic:
        return self + other.times(-1)

    def times(self, count: int) -> Traffic:
        return Traffic(self.requests * count, self.sent * count, self.received * count)

    def share(self, requests: int) -> Traffic:
        """What so many of the requests take."""
        return Traffic(requests, round(self.sent * requests / self.requests),
                       round(self.received * requests / self.requests))


@dataclasses.dataclass(frozen=True)
class Run:
    """One run of a client."""

    parts: Mapping[str, Traffic]  # by kind of document
    new_files: int = 0  # how many of the files that it asks for are in no cache yet

    def total(self) -> Traffic:
        return sum(self.parts.values(), Traffic())

    def new(self, kind: str) -> int:
        """How many of the documents of that kind are in no cache yet."""
        if kind == FILE:
            return self.new_files
        # A release has a stamp and a list of its own, and whoever finds it asks for more than that.
        return self.parts[kind].requests if len(self.parts) > 1 else 0


@dataclasses.dataclass(frozen=True)
class Figures:
    """What was measured."""

    program: str  # which measured them, with its version
    files: int  # in the library
    size: int  # bytes of them all
    runs: Mapping[str, Mapping[str, Run]]  # by client and kind of run
    unchanged: Mapping[str, Traffic]  # what a cache that asks whether its copy is good takes

    def save(self, file: pathlib.Path) -> None:
        file.write_text(json.dumps(dataclasses.asdict(self), indent=1) + "\n", encoding="utf-8")

    @staticmethod
    def load(file: pathlib.Path) -> Figures:
        fields = json.loads(file.read_text(encoding="utf-8"))
        fields["unchanged"] = _parts(fields["unchanged"])
        fields["runs"] = {
            client: {kind: Run(_parts(run["parts"]), run["new_files"])
                     for kind, run in runs.items()}
            for client, runs in fields["runs"].items()}
        return Figures(**fields)


def _parts(fields: Mapping[str, Mapping[str, int]]) -> dict[str, Traffic]:
    return {kind: Traffic(**traffic) for kind, traffic in fields.items()}
