"""What most tests need: a server, a folder, libraries that are closed again."""

from __future__ import annotations

import os
import pathlib
import signal
from typing import Any, Callable, Iterator, Optional

import pytest

import mtllib
from mtllib import _run
from scripted_server import ScriptedServer
from server_fixtures import copy, server

# The server is on this computer: a proxy would not find it.
os.environ["no_proxy"] = os.environ["NO_PROXY"] = "127.0.0.1"

# Programs inherit what is ignored here, as it is in the background of a script's shell.
signal.signal(signal.SIGINT, signal.default_int_handler)

Opener = Callable[..., mtllib.Library]


@pytest.fixture(autouse=True)
def _no_run_left_behind() -> Iterator[None]:
    yield
    assert not _run._unfinished


@pytest.fixture(params=["engine", "module"])
def way(request: pytest.FixtureRequest) -> str:
    """Of keeping a copy."""
    return str(request.param)


@pytest.fixture
def open_library(server: ScriptedServer, copy: pathlib.Path, way: str) -> Iterator[Opener]:
    """Opens libraries of the server, which are closed at the end."""
    opened = []

    def opener(
        url: Optional[str] = None,
        directory: pathlib.Path = copy,
        proxy: Optional[str] = None,
        options: mtllib.UpdateOptions = mtllib.UpdateOptions(),
        **trust: Any,
    ) -> mtllib.Library:
        opened.append(
            mtllib.Library(
                url or server.url,
                directory,
                proxy=proxy,
                module=way == "module",
                options=options,
                **trust,
            )
        )
        return opened[-1]

    yield opener
    for library in opened:
        library.close()


@pytest.fixture
def library(open_library: Opener) -> mtllib.Library:
    return open_library()
