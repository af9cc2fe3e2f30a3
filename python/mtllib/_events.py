"""What a run reports while it runs."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Literal, Optional, Tuple

from mtllib._errors import ErrorEntry
from mtllib._results import FileChange, Plan

EventKind = Literal["stage", "info", "warning", "error", "plan", "file", "waiting"]


@dataclass(frozen=True)
class Progress:
    """How far the present phase of a run has come; what is not known is None."""

    text: str
    """The phase, such as "Downloading files"."""
    permille: Optional[int] = None
    """0 to 1000."""
    megabytes_done: Optional[int] = None
    """In megabytes of 1,000,000 bytes, like the total."""
    megabytes_total: Optional[int] = None
    bytes_done: Optional[int] = None
    bytes_total: Optional[int] = None
    bytes_per_second: Optional[float] = None
    """Over the last seconds."""
    seconds_left: Optional[float] = None
    """Until the phase is done, going by that."""

    def __str__(self) -> str:
        line = self.text
        if self.permille is not None:
            line += f": {self.permille // 10} %"
        if self.megabytes_done is not None and self.megabytes_total:
            line += f" ({self.megabytes_done} of {self.megabytes_total} MB)"
        return line


@dataclass(frozen=True)
class Event:
    """A message of a run."""

    kind: EventKind
    """"stage": what is done now. "info": worth knowing when something goes wrong.
    "warning": a failure that the run survives. "error": the one that ends it. Of the engine,
    not of the module: "plan": what is to be done, before any of it is done. "file": something
    became of a file. "waiting": another run is at work on the copy, and is waited for."""
    text: str
    """As the library says it; of "file" the path; of "plan" and "waiting" empty. Names that a server chose may stand in it: `mtllib.printable`
    makes it fit to be shown."""
    chain: Tuple[ErrorEntry, ...] = ()
    """What failed, and after it its causes; of errors, and of some warnings."""
    plan: Optional[Plan] = None
    """Of "plan"."""
    file: Optional[FileChange] = None
    """Of "file". What was fetched or copied is put in its place when all files are there."""
    process: Optional[int] = None
    """Of "waiting": the one of the other run; 0 when it is unknown."""
