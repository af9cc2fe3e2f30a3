"""Progress and messages of the program: a line redrawn on a terminal, plain lines elsewhere."""

from __future__ import annotations

import shutil
import time
from typing import TextIO

from mtllib._events import Progress
from mtllib._printable import printable

_CLEAR_LINE = "\r\x1b[K"
_REDRAW_SECONDS = 0.1
_PERMILLE_PER_NOTE = 100


class ProgressDisplay:
    """Used by one thread."""

    def __init__(self, stream: TextIO) -> None:
        self._stream = stream
        self._is_terminal = stream.isatty()
        self._is_shown = False
        self._drawn_at = 0.0
        self._phase = ""
        self._tenths = 0

    def show(self, progress: Progress) -> None:
        """On a terminal draws it, at most ten times a second. Elsewhere prints a line when a
        phase begins, and one for each tenth of it."""
        if self._is_terminal:
            self._draw(printable(str(progress)))
        else:
            self._note(progress)

    def print_line(self, line: str) -> None:
        """A message, in place of the progress on a terminal."""
        self.hide()
        self._write(printable(line) + "\n")

    def hide(self) -> None:
        """Leaves no progress behind on a terminal."""
        if self._is_shown:
            self._is_shown = False
            self._write(_CLEAR_LINE)

    def _draw(self, line: str) -> None:
        now = time.monotonic()
        if self._is_shown and now - self._drawn_at < _REDRAW_SECONDS:
            return
        # A line that fills the last column makes some terminals go on to the next one.
        columns = shutil.get_terminal_size().columns - 1
        self._is_shown = True
        self._drawn_at = now
        self._write(_CLEAR_LINE + line[:columns])

    def _note(self, progress: Progress) -> None:
        if progress.text != self._phase:
            self._phase = progress.text
            self._tenths = 0
            self._write(printable(progress.text) + "\n")
        tenths = (progress.permille or 0) // _PERMILLE_PER_NOTE
        if tenths > self._tenths:
            self._tenths = tenths
            self._write(printable(str(progress)) + "\n")

    def _write(self, text: str) -> None:
        self._stream.write(text)
        self._stream.flush()
