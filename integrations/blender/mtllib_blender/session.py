"""A session is the one run that may be in progress in this Blender: its work, display and timer."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Optional

import bpy

from .display import Display
from .message import Message

if TYPE_CHECKING:
    from .work import Work

_TICK_SECONDS = 0.1


class Session:
    """Used by Blender's thread."""

    def __init__(self, work: "Work") -> None:
        self.work = work
        self._display = Display()
        self._timer: Optional[Any] = None
        self._display.begin()

    @property
    def text(self) -> str:
        progress = self.work.progress
        return "Asking the server" if progress is None else str(progress)

    def add_timer(self, window: Any) -> None:
        self._timer = bpy.context.window_manager.event_timer_add(_TICK_SECONDS, window=window)

    def has_ended(self, wait_seconds: float = 0) -> bool:
        """Shows the progress when it has not."""
        if self.work.wait(wait_seconds):
            return True
        progress = self.work.progress
        self._display.show(self.text, None if progress is None else progress.permille)
        return False

    def wait(self) -> None:
        while not self.has_ended(_TICK_SECONDS):
            pass

    def end(self) -> None:
        """Leaves nothing behind in Blender; called once."""
        if self._timer is not None:
            bpy.context.window_manager.event_timer_remove(self._timer)
        self._display.end()


_current: Optional[Session] = None
_failure: Optional[Message] = None


def current() -> Optional[Session]:
    return _current


def failure() -> Optional[Message]:
    """The last message, if it was an error; none while a run is under way."""
    return _failure if _current is None else None


def note(message: Message) -> None:
    """Of a run that has ended or could not start."""
    global _failure
    _failure = message if message.level == "ERROR" else None


def start(work: "Work") -> Session:
    """Only while there is no other."""
    global _current
    _current = Session(work)
    return _current


def end() -> None:
    global _current
    if _current is not None:
        ended, _current = _current, None
        ended.end()


def stop() -> None:
    """Cancels what is under way, and waits for it."""
    if _current is not None:
        _current.work.cancel()
        _current.work.wait()
        end()
