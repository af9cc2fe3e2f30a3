"""The C interface of the host kit as ctypes sees it: a mirror of mtlhost.h.

It is used through ctypes because then there is nothing to compile and nothing to install
beside Python: one wheel serves every Python 3, also those that applications bring along.
"""

from __future__ import annotations

import ctypes
from typing import Optional

OK = 0
UPDATE_AVAILABLE = 1
FAILED = -1
CANCELLED = -2

EVENT_STAGE = 1
EVENT_INFO = 2
EVENT_WARNING = 3
EVENT_ERROR = 4
EVENT_PROGRESS = 5

PROXY_SYSTEM = 1
PROXY_EXPLICIT = 2
PROXY_NONE = 3


class EventRecord(ctypes.Structure):
    """mtlhost_event"""

    kind: int
    permille: int
    megabytes_done: int
    megabytes_total: int
    text: bytes
    error: Optional[int]

    _fields_ = [
        ("size", ctypes.c_size_t),
        ("kind", ctypes.c_int32),
        ("permille", ctypes.c_int32),
        ("megabytes_done", ctypes.c_int64),
        ("megabytes_total", ctypes.c_int64),
        ("text", ctypes.c_char_p),
        ("error", ctypes.c_void_p),
    ]


Callback = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.POINTER(EventRecord), ctypes.c_void_p)
"""mtlhost_callback"""


class OptionsRecord(ctypes.Structure):
    """mtlhost_options"""

    _fields_ = [
        ("size", ctypes.c_size_t),
        ("module_file", ctypes.c_char_p),
        ("remote_address", ctypes.c_char_p),
        ("target_directory", ctypes.c_char_p),
        ("sub_path", ctypes.c_char_p),
        ("proxy_mode", ctypes.c_int32),
        ("proxy_address", ctypes.c_char_p),
        ("callback", Callback),
        ("user", ctypes.c_void_p),
    ]


_HANDLE = ctypes.c_void_p
_ERROR = ctypes.c_void_p

_FUNCTIONS = {
    "mtlhost_open": (
        ctypes.c_int32,
        [ctypes.POINTER(OptionsRecord), ctypes.POINTER(_HANDLE), ctypes.POINTER(_ERROR)],
    ),
    "mtlhost_close": (None, [_HANDLE]),
    "mtlhost_check": (ctypes.c_int32, [_HANDLE]),
    "mtlhost_sync": (ctypes.c_int32, [_HANDLE]),
    "mtlhost_cancel": (None, [_HANDLE]),
    "mtlhost_last_error": (_ERROR, [_HANDLE]),
    "mtlhost_error_tag": (ctypes.c_char_p, [_ERROR]),
    "mtlhost_error_code": (ctypes.c_int32, [_ERROR]),
    "mtlhost_error_message": (ctypes.c_char_p, [_ERROR]),
    "mtlhost_error_next": (_ERROR, [_ERROR]),
    "mtlhost_free_error": (None, [_ERROR]),
    "mtlhost_version": (ctypes.c_char_p, []),
}


def declare(library: ctypes.CDLL) -> None:
    """Tells ctypes the types of all functions; AttributeError when one is missing."""
    for name, (result, arguments) in _FUNCTIONS.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = arguments
