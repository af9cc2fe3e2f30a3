"""The operators in a Blender without windows, as render farms run it."""

from __future__ import annotations

import pathlib
from typing import Dict

import pytest

from blender import Blender, Preference
from scripted_server import ScriptedServer, refusing_address
from signed_library import FIRST_TIME, SignedLibrary

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
        f"RuntimeError: Error: Could not fetch {server.url}/id.txt: the server answered with HTTP "
        "status 404: there is no such file. \n"
        "Check the address: a library has the files id.txt and filelist.json there.\n"
    ) in finished.output + finished.errors


@pytest.mark.parametrize("operator", ["synchronise", "check", "plan", "repair"])
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
    text = (
        f"Error: Could not fetch {server.url}/id.txt: the server answered with HTTP status 404: "
        "there is no such file."
    )
    assert finished.told == [text, False, ["User Library"]]


def test_the_module_does_the_work_when_it_is_asked_for(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    own = blender.with_preferences(uses_module=True)
    finished = own.run(_SYNCHRONISE)
    assert finished.status == 1
    assert (
        f"Could not fetch {server.url}/id.txt: the server answered with HTTP status 404: there is "
        "no such file. \n"
        "Check the address: a library has the files id.txt and filelist.json there.\n"
    ) in finished.output + finished.errors
    server.publish({"a.mat": b"oak"})
    own.run(_SYNCHRONISE).check()
    assert (copy / "a.mat").read_bytes() == b"oak"
    assert not (copy / ".mtllib" / "state").exists()


def test_plan_tells_what_would_be_done_and_writes_nothing(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak", "b.mat": b"ash", "c.mat": b"elm"})
    script = _SCRIPT + "tell(list(bpy.ops.mtllib.plan()))\n" + _TELL_NEW_LIBRARIES
    finished = blender.run(script).check()
    assert finished.told == [["FINISHED"], []]
    assert "Info: An update would fetch 3 files (9 bytes)\n" in finished.output
    assert not copy.exists()
    blender.run(_SYNCHRONISE).check()
    server.publish({"a.mat": b"oak", "b.mat": bytes(2500)}, stamp=b"v2\n")
    (copy / "b.mat").unlink()
    (copy / "b.mat").mkdir()
    (copy / "b.mat" / "own.mat").write_bytes(b"")
    output = blender.run(_SCRIPT + "bpy.ops.mtllib.plan()").check().output
    assert (
        "Warning: An update would change no file; 1 withdrawn file would stay; 1 file would be "
        "skipped, such as b.mat: "
    ) in output
    server.publish({"a.mat": b"yew", "d.mat": bytes(2500)}, stamp=b"v3\n")
    pruning = blender.with_preferences(prune=True)
    output = pruning.run(_SCRIPT + "bpy.ops.mtllib.plan()").check().output
    assert "Info: An update would fetch 2 files (2.5 kB), remove 1 file (3 bytes)\n" in output


def test_withdrawn_files_are_removed_when_asked_for(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak", "b.mat": b"ash", "c.mat": b"elm"})
    blender.run(_SYNCHRONISE).check()
    server.publish({"a.mat": b"oak", "b.mat": b"ash"}, stamp=b"v2\n")
    finished = blender.with_preferences(prune=True).run(_SYNCHRONISE).check()
    assert "Info: The local copy was updated: 1 file\n" in finished.output
    assert not (copy / "c.mat").exists()


def test_verify_tells_what_differs_and_repair_fetches_it(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak", "b.mat": b"ash"})
    verify = "bpy.ops.mtllib.verify()\n"
    repair = "bpy.ops.mtllib.repair()\n"
    spoil = f"open({str(copy / 'b.mat')!r}, 'w').write('x')\n"
    add = f"open({str(copy / 'c.mat')!r}, 'w').write('x')\n"
    whole = blender.run(_SYNCHRONISE + verify + spoil + verify + repair + repair + add + verify)
    lines = whole.check().output.splitlines()
    assert [line for line in lines if line.startswith(("Info: ", "Warning: "))][1:] == [
        "Info: The local copy is as it should be: 2 files compared",
        "Warning: 1 file of the local copy differs from the library, such as b.mat (wrong size); "
        "Repair Material Library fetches what is wrong",
        "Info: The local copy was repaired: 1 file",
        "Info: Nothing in the local copy was wrong",
        "Warning: 1 file of the local copy differs from the library, such as c.mat (extra)",
    ]
    assert (copy / "b.mat").read_bytes() == b"ash"


def test_there_must_be_something_to_verify(blender: Blender, server: ScriptedServer) -> None:
    finished = blender.run(_SCRIPT + "bpy.ops.mtllib.verify()")
    assert finished.status == 1
    assert "Update the copy first" in finished.output + finished.errors


def test_a_folder_that_cannot_be_written_is_told(
    blender: Blender, server: ScriptedServer, tmp_path: pathlib.Path
) -> None:
    (tmp_path / "file").write_text("")
    finished = blender.with_preferences(folder=str(tmp_path / "file" / "x")).run(_SYNCHRONISE)
    assert finished.status == 1
    assert "Move away what is there, or choose another folder." in (
        finished.output + finished.errors
    )


def test_a_library_that_is_none_is_told(blender: Blender, server: ScriptedServer) -> None:
    server.publish({})
    server.serve("/lib/filelist.json", b"{")
    finished = blender.run(_SYNCHRONISE)
    assert finished.status == 1
    assert "what answers there is not a library" in finished.output + finished.errors


def test_only_what_one_of_the_keys_has_signed_is_taken(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path, tmp_path: pathlib.Path
) -> None:
    oak = SignedLibrary(server)
    file = tmp_path / "oak and more.pub"
    file.write_text(oak.public_key + "\n")
    other = SignedLibrary(server).public_key
    pinned = blender.with_preferences(keys=f" {other}, {file}", library_name="oak")
    oak.publish({"a.mat": b"oak"})
    pinned.run(_SYNCHRONISE + "bpy.ops.mtllib.check()\nbpy.ops.mtllib.verify()").check()
    oak.publish({"a.mat": b"ash"})
    oak.serve_stamp(b"7a1bc3d2")
    for operator in ("synchronise", "check", "plan", "repair"):
        finished = pinned.run(_SCRIPT + f"bpy.ops.mtllib.{operator}()")
        assert finished.status == 1
        told = finished.output + finished.errors
        assert (
            f"RuntimeError: Error: The file {server.url}/id.txt is not trusted: it is not "
            "signed: "
        ) in told
        assert (
            ". \nNothing was changed. If this persists, ask the library's publisher, by some way other than its server.\n"
        ) in told
    assert (copy / "a.mat").read_bytes() == b"oak"


def test_a_mirror_helps_when_the_address_does_not_answer(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    with refusing_address() as (host, port):
        blender.with_preferences(
            address=f"http://{host}:{port}/lib", mirrors=f" {server.url} "
        ).run(_SYNCHRONISE).check()
    assert (copy / "a.mat").read_bytes() == b"oak"


def test_an_expired_release_is_taken_on_request_with_a_warning(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    oak = SignedLibrary(server)
    oak.expires = FIRST_TIME
    oak.publish({"a.mat": b"oak"})
    pinned = blender.with_preferences(keys=oak.public_key)
    assert pinned.run(_SYNCHRONISE).status == 1
    finished = pinned.with_preferences(allow_expired=True).run(_SYNCHRONISE).check()
    assert f"1 warning: {server.url}/id.txt: it expired at " in finished.output
    assert (copy / "a.mat").read_bytes() == b"oak"


def test_a_copy_that_had_keys_needs_them_until_they_are_forgotten(
    blender: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    oak = SignedLibrary(server)
    oak.publish({"a.mat": b"oak"})
    blender.with_preferences(keys=oak.public_key).run(_SYNCHRONISE).check()
    oak.publish({"a.mat": b"ash"})
    finished = blender.run(_SYNCHRONISE)
    assert finished.status == 1
    assert "This copy was updated with keys" in finished.output + finished.errors
    assert (copy / "a.mat").read_bytes() == b"oak"
    forget = "bpy.ops.mtllib.synchronise(forget_keys=True)\n"
    blender.run(_SCRIPT + forget + _AGAIN).check()
    assert (copy / "a.mat").read_bytes() == b"ash"


@pytest.mark.parametrize(
    "wrong, reason",
    [
        ({"keys": "RWQ"}, '"RWQ" is neither a public key nor a file that can be read'),
        ({"keys": ","}, '"" is neither a public key nor a file that can be read'),
        ({"library_name": "oak"}, "A library's name is checked with keys only"),
        ({"keys": "KEY", "uses_module": True}, "the module cannot check signatures"),
    ],
)
def test_keys_that_cannot_be_used_are_told(
    blender: Blender, server: ScriptedServer, wrong: Dict[str, Preference], reason: str
) -> None:
    oak = SignedLibrary(server)
    oak.publish({"a.mat": b"oak"})
    if wrong.get("keys") == "KEY":
        wrong = {**wrong, "keys": oak.public_key}
    finished = blender.with_preferences(**wrong).run(_SYNCHRONISE)
    assert finished.status == 1
    assert reason in finished.output + finished.errors
    assert "Check the add-on's preferences." in finished.output + finished.errors
    assert server.requests == []


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


def test_a_request_is_sent_again_as_often_as_retries_say(
    blender: Blender, server: ScriptedServer
) -> None:
    server.serve("/lib/id.txt", b"", status=503)
    for retries in (0, 1):
        server.forget_requests()
        finished = blender.with_preferences(retries=retries).run(_SYNCHRONISE)
        assert finished.status == 1
        assert server.requests == ["/lib/id.txt"] * (retries + 1)


def test_servers_are_told_the_name_of_the_program(
    blender: Blender, server: ScriptedServer
) -> None:
    server.publish({})
    script = _SCRIPT + "bpy.ops.mtllib.check()\nset_preferences(user_agent='')\n"
    named = blender.with_preferences(user_agent=" me/1 ")
    named.run(script + "bpy.ops.mtllib.check()").check()
    assert server.user_agents[0] == "me/1"
    assert server.user_agents[1].startswith("mtllib/")


def test_no_more_is_received_a_second_than_the_rate(
    blender: Blender, server: ScriptedServer
) -> None:
    server.publish({"a.mat": bytes(400_000)})
    script = "import time\nbegin = time.monotonic()\n" + _SYNCHRONISE
    slow = blender.with_preferences(limit_rate="200k")
    finished = slow.run(script + "tell(time.monotonic() - begin)").check()
    assert finished.told[1] > 1


@pytest.mark.parametrize(
    "limit, reason",
    [
        ("stall_timeout", "the server stopped responding"),
        ("max_time", "The time limit is over"),
    ],
)
def test_a_server_that_stands_still_is_left_in_time(
    blender: Blender, server: ScriptedServer, limit: str, reason: str
) -> None:
    server.hold("/lib/id.txt")
    impatient = blender.with_preferences(**{limit: "1s"}, retries=0)
    finished = impatient.run(_SYNCHRONISE)
    assert finished.status == 1
    assert reason in finished.output + finished.errors


def test_zero_is_no_limit_of_ones_own(blender: Blender, server: ScriptedServer) -> None:
    server.publish({})
    names = ("limit_rate", "connect_timeout", "stall_timeout", "max_time")
    blender.with_preferences(**dict.fromkeys(names, "0")).run(_SYNCHRONISE).check()


@pytest.mark.parametrize(
    "wrong, reason",
    [
        ({"limit_rate": "1x"}, "Limit Rate: not a number of bytes, perhaps with k, M or G: 1x"),
        ({"connect_timeout": "-1"}, "Connect Timeout: not a number of seconds, perhaps with m or"),
        ({"stall_timeout": "1d"}, "Stall Timeout: not a number of seconds, perhaps with m or h: 1d"),
        ({"max_time": "x"}, "Max Time: not a number of seconds, perhaps with m or h: x"),
        ({"retries": 101}, "A request can be tried 1 to 101 times, not 102 times"),
        ({"proxy_password": "secret"}, "A password for the proxy is set without a user name"),
        ({"user_agent": "me", "uses_module": True}, "A user agent is for the engine only"),
        ({"max_time": "1", "uses_module": True}, "A time limit is for the engine only"),
        ({"limit_rate": "1k", "uses_module": True}, "A limit of the rate is for the engine only"),
    ],
)
def test_network_options_that_cannot_be_used_are_told(
    blender: Blender, server: ScriptedServer, wrong: Dict[str, Preference], reason: str
) -> None:
    finished = blender.with_preferences(**wrong).run(_SYNCHRONISE)
    assert finished.status == 1
    assert reason in finished.output + finished.errors
    assert "Check the add-on's preferences." in finished.output + finished.errors
    assert server.requests == []


def test_secrets_are_hidden_in_the_preferences(blender: Blender) -> None:
    script = """
from in_blender import *
properties = type(addon_preferences()).bl_rna.properties
tell([x.identifier for x in properties if x.type == "STRING" and x.subtype == "PASSWORD"])
"""
    (hidden,) = blender.run(script).check().told
    assert hidden == ["proxy_password", "request_field", "query"]


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
    script = _SCRIPT + "tell(list(bpy.ops.mtllib.check()))"
    with refusing_address() as (host, port):
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
