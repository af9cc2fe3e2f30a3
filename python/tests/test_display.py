"""What is shown of texts that a server has written, and how wide the line of progress is."""

from __future__ import annotations

import io

import pytest

import mtllib
from mtllib import Progress
from mtllib._display import ProgressDisplay

_CLEAR_LINE = "\r\x1b[K"


class _Terminal(io.StringIO):
    def isatty(self) -> bool:
        return True


def test_printable_text_is_one_line_without_commands() -> None:
    assert mtllib.printable("maps/é 木  2.tx") == "maps/é 木  2.tx"
    assert mtllib.printable(" one\r\n  two\tthree\n") == "one two three"
    hostile = "\x1b[2J\x7f\x9b2J\u202etxt\u2066\u200f\u061c\u2028\u2029\x00\udcff"
    assert mtllib.printable(hostile) == (
        "\\x1b[2J\\x7f\\x9b2J\\u202etxt\\u2066\\u200f\\u061c\\u2028\\u2029\\x00\\udcff"
    )


def test_a_message_is_printable() -> None:
    stream = io.StringIO()
    ProgressDisplay(stream).print_line("mtllib: warning: a\x1b[2J\nb\u202e")
    assert stream.getvalue() == "mtllib: warning: a\\x1b[2J b\\u202e\n"


@pytest.mark.parametrize("stream", [io.StringIO(), _Terminal()])
def test_progress_is_printable(stream: io.StringIO) -> None:
    ProgressDisplay(stream).show(Progress("a\x1b[2J\u202e", 100))
    assert "a\\x1b[2J\\u202e: 10 %" in stream.getvalue()
    assert "\u202e" not in stream.getvalue()


@pytest.mark.parametrize(
    "columns, shown", [(11, "0123456789"), (10, "012345678"), (12, "0123456789")]
)
def test_progress_leaves_the_last_column_free(
    monkeypatch: pytest.MonkeyPatch, columns: int, shown: str
) -> None:
    monkeypatch.setenv("COLUMNS", str(columns))
    stream = _Terminal()
    ProgressDisplay(stream).show(Progress("0123456789"))
    assert stream.getvalue() == _CLEAR_LINE + shown


def test_progress_is_drawn_ten_times_a_second_at_most(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("COLUMNS", "80")
    now = 1000.0
    monkeypatch.setattr("time.monotonic", lambda: now)
    stream = _Terminal()
    display = ProgressDisplay(stream)
    for now in (1000.0, 1000.0625, 1000.125, 1000.1875):
        display.show(Progress(str(now)))
    display.hide()
    display.hide()
    display.show(Progress("again"))
    drawn = [f"{_CLEAR_LINE}1000.0", f"{_CLEAR_LINE}1000.125", _CLEAR_LINE, f"{_CLEAR_LINE}again"]
    assert stream.getvalue() == "".join(drawn)


def test_elsewhere_a_phase_has_a_line_for_its_begin_and_for_each_tenth() -> None:
    stream = io.StringIO()
    display = ProgressDisplay(stream)
    for permille in (None, 0, 99, 100, 199, 200, 1000):
        display.show(Progress("First", permille))
    display.show(Progress("Second", 50))
    display.show(Progress("Second", 100))
    display.hide()
    assert stream.getvalue().splitlines() == [
        "First",
        "First: 10 %",
        "First: 20 %",
        "First: 100 %",
        "Second",
        "Second: 10 %",
    ]
