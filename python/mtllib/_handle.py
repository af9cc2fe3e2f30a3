"""Owns a handle of the C interface and turns its records into Python objects."""

from __future__ import annotations

import ctypes
import os
import threading
from typing import Callable, List, Optional, Union

from mtllib import _c_interface as c
from mtllib._errors import ErrorEntry, LoadError, chain_text
from mtllib._events import Event, EventKind, Progress
from mtllib._loading import interface
from mtllib._settings import Path, Settings, SystemProxy

Listener = Callable[[Union[Progress, Event]], None]

_GO_ON = 0
_CANCEL = 1

_EVENT_KINDS: "dict[int, EventKind]" = {
    c.EVENT_STAGE: "stage",
    c.EVENT_INFO: "info",
    c.EVENT_WARNING: "warning",
    c.EVENT_ERROR: "error",
}


class _Receiver:
    """What the C interface calls back. Not part of the handle, which would then refer to
    itself and outlive its last user."""

    def __init__(self, library: ctypes.CDLL) -> None:
        self.listener: Optional[Listener] = None
        self.failure: Optional[BaseException] = None
        self._library = library

    def receive(self, record: "ctypes._Pointer[c.EventRecord]", _user: object) -> int:
        # An exception must not pass through the library: it ends the run instead.
        try:
            event = _event_of(self._library, record.contents)
            if event is not None and self.listener is not None:
                self.listener(event)
        except BaseException as failure:
            self.failure = failure
            return _CANCEL
        return _GO_ON


class Handle:
    """One remote library and its local copy, closed with the last reference at the latest.

    `check` and `sync` block, releasing the interpreter's lock; one of them at a time. Only
    `cancel` may be called meanwhile, from any thread.
    """

    def __init__(self, settings: Settings) -> None:
        """Raises LoadError; ValueError when there is no directory."""
        self._pointer: Optional[int] = None
        self._lock = threading.RLock()
        self._library = interface()
        self._receiver = _Receiver(self._library)
        self._callback = c.Callback(self._receiver.receive)
        self._pointer = _open(self._library, settings, self._callback)

    def __del__(self) -> None:
        # Missing when the constructor was interrupted.
        if getattr(self, "_pointer", None) is not None:
            self.close()

    def close(self) -> None:
        """Frees everything; only while neither `check` nor `sync` runs."""
        with self._lock:
            pointer, self._pointer = self._pointer, None
        if pointer is not None:
            self._library.mtlhost_close(pointer)

    def check(self, listener: Listener) -> int:
        """The result of mtlhost_check; events go to `listener` on threads of the library."""
        return self._call(self._library.mtlhost_check, listener)

    def sync(self, listener: Listener) -> int:
        """The result of mtlhost_sync, likewise."""
        return self._call(self._library.mtlhost_sync, listener)

    def last_error(self) -> List[ErrorEntry]:
        """The chain of the last `check` or `sync`."""
        return _chain_of(self._library, self._library.mtlhost_last_error(self._pointer))

    def cancel(self) -> None:
        """Ends the `check` or `sync` that runs, or the next one."""
        with self._lock:
            if self._pointer is not None:
                self._library.mtlhost_cancel(self._pointer)

    def _call(self, function: Callable[[Optional[int]], int], listener: Listener) -> int:
        self._receiver.listener = listener
        self._receiver.failure = None
        try:
            code = function(self._pointer)
        finally:
            self._receiver.listener = None
        if self._receiver.failure is not None:
            raise self._receiver.failure
        return code


def _open(library: ctypes.CDLL, settings: Settings, callback: object) -> int:
    if not os.fspath(settings.directory):
        raise ValueError("no directory")
    options = c.OptionsRecord(
        size=ctypes.sizeof(c.OptionsRecord),
        module_file=None if settings.module is None else _c_path(settings.module),
        remote_address=_c_text(settings.url),
        target_directory=_c_path(settings.directory),
        sub_path=_c_text(settings.sub_path),
        proxy_mode=c.PROXY_SYSTEM,
        callback=callback,
    )
    if settings.proxy is None:
        options.proxy_mode = c.PROXY_NONE
    elif not isinstance(settings.proxy, SystemProxy):
        options.proxy_mode = c.PROXY_EXPLICIT
        options.proxy_address = _c_text(settings.proxy)
    pointer = ctypes.c_void_p()
    error = ctypes.c_void_p()
    if library.mtlhost_open(options, pointer, error) != c.OK or pointer.value is None:
        chain = _chain_of(library, error.value)
        library.mtlhost_free_error(error)
        raise LoadError(chain_text(chain), chain)
    return pointer.value


def _c_text(text: str) -> bytes:
    return _without_null(text.encode())


def _c_path(path: Path) -> bytes:
    # On Windows as well, this is UTF-8.
    return _without_null(os.fsencode(path))


def _without_null(text: bytes) -> bytes:
    if b"\0" in text:
        raise ValueError("embedded null character")
    return text


def _event_of(
    library: ctypes.CDLL, record: c.EventRecord
) -> Union[Progress, Event, None]:
    text = record.text.decode()
    if record.kind == c.EVENT_PROGRESS:
        return Progress(
            text,
            _known(record.permille),
            _known(record.megabytes_done),
            _known(record.megabytes_total),
        )
    kind = _EVENT_KINDS.get(record.kind)
    # A newer library may have kinds of its own.
    return kind and Event(kind, text, tuple(_chain_of(library, record.error)))


def _known(number: int) -> Optional[int]:
    return None if number < 0 else number


def _chain_of(library: ctypes.CDLL, error: Optional[int]) -> List[ErrorEntry]:
    chain = []
    while error is not None:
        chain.append(
            ErrorEntry(
                library.mtlhost_error_tag(error).decode(),
                library.mtlhost_error_code(error),
                library.mtlhost_error_message(error).decode(),
            )
        )
        error = library.mtlhost_error_next(error)
    return chain
