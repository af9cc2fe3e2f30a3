"""The operators in a Blender without windows, as render farms run it."""

from __future__ import annotations

import pathlib

from blender import Blender
from scripted_server import ScriptedServer

_SCRIPT = """
import bpy
from in_blender import *
before = asset_libraries()
"""
_SYNCHRONISE = _SCRIPT + "tell(list(bpy.ops.mtllib.synchronise()))\n"
_TELL_NEW_LIBRARIES = "tell([x for x in asset_libraries() if x not in before])\n"


def test_synchronise_fetches_and_registers(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak", "folder/b.mat": b"ash"})
    finished = blender.run(_SYNCHRONISE + _TELL_NEW_LIBRARIES).check()
    assert finished.told == [["FINISHED"], [["Stock", str(copy)]]]
    assert "Info: The local copy was updated: 2 files" in finished.output
    assert (copy / "a.mat").read_bytes() == b"oak"
    assert (copy / "folder" / "b.mat").read_bytes() == b"ash"
