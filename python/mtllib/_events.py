"""What a run tells while it runs, and what it leaves to tell at its end."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Literal, Optional, Tuple

from mtllib._errors import ErrorEntry

EventKind = Literal["stage", "info", "warning", "error"]


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
    "warning": a failure that the run survives. "error": the one that ends it."""
    text: str
    """As the library says it. Names that a server chose may stand in it: `mtllib.printable`
    makes it fit to be shown."""
    chain: Tuple[ErrorEntry, ...] = ()
    """What failed, and after it its causes; of errors, and of some warnings."""


@dataclass(frozen=True)
class Result:
    """A synchronisation that succeeded."""

    updated: bool
    """False when the copy was up to date already."""
    files: int
    """How many files were fetched."""
    skipped_events: int
    """Events left out because the handlers could not keep up; never warnings or errors."""
