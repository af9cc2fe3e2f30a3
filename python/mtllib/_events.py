"""What a run reports while it runs."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Literal, Optional, Tuple

from mtllib._errors import ErrorEntry
from mtllib._results import FileChange, Plan

EventKind = Literal["stage", "info", "warning", "error", "plan", "file", "waiting"]


@dataclass(frozen=True)
class Progress:
    """How far the current phase of a run has come. What is unknown is None."""

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
    """Until the phase is done, at that rate."""

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
    """"stage": the current step. "info": details that help when something goes wrong. "warning": a
    problem that does not end the run by itself. "error": the failure that ends it. With the engine
    only: "plan": what will be done, before any of it is done. "file": a file was fetched, copied,
    removed or skipped. "waiting": another run is at work on the copy, and this one waits for it."""
    text: str
    """The library's own words; for "file" the path; for "plan" and "waiting" empty. It may contain
    names that a server chose: `mtllib.printable` makes it safe to show."""
    chain: Tuple[ErrorEntry, ...] = ()
    """For errors and some warnings: what failed, followed by its causes."""
    plan: Optional[Plan] = None
    """For "plan"."""
    file: Optional[FileChange] = None
    """For "file". Fetched and copied files are put in place once all of them are there."""
    process: Optional[int] = None
    """For "waiting": the process of the other run; 0 if it is unknown."""
