"""Messages to the user, in the terms of Blender's reports."""

from __future__ import annotations

from dataclasses import dataclass

# The status bar leaves out the line break, but not the space.
_LINE_BREAK = " \n"


@dataclass(frozen=True)
class Message:
    level: str
    """ "INFO", "WARNING" or "ERROR"."""
    text: str


def error(reason: str, advice: str) -> Message:
    """What is wrong, and what to do if that is known."""
    return Message("ERROR", f"{reason}.{_LINE_BREAK}{advice}." if advice else f"{reason}.")
