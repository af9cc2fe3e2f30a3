"""The bounded queue between the threads of a run and the thread that called for it."""

from __future__ import annotations

import collections
import threading
from typing import Callable, Deque, Union

from mtllib._events import Event, Progress

_DISPENSABLE = ("stage", "info", "file", "waiting")


class EventQueue:
    """Holds what a run reports until its caller has time for it.

    Who puts events in never waits: a handler that is slow, or never returns, must not stall
    the transfers, whose servers give up after a while. A million files must not fill the
    memory either. So progress that directly follows progress of the same phase takes its
    place, and when the queue is full, the oldest stage, information or file
    gives way.
    """

    CAPACITY = 1000

    def __init__(self, announce: Callable[[], object]) -> None:
        """`announce` is called, by whoever puts something in, once for every `take`."""
        self.skipped = 0
        self._announce = announce
        self._lock = threading.Lock()
        self._events: Deque[Union[Progress, Event, None]] = collections.deque()

    def put(self, event: Union[Progress, Event, None]) -> None:
        """None is the end: nothing follows it."""
        with self._lock:
            if self._supersedes_the_last(event):
                self._events[-1] = event
                return
            is_full = len(self._events) >= self.CAPACITY
            if is_full:
                self._drop_one()
            self._events.append(event)
        # The announcement of the dropped event serves for the new one.
        if not is_full:
            self._announce()

    def take(self) -> Union[Progress, Event, None]:
        """The oldest event; call it only after an announcement."""
        with self._lock:
            return self._events.popleft()

    def _supersedes_the_last(self, event: Union[Progress, Event, None]) -> bool:
        last = self._events[-1] if self._events else None
        return (
            isinstance(event, Progress)
            and isinstance(last, Progress)
            and event.text == last.text
        )

    def _drop_one(self) -> None:
        dispensable = (
            index
            for index, event in enumerate(self._events)
            if not isinstance(event, Event) or event.kind in _DISPENSABLE
        )
        del self._events[next(dispensable, 0)]
        self.skipped += 1
