"""Owns a handle of the C interface."""

from __future__ import annotations

import ctypes
import os
import threading
from typing import Callable, List, Optional, Union

from mtllib import _c_interface as c
from mtllib._errors import (
    ErrorEntry,
    ErrorKind,
    Explanation,
    Failure,
    LoadError,
    SettingsError,
    chain_text,
)
from mtllib._events import Event, Progress
from mtllib._loading import interface
from mtllib._reading import (
    chain_of,
    event_of,
    explanation_of,
    plan_of,
    result_of,
    verification_of,
)
from mtllib._results import Plan, Result, Verification
from mtllib._settings import NetworkOptions, Path, Settings, SystemProxy

Listener = Callable[[Union[Progress, Event]], None]

_GO_ON = 0
_CANCEL = 1


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
            event = event_of(self._library, record.contents)
            if event is not None and self.listener is not None:
                self.listener(event)
        except BaseException as failure:
            self.failure = failure
            return _CANCEL
        return _GO_ON


class Handle:
    """One remote library and its local copy, closed with the last reference at the latest.

    Its operations, `check` to `repair`, block, releasing the interpreter's lock; one of them at
    a time. Only `cancel` may be called meanwhile, from any thread.
    """

    def __init__(self, settings: Settings) -> None:
        """Raises LoadError; ValueError for settings that cannot be used."""
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
        """Frees everything; only while no operation runs."""
        with self._lock:
            pointer, self._pointer = self._pointer, None
        if pointer is not None:
            self._library.mtlhost_close(pointer)

    def check(self, listener: Listener) -> int:
        """The result of mtlhost_check; events go to `listener` on threads of the library."""
        return self._call(self._library.mtlhost_check, listener)

    def plan(self, listener: Listener) -> int:
        """The result of mtlhost_plan, likewise; so do the others."""
        return self._call(self._library.mtlhost_plan, listener)

    def sync(self, listener: Listener) -> int:
        return self._call(self._library.mtlhost_sync, listener)

    def verify(self, listener: Listener) -> int:
        return self._call(self._library.mtlhost_verify, listener)

    def repair(self, listener: Listener) -> int:
        return self._call(self._library.mtlhost_repair, listener)

    def last_error(self) -> List[ErrorEntry]:
        """The chain of the last operation."""
        return chain_of(self._library, self._library.mtlhost_last_error(self._pointer))

    def last_explanation(self) -> Explanation:
        """The same for users."""
        error = self._library.mtlhost_last_error(self._pointer)
        return explanation_of(self._library, error)

    def last_failure(self) -> Failure:
        """Of which kind it was, if there was one."""
        return Failure(self._last_result().failure)

    def last_result(self) -> Result:
        """What the last operation did."""
        return result_of(self._last_result())

    def last_plan(self, is_update: bool) -> Optional[Plan]:
        """What the last operation found out beside its result, if it was `plan`."""
        record = self._library.mtlhost_last_plan(self._pointer)
        return plan_of(record.contents, is_update) if record else None

    def last_verification(self) -> Verification:
        """What the last operation found out, if it was `verify`."""
        return verification_of(self._last_result())

    def cancel(self) -> None:
        """Ends the operation that runs, or the next one."""
        with self._lock:
            if self._pointer is not None:
                self._library.mtlhost_cancel(self._pointer)

    def _last_result(self) -> c.ResultRecord:
        record: c.ResultRecord = self._library.mtlhost_last_result(self._pointer).contents
        return record

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


def is_unfinished(directory: Path) -> bool:
    """Whether a sync or repair of the copy in this folder was interrupted: the engine's next run
    continues from there, whatever the stamp of the copy says. Raises `LoadError`."""
    return bool(interface().mtlhost_is_unfinished(_c_path(directory)))


def _open(library: ctypes.CDLL, settings: Settings, callback: object) -> int:
    options = _options_of(settings)
    options.callback = callback
    pointer = ctypes.c_void_p()
    error = ctypes.c_void_p()
    if library.mtlhost_open(options, pointer, error) != c.OK or pointer.value is None:
        chain = chain_of(library, error.value)
        explanation = explanation_of(library, error.value)
        library.mtlhost_free_error(error)
        is_loading = explanation.kind in (ErrorKind.MODULE, ErrorKind.MEMORY)
        kind = LoadError if is_loading else SettingsError
        raise kind(chain_text(chain), chain, explanation)
    return pointer.value


def _options_of(settings: Settings) -> c.OptionsRecord:
    if not os.fspath(settings.directory):
        raise ValueError("no directory")
    update = settings.options
    trust = settings.trust
    record = c.OptionsRecord(
        size=ctypes.sizeof(c.OptionsRecord),
        remote_address=_c_text(settings.url),
        target_directory=_c_path(settings.directory),
        sub_path=_c_text(settings.sub_path),
        proxy_mode=c.PROXY_SYSTEM,
        tries=_c_number(update.tries, 31),
        bytes_per_second=_c_number(update.bytes_per_second),
        largest_file=_c_number(update.largest_file),
        largest_total=_c_number(update.largest_total),
        max_seconds=_c_number(update.max_seconds),
        library_name=_c_text(trust.name),
    )
    _take_network(settings.network, record)
    if trust.keys:
        record.key_count = len(trust.keys)
        record.keys = (ctypes.c_char_p * len(trust.keys))(*map(_c_path, trust.keys))
    if settings.mirrors:
        record.mirror_count = len(settings.mirrors)
        record.mirrors = (ctypes.c_char_p * len(settings.mirrors))(*map(_c_text, settings.mirrors))
    if settings.proxy is None:
        record.proxy_mode = c.PROXY_NONE
    elif not isinstance(settings.proxy, SystemProxy):
        record.proxy_mode = c.PROXY_EXPLICIT
        record.proxy_address = _c_text(settings.proxy)
    if settings.module is not None and not isinstance(settings.module, bool):
        record.module_file = _c_path(settings.module)
    flags = {
        c.USE_MODULE: settings.module is True,
        c.FULL: update.full,
        c.PRUNE: update.prune,
        c.PRUNE_MOST: update.prune_most,
        c.WAIT: update.wait,
        c.ALLOW_EXPIRED: trust.allow_expired,
        c.FORGET_KEYS: trust.forget_keys,
    }
    record.flags = sum(flag for flag, is_set in flags.items() if is_set)
    return record


def _take_network(network: NetworkOptions, record: c.OptionsRecord) -> None:
    record.ca_file = _c_path(network.ca_file)
    record.proxy_user = _c_text(network.proxy_user)
    record.proxy_password = _c_text(network.proxy_password)
    fields = [_c_text(f"{name}: {value}") for name, value in network.fields.items()]
    if fields:
        record.field_count = len(fields)
        record.fields = (ctypes.c_char_p * len(fields))(*fields)
    record.query = _c_text(network.query)
    record.user_agent = _c_text(network.user_agent)
    record.connect_seconds = _c_number(network.connect_seconds, 31)
    record.stall_seconds = _c_number(network.stall_seconds, 31)


def _c_text(text: str) -> bytes:
    return _without_null(text.encode())


def _c_path(path: Path) -> bytes:
    # On Windows as well, this is UTF-8.
    return _without_null(os.fsencode(path))


def _without_null(text: bytes) -> bytes:
    if b"\0" in text:
        raise ValueError("embedded null character")
    return text


def _c_number(number: Optional[int], bits: int = 63) -> int:
    if number is None:
        return 0
    if not 0 < number < 1 << bits:
        raise ValueError(f"out of range: {number}")
    return number
