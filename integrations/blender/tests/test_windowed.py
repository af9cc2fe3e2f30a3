"""The operators in a Blender with a window, on a screen in memory: they run in the
background, show progress, and can be cancelled in many ways."""

from __future__ import annotations

import pathlib
import textwrap
import threading

import pytest

from blender import Blender, Finished
from scripted_server import ScriptedServer


def _play(blender: Blender, scene: str) -> Finished:
    script = f"""
import bpy
from in_blender import *

def has_ended():
    return not is_running()

def scene():
    # The first moments are Blender's.
    yield lambda: bpy.context.window_manager.windows
{textwrap.indent(textwrap.dedent(scene), "    ")}

play(scene)
"""
    return blender.run(script).check()


def _release_when_requested(server: ScriptedServer, target: str, other: str) -> None:
    """Lets the one be answered once the other is asked for."""

    def wait() -> None:
        server.wait_for(other)
        server.release(target)

    server.hold(target)
    threading.Thread(target=wait).start()


@pytest.fixture
def held(server: ScriptedServer) -> ScriptedServer:
    """Answers nothing."""
    server.publish({"a.mat": b"oak"})
    server.hold("/lib/id.txt")
    return server


def test_synchronise_runs_in_the_background(
    windowed: Blender, server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    # Answered once Blender, meanwhile, has run something else.
    _release_when_requested(server, "/lib/a.mat", "/lib/go-on")
    finished = _play(
        windowed,
        f"""
        import urllib.request
        tell(invoke(bpy.ops.mtllib.synchronise))
        yield lambda: "Downloading" in status_text()
        try:
            invoke(bpy.ops.mtllib.check)
        except RuntimeError as error:
            tell(str(error).splitlines()[0].rstrip())
        try:
            urllib.request.urlopen("{server.url}/go-on")
        except OSError:
            pass
        yield has_ended
        tell(asset_libraries())
        tell(status_text())
        """,
    )
    started, refused, libraries, status_text = finished.told
    assert started == ["RUNNING_MODAL"]
    assert refused == "Error: The add-on is at work already."
    assert ["Stock", str(copy)] in libraries
    assert status_text == ""
    assert (copy / "a.mat").read_bytes() == b"oak"
    assert "Info: The local copy was updated: 1 file\n" in finished.output


def test_an_error_is_reported(windowed: Blender, server: ScriptedServer) -> None:
    finished = _play(
        windowed,
        """
        invoke(bpy.ops.mtllib.check)
        yield has_ended
        tell(reports())
        """,
    )
    (reports,) = finished.told
    assert (
        f"Could not fetch {server.url}/id.txt: the server answered with HTTP status 404: there is "
        "no such file. \n"
        "Check the address: a library has the files id.txt and filelist.json there."
    ) in reports


def test_the_preferences_show_an_error_until_the_next_run(
    windowed: Blender, server: ScriptedServer
) -> None:
    server.serve("/good/id.txt", b"v1\n")
    finished = _play(
        windowed,
        """
        shown = show_preferences()
        yield shown
        tell(" ".join(shown()))
        invoke(bpy.ops.mtllib.check)
        yield has_ended
        yield lambda: "404" in " ".join(shown())
        tell(" ".join(shown()))
        set_preferences(address="")
        try:
            invoke(bpy.ops.mtllib.check)
        except RuntimeError:
            pass
        bpy.context.window_manager.windows[1].screen.areas[0].tag_redraw()
        yield lambda: "Address is empty. Set it in the add-on's preferences." in " ".join(shown())
        set_preferences(address="ADDRESS")
        invoke(bpy.ops.mtllib.check)
        yield has_ended
        yield lambda: "Address is empty" not in " ".join(shown())
        """.replace("ADDRESS", server.address + "/good"),
    )
    before, after = finished.told
    assert "404" not in before
    assert (
        f"Could not fetch {server.url}/id.txt: the server answered with HTTP status 404: there is "
        "no such file. "
        "Check the address: a library has the files id.txt and filelist.json there. "
    ) in after


def test_the_preferences_fold_what_says_how_requests_are_sent(windowed: Blender) -> None:
    finished = _play(
        windowed,
        """
        shown = show_preferences()
        yield shown
        tell(shown())
        set_preferences(shows_network=True)
        yield lambda: "user_agent" in shown()
        tell(shown())
        set_preferences(uses_module=True)
        yield lambda: "prune" not in shown()
        tell(shown())
        """,
    )
    folded, unfolded, of_module = finished.told
    network = [
        *("proxy_user", "proxy_password", "ca_file", "request_field", "query", "user_agent"),
        *("connect_timeout", "stall_timeout", "max_time", "retries", "limit_rate"),
    ]
    assert [name for name in unfolded if name not in folded] == network
    assert {"shows_network", "mtllib.synchronise"} <= set(folded)
    assert set(network) <= set(of_module), "what the module refuses can be taken back"


@pytest.mark.parametrize("end", ["press_escape()", "bpy.ops.mtllib.cancel()"])
def test_the_user_cancels(windowed: Blender, held: ScriptedServer, end: str) -> None:
    finished = _play(
        windowed,
        f"""
        invoke(bpy.ops.mtllib.synchronise)
        yield status_text
        {end}
        yield has_ended
        tell(status_text())
        tell([name for name, _ in asset_libraries()])
        tell(reports())
        """,
    )
    status_text, libraries, reports = finished.told
    assert status_text == ""
    assert libraries == ["User Library"]
    assert "Cancelled; the next run continues from there" in reports


_RUN_UNTIL_TAKEN_AWAY = """
scene_file = bpy.app.tempdir + "scene.blend"
bpy.ops.wm.save_as_mainfile(filepath=scene_file)

import threading
def threads():
    return [x.name for x in threading.enumerate() if x.name.startswith("mtllib")]

invoke(bpy.ops.mtllib.synchronise)
yield status_text
tell(threads() != [])
"""


@pytest.mark.parametrize(
    "end",
    [
        "bpy.ops.preferences.addon_disable(module='mtllib_blender')",
        "bpy.ops.wm.read_homefile()",
        "bpy.ops.wm.open_mainfile(filepath=scene_file, load_ui=False)",
    ],
)
def test_what_takes_the_operator_away_ends_its_run(
    windowed: Blender, held: ScriptedServer, end: str
) -> None:
    script = _RUN_UNTIL_TAKEN_AWAY + f"{end}\ntell(threads())\ntell(status_text())"
    assert _play(windowed, script).told == [True, [], ""]


def test_quitting_ends_the_run(windowed: Blender, held: ScriptedServer) -> None:
    script = _RUN_UNTIL_TAKEN_AWAY + "import atexit\natexit.register(lambda: tell(threads()))"
    finished = _play(windowed, script)
    assert finished.told == [True, []]
    assert "Blender quit" in finished.output


def test_closing_the_preferences_does_not_end_a_run_begun_there(
    windowed: Blender, held: ScriptedServer
) -> None:
    finished = _play(
        windowed,
        """
        windows = bpy.context.window_manager.windows
        bpy.ops.preferences.addon_show(module="mtllib_blender")
        yield lambda: len(windows) == 2
        with bpy.context.temp_override(window=windows[1]):
            bpy.ops.mtllib.synchronise("INVOKE_DEFAULT")
        yield status_text
        with bpy.context.temp_override(window=windows[1]):
            bpy.ops.wm.window_close()
        tell(len(windows))
        tell(is_running())
        press_escape()
        yield has_ended
        """,
    )
    assert finished.told == [1, True]


def test_the_status_text_goes_from_every_workspace(
    windowed: Blender, held: ScriptedServer
) -> None:
    finished = _play(
        windowed,
        """
        window = bpy.context.window_manager.windows[0]
        invoke(bpy.ops.mtllib.synchronise)
        yield status_text
        window.workspace = bpy.data.workspaces["Scripting"]
        yield lambda: window.workspace.name == "Scripting" and status_text()
        press_escape()
        yield has_ended
        tell(status_text())
        window.workspace = bpy.data.workspaces["Layout"]
        yield lambda: window.workspace.name == "Layout"
        tell(status_text())
        """,
    )
    assert finished.told == ["", ""]


def test_an_asset_browser_may_be_open(
    windowed: Blender, server: ScriptedServer
) -> None:
    server.publish({"a.mat": b"oak"})
    finished = _play(
        windowed,
        """
        drawn = []
        bpy.types.ASSETBROWSER_MT_edit.append(lambda *_: drawn.append(True))
        window = bpy.context.window_manager.windows[0]
        area = window.screen.areas[0]
        area.ui_type = "ASSETS"
        yield lambda: area.spaces.active.params
        with bpy.context.temp_override(window=window, area=area):
            bpy.ops.wm.call_menu(name="ASSETBROWSER_MT_edit")
        yield lambda: drawn
        invoke(bpy.ops.mtllib.synchronise)
        yield has_ended
        tell(reports())
        """,
    )
    (reports,) = finished.told
    assert "The local copy was updated: 1 file" in reports
