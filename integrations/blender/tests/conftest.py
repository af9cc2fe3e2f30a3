"""What the tests share: a server, and Blender with the add-on's zip installed."""

from __future__ import annotations

import pathlib
from typing import Iterator

import pytest

from blender import Blender
from scripted_server import ScriptedServer
from screen import Screen
from server_fixtures import copy, server

_PROJECT = pathlib.Path(__file__).parents[3]


@pytest.fixture(scope="session")
def addon_zip() -> pathlib.Path:
    (built,) = (_PROJECT / "dist").glob("mtllib_blender-*.zip")
    return built


@pytest.fixture(scope="session")
def installed(
    addon_zip: pathlib.Path, tmp_path_factory: pytest.TempPathFactory
) -> pathlib.Path:
    """The folder of a user who has installed the zip."""
    home = tmp_path_factory.mktemp("home")
    installation = f"bpy.ops.preferences.addon_install(filepath={str(addon_zip)!r})"
    Blender(home).run(f"import bpy; {installation}").check()
    return home


@pytest.fixture
def blender(installed: pathlib.Path, server: ScriptedServer, copy: pathlib.Path) -> Blender:
    """With the add-on enabled and set up for the server."""
    return Blender(installed).with_preferences(
        address=server.url, folder=str(copy), proxy="NONE", asset_library="Stock"
    )


@pytest.fixture(scope="session")
def screen() -> Iterator[Screen]:
    opened = Screen()
    yield opened
    opened.close()


@pytest.fixture
def windowed(blender: Blender, screen: Screen) -> Blender:
    """The same with a window."""
    return blender.on(screen)
