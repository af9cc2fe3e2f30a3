"""A server for one test, and the folder for a copy of what it serves."""

from __future__ import annotations

import pathlib
from typing import Iterator

import pytest

from scripted_server import ScriptedServer


@pytest.fixture
def server() -> Iterator[ScriptedServer]:
    started = ScriptedServer()
    yield started
    started.stop()


@pytest.fixture
def copy(tmp_path: pathlib.Path) -> pathlib.Path:
    """The folder of the local copy, not made yet."""
    return tmp_path / "copy"
