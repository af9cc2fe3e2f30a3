"""The C interface of the host kit as ctypes sees it: a mirror of mtlhost.h.

With ctypes there is nothing to compile and nothing to install besides Python: one wheel serves
every Python 3, including those that applications bring along.
"""

from __future__ import annotations

import ctypes
from typing import Optional

OK = 0
UPDATE_AVAILABLE = 1
DIFFERENT = 2
FAILED = -1
CANCELLED = -2
WRONG_USE = -3

EVENT_STAGE = 1
EVENT_INFO = 2
EVENT_WARNING = 3
EVENT_ERROR = 4
EVENT_PROGRESS = 5
EVENT_PLANNED = 6
EVENT_FILE = 7
EVENT_WAITING = 8

FILE_FETCHED = 1
FILE_COPIED = 2
FILE_WITHDRAWN = 3
FILE_REMOVED = 4
FILE_SKIPPED = 5
FILE_DAMAGED = 6
FILE_MISSING = 7
FILE_EXTRA = 8
FILE_CHANGED = 9
FILE_WRONG_SIZE = 10
FILE_UNREADABLE = 11

PROXY_SYSTEM = 1
PROXY_EXPLICIT = 2
PROXY_NONE = 3

USE_MODULE = 1
FULL = 2
PRUNE = 4
PRUNE_MOST = 8
WAIT = 16
ALLOW_EXPIRED = 32
FORGET_KEYS = 64

_Text = bytes


class AmountRecord(ctypes.Structure):
    """mtlhost_amount"""

    files: int
    bytes: int

    _fields_ = [("files", ctypes.c_int64), ("bytes", ctypes.c_int64)]


class FileRecord(ctypes.Structure):
    """mtlhost_file"""

    kind: int
    path: _Text
    bytes: int
    source: _Text
    reason: _Text

    _fields_ = [
        ("size", ctypes.c_size_t),
        ("kind", ctypes.c_int32),
        ("path", ctypes.c_char_p),
        ("bytes", ctypes.c_int64),
        ("source", ctypes.c_char_p),
        ("reason", ctypes.c_char_p),
    ]


Files = ctypes.POINTER(ctypes.POINTER(FileRecord))
"""An array."""


class PlanRecord(ctypes.Structure):
    """mtlhost_update_plan"""

    fetched: AmountRecord
    copied: AmountRecord
    replaced: AmountRecord
    removed: AmountRecord
    withdrawn: AmountRecord
    unchanged: AmountRecord
    unknown_sizes: int
    space_needed: int
    space_available: int
    file_count: int
    files: "ctypes._Pointer[ctypes._Pointer[FileRecord]]"

    _fields_ = [
        ("size", ctypes.c_size_t),
        ("fetched", AmountRecord),
        ("copied", AmountRecord),
        ("replaced", AmountRecord),
        ("removed", AmountRecord),
        ("withdrawn", AmountRecord),
        ("unchanged", AmountRecord),
        ("unknown_sizes", ctypes.c_int64),
        ("space_needed", ctypes.c_int64),
        ("space_available", ctypes.c_int64),
        ("file_count", ctypes.c_size_t),
        ("files", Files),
    ]


class ResultRecord(ctypes.Structure):
    """mtlhost_result"""

    failure: int
    is_changed: int
    stamp: bytes
    fetched: AmountRecord
    copied: AmountRecord
    removed: AmountRecord
    withdrawn: AmountRecord
    unchanged: AmountRecord
    compared: AmountRecord
    received_bytes: int
    commit_microseconds: int
    changed_count: int
    changed_paths: "ctypes._Pointer[ctypes.c_char_p]"
    removed_count: int
    removed_paths: "ctypes._Pointer[ctypes.c_char_p]"
    difference_count: int
    differences: "ctypes._Pointer[ctypes._Pointer[FileRecord]]"

    _fields_ = [
        ("size", ctypes.c_size_t),
        ("failure", ctypes.c_int32),
        ("is_changed", ctypes.c_int32),
        ("stamp", ctypes.c_char_p),
        ("fetched", AmountRecord),
        ("copied", AmountRecord),
        ("removed", AmountRecord),
        ("withdrawn", AmountRecord),
        ("unchanged", AmountRecord),
        ("compared", AmountRecord),
        ("received_bytes", ctypes.c_int64),
        ("commit_microseconds", ctypes.c_int64),
        ("changed_count", ctypes.c_size_t),
        ("changed_paths", ctypes.POINTER(ctypes.c_char_p)),
        ("removed_count", ctypes.c_size_t),
        ("removed_paths", ctypes.POINTER(ctypes.c_char_p)),
        ("difference_count", ctypes.c_size_t),
        ("differences", Files),
    ]


class EventRecord(ctypes.Structure):
    """mtlhost_event"""

    kind: int
    permille: int
    megabytes_done: int
    megabytes_total: int
    text: bytes
    error: Optional[int]
    bytes_done: int
    bytes_total: int
    bytes_per_second: float
    seconds_left: float
    plan: "ctypes._Pointer[PlanRecord]"
    file: "ctypes._Pointer[FileRecord]"
    process: int

    _fields_ = [
        ("size", ctypes.c_size_t),
        ("kind", ctypes.c_int32),
        ("permille", ctypes.c_int32),
        ("megabytes_done", ctypes.c_int64),
        ("megabytes_total", ctypes.c_int64),
        ("text", ctypes.c_char_p),
        ("error", ctypes.c_void_p),
        ("bytes_done", ctypes.c_int64),
        ("bytes_total", ctypes.c_int64),
        ("bytes_per_second", ctypes.c_double),
        ("seconds_left", ctypes.c_double),
        ("plan", ctypes.POINTER(PlanRecord)),
        ("file", ctypes.POINTER(FileRecord)),
        ("process", ctypes.c_int64),
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
        ("flags", ctypes.c_uint32),
        ("tries", ctypes.c_int32),
        ("bytes_per_second", ctypes.c_int64),
        ("largest_file", ctypes.c_int64),
        ("largest_total", ctypes.c_int64),
        ("max_seconds", ctypes.c_int64),
        ("key_count", ctypes.c_size_t),
        ("keys", ctypes.POINTER(ctypes.c_char_p)),
        ("library_name", ctypes.c_char_p),
        ("mirror_count", ctypes.c_size_t),
        ("mirrors", ctypes.POINTER(ctypes.c_char_p)),
        ("ca_file", ctypes.c_char_p),
        ("proxy_user", ctypes.c_char_p),
        ("proxy_password", ctypes.c_char_p),
        ("field_count", ctypes.c_size_t),
        ("fields", ctypes.POINTER(ctypes.c_char_p)),
        ("query", ctypes.c_char_p),
        ("user_agent", ctypes.c_char_p),
        ("connect_seconds", ctypes.c_int32),
        ("stall_seconds", ctypes.c_int32),
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
    "mtlhost_plan": (ctypes.c_int32, [_HANDLE]),
    "mtlhost_sync": (ctypes.c_int32, [_HANDLE]),
    "mtlhost_verify": (ctypes.c_int32, [_HANDLE]),
    "mtlhost_repair": (ctypes.c_int32, [_HANDLE]),
    "mtlhost_cancel": (None, [_HANDLE]),
    "mtlhost_is_unfinished": (ctypes.c_int32, [ctypes.c_char_p]),
    "mtlhost_last_result": (ctypes.POINTER(ResultRecord), [_HANDLE]),
    "mtlhost_last_plan": (ctypes.POINTER(PlanRecord), [_HANDLE]),
    "mtlhost_last_error": (_ERROR, [_HANDLE]),
    "mtlhost_error_tag": (ctypes.c_char_p, [_ERROR]),
    "mtlhost_error_code": (ctypes.c_int32, [_ERROR]),
    "mtlhost_error_message": (ctypes.c_char_p, [_ERROR]),
    "mtlhost_error_connection_reason": (ctypes.c_int32, [_ERROR]),
    "mtlhost_error_http_status": (ctypes.c_int32, [_ERROR]),
    "mtlhost_error_kind": (ctypes.c_int32, [_ERROR]),
    "mtlhost_error_about": (ctypes.c_char_p, [_ERROR]),
    "mtlhost_error_sentence": (ctypes.c_char_p, [_ERROR]),
    "mtlhost_error_hint": (ctypes.c_char_p, [_ERROR]),
    "mtlhost_error_next": (_ERROR, [_ERROR]),
    "mtlhost_free_error": (None, [_ERROR]),
    "mtlhost_parse_size": (ctypes.c_int64, [ctypes.c_char_p]),
    "mtlhost_parse_duration": (ctypes.c_int64, [ctypes.c_char_p]),
    "mtlhost_version": (ctypes.c_char_p, []),
}


def declare(library: ctypes.CDLL) -> None:
    """Declares the types of all functions to ctypes; AttributeError when one is missing."""
    for name, (result, arguments) in _FUNCTIONS.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = arguments
