"""Keeps a local copy of an online material library up to date.

    import mtllib
    lib = mtllib.Library("https://example.org/mtl", "materials")
    if lib.check():
        result = lib.sync(on_progress=print)

`Library` is the way in. A run that does not succeed raises `SyncError`, which tells what
failed and why, or `Cancelled`; what can be told meanwhile comes as `Progress` and `Event`
to the handlers given to `Library.sync`, and to the logger "mtllib".
"""

from mtllib._errors import Cancelled, Error, ErrorEntry, LoadError, SyncError
from mtllib._events import Event, Progress, Result
from mtllib._library import Library
from mtllib._loading import version
from mtllib._printable import printable
from mtllib._settings import SYSTEM_PROXY, SystemProxy

__all__ = [
    "SYSTEM_PROXY",
    "Cancelled",
    "Error",
    "ErrorEntry",
    "Event",
    "Library",
    "LoadError",
    "Progress",
    "Result",
    "SyncError",
    "SystemProxy",
    "printable",
    "version",
]
