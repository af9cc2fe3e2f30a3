"""Messages to the user, in the terms of Blender's reports."""

from __future__ import annotations

import textwrap
from dataclasses import dataclass
from typing import List

# The status bar leaves out the line break, but not the space.
_LINE_BREAK = " \n"
# Labels have one line, which is cut off where the window ends.
_MOST_CHARACTERS = 72


@dataclass(frozen=True)
class Message:
    level: str
    """ "INFO", "WARNING" or "ERROR"."""
    text: str

    def lines(self) -> List[str]:
        """The text in lines that fit into the preferences."""
        parts = self.text.splitlines()
        return [line for part in parts for line in textwrap.wrap(part, _MOST_CHARACTERS)]


def error(reason: str, advice: str) -> Message:
    """What is wrong, and what to do if that is known."""
    return Message("ERROR", f"{reason}.{_LINE_BREAK}{advice}." if advice else f"{reason}.")
