"""Makes texts safe to show: names in them come from a server that cannot be trusted."""

from __future__ import annotations

import re

_BREAKS = re.compile(r"[ \t\r\n]*[\t\r\n][ \t\r\n]*")


def printable(text: str) -> str:
    """The text as one line that is safe for a terminal, a log or a dialogue: line breaks and
    tabs become blanks, and what would give a terminal commands, or change the direction of
    the text around it, is escaped, as "\\x1b" and "\\u202e"."""
    line = _BREAKS.sub(" ", text.strip(" \t\r\n"))
    return "".join(x if x.isprintable() else ascii(x)[1:-1] for x in line)
