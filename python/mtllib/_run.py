"""Runs an operation on a thread of its own.

The C call runs on a worker thread, so that the calling thread stays in Python, where it can be
interrupted and call the handlers while transfers go on. When the interpreter exits, runs are
cancelled and waited for, because a thread that is still inside the library when the interpreter
is gone crashes the process.

Threads and locks are those of `_thread`. An interrupt at the wrong moment of the start of a
`threading.Thread` leaves that thread stuck, or appears as a RuntimeError; and Python would either
wait for the end of the transfers before it exits, or not wait at all.
"""

from __future__ import annotations

import _thread
import atexit
import os
import sys
import threading
from typing import Callable, List, Optional, Set, Union

from mtllib import _c_interface as c
from mtllib._errors import (
    Cancelled,
    Error,
    ErrorEntry,
    Explanation,
    Failure,
    chain_text,
    class_of,
)
from mtllib._event_queue import EventQueue
from mtllib._events import Event, Progress
from mtllib._handle import Handle, Listener
from mtllib._results import Plan, Result, Verification

Operation = Callable[[Handle, Listener], int]


class Run:
    """Started once, by one thread; any thread may cancel it or wait for it."""

    def __init__(
        self, handle: Handle, operation: Operation, announce: Callable[[], object]
    ) -> None:
        """`announce` is called on other threads, once for each `events.take`."""
        self.events = EventQueue(announce)
        self.result: Optional[Result] = None
        """None as long as it has not begun; like what follows, for when it has ended."""
        self.plan: Optional[Plan] = None
        self.verification: Optional[Verification] = None
        self.cancelled = False
        self._handle = handle
        self._operation = operation
        self._last: Union[Progress, Event, None] = None
        self._code = c.CANCELLED
        self._chain: List[ErrorEntry] = []
        self._kind = Failure.OTHER
        self._explanation = Explanation()
        self._failure: Optional[BaseException] = None
        self._is_begun = threading.Lock()  # Held until then, like the next one.
        self._has_ended = threading.Lock()
        self._is_begun.acquire()
        self._has_ended.acquire()

    @property
    def is_running(self) -> bool:
        return self in _unfinished

    def start(self) -> None:
        """Returns when it runs; when interrupted, it may yet begin, and must be cancelled."""
        _end_thread_on_exit()
        try:
            _thread.start_new_thread(self._work, ())
        except RuntimeError as error:
            raise Error(f"could not start a thread: {error}") from error
        self._is_begun.acquire()

    def cancel(self) -> None:
        """Ends it within 200 ms, or as soon as it begins; does nothing when it has ended."""
        self.cancelled = True
        if self.is_running:
            self._handle.cancel()

    def join(self) -> None:
        """Waits for its end if it runs."""
        if self.is_running:
            with self._has_ended:
                pass

    def outcome(self) -> int:
        """Once it has ended: c.OK, c.UPDATE_AVAILABLE or c.DIFFERENT; raises what else it came
        to."""
        if self._failure is not None:
            raise self._failure
        if self._code == c.CANCELLED:
            _end_thread_on_exit()
            raise Cancelled("Cancelled.", self.result, self._explanation)
        if self._code == c.FAILED:
            kind = class_of(self._explanation.kind)
            raise kind(
                chain_text(self._chain), self._chain, self._kind, self.result, self._explanation
            )
        if self._code < 0:
            raise Error(f"the library answered {self._code}")
        return self._code

    def _work(self) -> None:
        _unfinished.add(self)
        self._is_begun.release()
        try:
            if not self.cancelled and not _exiting:
                self._call()
        except BaseException as failure:
            self._failure = failure
        self.events.put(None)
        _unfinished.discard(self)
        self._has_ended.release()

    def _call(self) -> None:
        self._code = self._operation(self._handle, self._receive)
        if self._code == c.CANCELLED and not self.cancelled:
            # A request that came too late for the run before was kept for this one.
            self._code = self._operation(self._handle, self._receive)
        if self._code != c.WRONG_USE:
            self.result = self._handle.last_result()
            self.plan = self._handle.last_plan(self._code == c.UPDATE_AVAILABLE)
            self.verification = self._handle.last_verification()
        if self._code in (c.FAILED, c.CANCELLED):
            self._explanation = self._handle.last_explanation()
        if self._code == c.FAILED:
            self._chain = self._handle.last_error()
            self._kind = self._handle.last_failure()

    def _receive(self, event: Union[Progress, Event]) -> None:
        if isinstance(event, Progress) or event.kind == "waiting":
            if event == self._last:
                return  # Repeated for hosts that have no other way to cancel.
            self._last = event
        self.events.put(event)


_unfinished: Set[Run] = set()
_exiting = False


def _end_thread_on_exit() -> None:
    """Ends a thread without a word when the interpreter exits: a traceback that is printed
    at that moment may bring the process down."""
    if _exiting:
        raise SystemExit


@atexit.register
def _finish_all() -> None:
    global _exiting
    _exiting = True
    runs = list(_unfinished)
    for run in runs:
        run.cancel()
    for run in runs:
        run.join()


if sys.platform != "win32":
    # Threads stay behind in the process that was forked.
    os.register_at_fork(after_in_child=_unfinished.clear)
