"""Keeps a local copy of an online material library up to date.

    import mtllib
    lib = mtllib.Library("https://example.org/mtl", "materials")
    if lib.check():
        result = lib.sync(on_progress=print)

Start with `Library`, which can check, plan, sync, verify and repair. A run that does not
succeed raises `Cancelled`, or `SyncError`, whose text is for users and which has a subclass for
each kind of failure; with the keys of the library's publisher, `UntrustedError` for content that
was not signed. While it runs, it reports `Progress` and `Event` to the handlers it was given, and
to the logger "mtllib".
"""

from mtllib._errors import (
    AccessError,
    AddressError,
    AnswerError,
    BusyError,
    Cancelled,
    CertificateError,
    ChainError,
    ConnectionFailedError,
    ContentError,
    DiskError,
    Error,
    ErrorEntry,
    ErrorKind,
    Failure,
    LimitError,
    LoadError,
    NameResolutionError,
    NetworkError,
    OutOfMemoryError,
    ProxyError,
    SettingsError,
    SyncError,
    UntrustedError,
)
from mtllib._events import Event, Progress
from mtllib._handle import is_unfinished
from mtllib._library import Library
from mtllib._loading import version
from mtllib._parsing import parse_duration, parse_size
from mtllib._printable import printable
from mtllib._results import Amount, Difference, FileChange, Plan, Result, Verification
from mtllib._settings import SYSTEM_PROXY, NetworkOptions, SystemProxy, UpdateOptions

__all__ = [
    "SYSTEM_PROXY",
    "AccessError",
    "AddressError",
    "Amount",
    "AnswerError",
    "BusyError",
    "Cancelled",
    "CertificateError",
    "ChainError",
    "ConnectionFailedError",
    "ContentError",
    "Difference",
    "DiskError",
    "Error",
    "ErrorEntry",
    "ErrorKind",
    "Event",
    "Failure",
    "FileChange",
    "Library",
    "LimitError",
    "LoadError",
    "NameResolutionError",
    "NetworkError",
    "NetworkOptions",
    "OutOfMemoryError",
    "Plan",
    "Progress",
    "ProxyError",
    "Result",
    "SettingsError",
    "SyncError",
    "SystemProxy",
    "UntrustedError",
    "UpdateOptions",
    "Verification",
    "is_unfinished",
    "parse_duration",
    "parse_size",
    "printable",
    "version",
]
