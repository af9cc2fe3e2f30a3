"""The exceptions of the package, and the entries of an error chain."""

from __future__ import annotations

import enum
from dataclasses import dataclass
from typing import List, Optional, Sequence

from mtllib._printable import printable
from mtllib._results import Result


class Failure(enum.Enum):
    """What an application may do about a failure."""

    OTHER = 1
    """Any other failure, and every one of the module."""
    USAGE = 2
    """What was asked for cannot be done."""
    NETWORK = 3
    """The network or the server: worth trying later."""
    DISK = 4
    """The local disk or folder."""
    CONTENT = 5
    """Something is not what was published."""
    LIMIT = 6
    """A limit of the options would be exceeded."""
    ANOTHER_RUN = 7
    """Another run is at work on the copy, perhaps of another process."""
    MEMORY = 8
    """Not enough memory."""
    UNTRUSTED = 9
    """Something is not what the library's publisher signed."""

    @classmethod
    def _missing_(cls, value: object) -> "Failure":
        return cls.OTHER  # A newer library may have others.


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
    connection_reason: int = 0
    """Of the engine: the number of the reason why a connection failed, else 0."""
    http_status: int = 0
    """Of the engine: the HTTP status of an answer that was refused, else 0."""

    def __str__(self) -> str:
        return printable(self.message) or f"error {self.code}"


class Error(Exception):
    """The base of all exceptions of this package; by itself: the object was used wrongly."""


class Cancelled(Error):
    """The run was ended by `Library.cancel` or `Library.close`."""

    result: Optional[Result]
    """What it did before; None when it had not begun."""

    def __init__(self, message: str, result: Optional[Result] = None) -> None:
        super().__init__(message)
        self.result = result


class ChainError(Error):
    """An exception with the library's own account of what failed."""

    chain: List[ErrorEntry]
    """What failed, and after it its causes."""

    def __init__(self, message: str, chain: Sequence[ErrorEntry] = ()) -> None:
        super().__init__(message)
        self.chain = list(chain)


class SyncError(ChainError):
    """A run failed."""

    failure: Failure
    """Of what kind the failure is."""
    result: Optional[Result]
    """What the run did before."""

    def __init__(
        self,
        message: str,
        chain: Sequence[ErrorEntry] = (),
        failure: Failure = Failure.OTHER,
        result: Optional[Result] = None,
    ) -> None:
        super().__init__(message, chain)
        self.failure = failure
        self.result = result


class UntrustedError(SyncError):
    """A run failed because something is not what the holder of one of the keys has signed, or is
    older than what the copy has had: nothing of it took effect. The message says what was found,
    and what it may mean. `failure` is `Failure.UNTRUSTED`."""


class LoadError(ChainError):
    """The library's files could not be found, loaded or started."""


def chain_text(chain: Sequence[ErrorEntry]) -> str:
    """The chain in one line: "what failed, because: why"."""
    return ", because: ".join(map(str, chain))
