"""The exceptions of the package, and the entries of which an error chain consists."""

from __future__ import annotations

from dataclasses import dataclass
from typing import List, Sequence

from mtllib._printable import printable


@dataclass(frozen=True)
class ErrorEntry:
    """One failure of a chain; the entry after it in the chain is its cause."""

    tag: str
    """The function that reports it, such as "DownloaderImpl::saveFile"; may be empty."""
    code: int
    """-1 for the library's own checks, else a system error code in the Windows numbering."""
    message: str
    """What happened, as the library says it. Names that a server chose may stand in it:
    the text of the entry, `str(entry)`, is printable."""

    def __str__(self) -> str:
        return printable(self.message) or f"error {self.code}"


class Error(Exception):
    """The base of all exceptions of this package; by itself: the object was used wrongly."""


class Cancelled(Error):
    """The run was ended by `Library.cancel` or `Library.close`."""


class ChainError(Error):
    """An exception with the library's own account of what failed."""

    chain: List[ErrorEntry]
    """What failed, and after it its causes."""

    def __init__(self, message: str, chain: Sequence[ErrorEntry] = ()) -> None:
        super().__init__(message)
        self.chain = list(chain)


class SyncError(ChainError):
    """A check or a synchronisation failed."""


class LoadError(ChainError):
    """The library's files could not be found, loaded or started."""


def chain_text(chain: Sequence[ErrorEntry]) -> str:
    """The chain in one line: "what failed, because: why"."""
    return ", because: ".join(map(str, chain))
