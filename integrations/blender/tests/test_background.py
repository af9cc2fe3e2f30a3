"""The operators in a Blender without windows, as render farms run it."""

from __future__ import annotations

import pathlib

import pytest

from blender import Blender
from scripted_server import ScriptedServer, unused_address

_SCRIPT = """
import bpy
from in_blender import *
before = asset_libraries()
"""
_SYNCHRONISE = _SCRIPT + "tell(list(bpy.ops.mtllib.synchronise()))\n"
_AGAIN = "bpy.ops.mtllib.synchronise()\n"
_TELL_NEW_LIBRARIES = "tell([x for x in asset_libraries() if x not in before])\n"


def test_synchronise_fetches_and_registers(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak", "folder/b.mat": b"ash"})
    finished = blender.run(_SYNCHRONISE + _TELL_NEW_LIBRARIES).check()
    assert finished.told == [["FINISHED"], [["Stock", str(copy)]]]
    assert "Info: The local copy was updated: 2 files\n" in finished.output
    assert (copy / "a.mat").read_bytes() == b"oak"
    assert (copy / "folder" / "b.mat").read_bytes() == b"ash"


def test_a_second_run_registers_nothing_new(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    finished = blender.run(_SYNCHRONISE + _AGAIN + _TELL_NEW_LIBRARIES).check()
    assert finished.told[1] == [["Stock", str(copy)]]
    assert "Info: The local copy was up to date\n" in finished.output


def test_the_registration_is_part_of_the_preferences(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path, tmp_path: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    own = blender.with_home_copied_to(tmp_path / "home")
    own.run(_SYNCHRONISE + "bpy.ops.wm.save_userpref()").check()
    later = own.with_saved_settings()
    finished = later.run(_SYNCHRONISE + "tell(before)\ntell(asset_libraries())").check()
    assert ["Stock", str(copy)] in finished.told[1]
    assert finished.told[1] == finished.told[2]


def test_another_folder_takes_the_place_of_the_registered_one(
    blender: Blender, server: ScriptedServer, tmp_path: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    change = f"set_preferences(folder={str(tmp_path / 'other')!r})\n"
    finished = blender.run(_SYNCHRONISE + change + _AGAIN + _TELL_NEW_LIBRARIES).check()
    assert finished.told[1] == [["Stock", str(tmp_path / "other")]]


def test_another_name_takes_the_place_of_the_registered_one(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    change = "set_preferences(asset_library='Wood')\n"
    finished = blender.run(_SYNCHRONISE + change + _AGAIN + _TELL_NEW_LIBRARIES).check()
    assert finished.told[1] == [["Wood", str(copy)]]


def test_a_folder_that_is_registered_already_is_not_registered_again(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    by_hand = f"bpy.ops.preferences.asset_library_add(directory={str(copy) + '/'!r})\n"
    finished = blender.run(_SCRIPT + by_hand + _AGAIN + _TELL_NEW_LIBRARIES).check()
    assert [name for name, _ in finished.told[0]] == ["Stock"]


def test_an_error_is_reported_with_its_cause_and_what_to_do(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    finished = blender.run(_SYNCHRONISE + "tell('not reached')")
    assert finished.status == 1
    assert finished.told == []
    assert (
        "RuntimeError: Error: Could not download remote stamp file, because: "
        "Unexpected HTTP status (404). \n"
        "Check the address and the proxy in the add-on's preferences, and the network; "
        "then try again.\n"
    ) in finished.output + finished.errors


@pytest.mark.parametrize("operator", ["synchronise", "check"])
def test_a_script_may_survive_an_error(
    blender: Blender, server: ScriptedServer, operator: str
) -> None:
    script = f"""
from in_blender import *
try:
    bpy.ops.mtllib.{operator}()
except RuntimeError as error:
    tell(str(error).splitlines()[0].rstrip())
tell(is_running())
tell([name for name, _ in asset_libraries()])
"""
    finished = blender.run(script).check()
    text = "Error: Could not download remote stamp file, because: Unexpected HTTP status (404)."
    assert finished.told == [text, False, ["User Library"]]


def test_a_folder_that_cannot_be_written_is_told(
    blender: Blender, server: ScriptedServer, tmp_path: pathlib.Path
) -> None:
    (tmp_path / "file").write_text("")
    finished = blender.with_preferences(folder=str(tmp_path / "file" / "x")).run(_SYNCHRONISE)
    assert finished.status == 1
    assert "Check that the folder in the add-on's preferences" in finished.output + finished.errors


def test_a_library_that_is_none_is_told(blender: Blender, server: ScriptedServer) -> None:
    server.publish({})
    server.serve("/lib/filelist.json", b"{")
    finished = blender.run(_SYNCHRONISE)
    assert finished.status == 1
    assert "if it is right, tell who runs the library." in finished.output + finished.errors


@pytest.mark.parametrize(
    "preference, label",
    [("address", "Address"), ("folder", "Folder"), ("asset_library", "Asset Library")],
)
def test_what_is_not_set_is_told(blender: Blender, preference: str, label: str) -> None:
    finished = blender.with_preferences(**{preference: ""}).run(_SYNCHRONISE)
    assert finished.status == 1
    text = f"Error: {label} is empty. \nSet it in the add-on's preferences."
    assert text in finished.output + finished.errors


def test_check_tells_of_an_update_and_writes_nothing(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    script = _SCRIPT + "tell(list(bpy.ops.mtllib.check()))\n" + _TELL_NEW_LIBRARIES
    finished = blender.run(script).check()
    assert finished.told == [["FINISHED"], []]
    assert "Info: An update is available\n" in finished.output
    assert not copy.exists()


def test_check_tells_that_the_copy_is_up_to_date(
    blender: Blender, server: ScriptedServer
) -> None:
    server.publish({"a.mat": b"oak"})
    finished = blender.run(_SYNCHRONISE + "bpy.ops.mtllib.check()").check()
    assert "Info: The local copy is up to date\n" in finished.output


def test_the_proxy_is_used(blender: Blender, server: ScriptedServer) -> None:
    proxy = server.address[len("http://") :]
    remote = blender.with_preferences(
        address="http://library.test/lib", proxy="ADDRESS", proxy_address=proxy
    )
    assert remote.run(_SCRIPT + "bpy.ops.mtllib.check()").status == 1
    assert server.requests == ["http://library.test:80/lib/id.txt"]


def test_no_proxy_is_used_when_the_system_has_one(
    blender: Blender, server: ScriptedServer
) -> None:
    server.publish({"a.mat": b"oak"})
    host, port = unused_address()
    script = _SCRIPT + "tell(list(bpy.ops.mtllib.check()))"
    finished = blender.with_environment(http_proxy=f"{host}:{port}", no_proxy="").run(script)
    assert finished.check().told == [["FINISHED"]]


def test_a_folder_relative_to_the_open_file_is_made_absolute(
    blender: Blender, server: ScriptedServer, tmp_path: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    script = f"""
from in_blender import *
bpy.ops.wm.save_as_mainfile(filepath={str(tmp_path / "scene.blend")!r})
set_preferences(folder="//materials")
bpy.ops.wm.read_homefile()
bpy.ops.mtllib.synchronise()
tell(addon_preferences().folder)
"""
    finished = blender.run(script).check()
    assert finished.told == [str(tmp_path / "materials")]
    assert (tmp_path / "materials" / "a.mat").exists()
