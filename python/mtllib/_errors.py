"""The exceptions of the package, and the entries of an error chain."""

from __future__ import annotations

import enum
from dataclasses import dataclass
from typing import Dict, List, Optional, Sequence, Type

from mtllib._printable import printable
from mtllib._results import Result


class Failure(enum.Enum):
    """What an application may do about a failure."""

    OTHER = 1
    """Any other failure, and most failures of the module."""
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


class ErrorKind(enum.Enum):
    """What a failure is about, with the engine and with the module."""

    OTHER = 0
    """None of the others."""
    SETTINGS = 1
    """What was asked for cannot be done."""
    ADDRESS = 2
    """The library's address cannot be used."""
    NAME = 3
    """The name of the server could not be resolved."""
    CONNECTION = 4
    """The server could not be reached, or the connection broke or stalled."""
    CERTIFICATE = 5
    """The server could not prove its identity."""
    PROXY = 6
    """The proxy could not be used or reached, or refused."""
    ANSWER = 7
    """The server's answer was not what was requested."""
    CONTENT = 8
    """Something is not what was published."""
    UNTRUSTED = 9
    """Something is not what the library's publisher signed."""
    DISK = 10
    """The local disk or folder."""
    PERMISSION = 11
    """No permission to read or write something there."""
    BUSY = 12
    """Another run is at work on the copy."""
    LIMIT = 13
    """A limit of the options would be exceeded."""
    CANCELLED = 14
    """By the application or its user."""
    MODULE = 15
    """The module, or something it needs, cannot be found or used."""
    MEMORY = 16
    """Not enough memory."""

    @classmethod
    def _missing_(cls, value: object) -> "ErrorKind":
        return cls.OTHER  # A newer library may have others.


@dataclass(frozen=True)
class Explanation:
    """A failure for users."""

    kind: ErrorKind = ErrorKind.OTHER
    about: str = ""
    sentence: str = ""
    hint: str = ""


@dataclass(frozen=True)
class ErrorEntry:
    """One failure of a chain; the next entry is its cause."""

    tag: str
    """The function that reported it, such as "DownloaderImpl::saveFile"; may be empty."""
    code: int
    """A system error code (Win32 numbering on every platform), or -1 if there is none."""
    message: str
    """What happened, in the library's own words. It may contain names that a server chose; the
    text of the entry, `str(entry)`, is safe to show."""
    connection_reason: int = 0
    """With the engine, the number of the reason why a connection failed; otherwise 0."""
    http_status: int = 0
    """With the engine, the HTTP status of an answer that was refused; otherwise 0."""

    def __str__(self) -> str:
        return printable(self.message) or f"error {self.code}"


class Error(Exception):
    """The base of all exceptions of this package. Raised itself if an object was used wrongly."""


class Cancelled(Error):
    """The run was ended by `Library.cancel` or `Library.close`."""

    result: Optional[Result]
    """What it did until then; None if it had not begun."""
    kind: ErrorKind = ErrorKind.CANCELLED
    """Like that of a failure, as are the following."""
    about: str
    """The address of the library; empty if the run had not begun."""
    hint: str
    """Empty."""

    def __init__(
        self,
        message: str,
        result: Optional[Result] = None,
        explanation: Explanation = Explanation(),
    ) -> None:
        super().__init__(explanation.sentence or message)
        self.result = result
        self.about = explanation.about
        self.hint = explanation.hint


class ChainError(Error):
    """A failure of the library. Its text, `str(error)`, is the sentence for users."""

    kind: ErrorKind
    """What it is about."""
    about: str
    """The URL, the file or folder with its full name, or the proxy that it is about; the library's
    address if nothing more specific is known. Without passwords. It may contain names that a server
    chose."""
    hint: str
    """What to do, in a sentence or two that are safe to show; empty if there is nothing to say."""
    chain: List[ErrorEntry]
    """What failed, followed by its causes, for logs."""

    def __init__(
        self,
        message: str,
        chain: Sequence[ErrorEntry] = (),
        explanation: Explanation = Explanation(),
    ) -> None:
        super().__init__(explanation.sentence or message)
        self.kind = explanation.kind
        self.about = explanation.about
        self.hint = explanation.hint
        self.chain = list(chain)


class SettingsError(ChainError, ValueError):
    """The arguments of `Library` cannot be used."""


class LoadError(ChainError):
    """The library's files, or the module's, could not be found, loaded or started."""


class SyncError(ChainError):
    """A run failed. Each subclass is for one `ErrorKind`, or for several that belong together."""

    failure: Failure
    """What an application may do about it."""
    result: Optional[Result]
    """What the run did until then."""

    def __init__(
        self,
        message: str,
        chain: Sequence[ErrorEntry] = (),
        failure: Failure = Failure.OTHER,
        result: Optional[Result] = None,
        explanation: Explanation = Explanation(),
    ) -> None:
        super().__init__(message, chain, explanation)
        self.failure = failure
        self.result = result


class AddressError(SyncError):
    """`ErrorKind.ADDRESS`."""


class NetworkError(SyncError):
    """The network, the server or the proxy; there is a subclass for each of these kinds."""


class NameResolutionError(NetworkError):
    """`ErrorKind.NAME`."""


class ConnectionFailedError(NetworkError):
    """`ErrorKind.CONNECTION`."""


class CertificateError(NetworkError):
    """`ErrorKind.CERTIFICATE`."""


class ProxyError(NetworkError):
    """`ErrorKind.PROXY`."""


class AnswerError(NetworkError):
    """`ErrorKind.ANSWER`."""


class ContentError(SyncError):
    """`ErrorKind.CONTENT`."""


class UntrustedError(SyncError):
    """A run failed because something is not signed with one of the keys, or is older than what the
    copy has seen. Nothing of it took effect. The message says what was found, and what it may mean.
    `failure` is `Failure.UNTRUSTED`."""


class DiskError(SyncError):
    """`ErrorKind.DISK` and, as a subclass, `ErrorKind.PERMISSION`."""


class AccessError(DiskError):
    """`ErrorKind.PERMISSION`."""


class BusyError(SyncError):
    """`ErrorKind.BUSY`."""


class LimitError(SyncError):
    """`ErrorKind.LIMIT`."""


class OutOfMemoryError(SyncError, MemoryError):
    """`ErrorKind.MEMORY`."""


_CLASSES: Dict[ErrorKind, Type[SyncError]] = {
    ErrorKind.ADDRESS: AddressError,
    ErrorKind.NAME: NameResolutionError,
    ErrorKind.CONNECTION: ConnectionFailedError,
    ErrorKind.CERTIFICATE: CertificateError,
    ErrorKind.PROXY: ProxyError,
    ErrorKind.ANSWER: AnswerError,
    ErrorKind.CONTENT: ContentError,
    ErrorKind.UNTRUSTED: UntrustedError,
    ErrorKind.DISK: DiskError,
    ErrorKind.PERMISSION: AccessError,
    ErrorKind.BUSY: BusyError,
    ErrorKind.LIMIT: LimitError,
    ErrorKind.MEMORY: OutOfMemoryError,
}


def class_of(kind: ErrorKind) -> Type[SyncError]:
    """The exception for runs that failed in this way."""
    return _CLASSES.get(kind, SyncError)


def chain_text(chain: Sequence[ErrorEntry]) -> str:
    """The chain in one line: "what failed, because: why"."""
    return ", because: ".join(map(str, chain))
