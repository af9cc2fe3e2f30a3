"""The zip, and where the Python package in it is looked for."""

from __future__ import annotations

import pathlib
import re
import shutil
import zipfile

import pytest

from blender import Blender, Finished
from scripted_server import ScriptedServer

_CHECK = """
from in_blender import *
bpy.ops.mtllib.check()
import mtllib
tell(mtllib.__file__)
"""


@pytest.fixture
def own(blender: Blender, server: ScriptedServer, tmp_path: pathlib.Path) -> Blender:
    """An installation that the test may change."""
    server.publish({"a.mat": b"oak"})
    return blender.with_home_copied_to(tmp_path / "home")


def _vendored(blender: Blender) -> pathlib.Path:
    return blender.addon_folder / "vendor" / "mtllib"


def _failure_of(blender: Blender) -> str:
    finished: Finished = blender.run(_CHECK)
    assert finished.status == 1
    return finished.output + finished.errors


def test_the_zip_holds_one_folder(addon_zip: pathlib.Path) -> None:
    names = zipfile.ZipFile(addon_zip).namelist()
    assert {name.split("/")[0] for name in names} == {"mtllib_blender"}


def test_the_addon_has_the_version_of_its_zip(blender: Blender, addon_zip: pathlib.Path) -> None:
    script = """
from in_blender import *
import mtllib_blender
tell(".".join(map(str, mtllib_blender.bl_info["version"])))
"""
    (version,) = blender.run(script).check().told
    assert addon_zip.name == f"mtllib_blender-{version}.zip"


def test_the_package_inside_the_addon_is_used(own: Blender) -> None:
    finished = own.run(_CHECK + "tell([x for x in sys.path if 'mtllib' in x])").check()
    assert finished.told == [str(_vendored(own) / "__init__.py"), []]


def test_else_an_installed_package_is_used(own: Blender) -> None:
    modules = own.addon_folder.parent / "modules"
    modules.mkdir()
    shutil.move(str(_vendored(own)), str(modules))
    assert own.run(_CHECK).check().told == [str(modules / "mtllib" / "__init__.py")]


def test_a_missing_package_is_told(own: Blender) -> None:
    shutil.rmtree(_vendored(own))
    text = _failure_of(own)
    assert "Error: The Python package mtllib is missing: it is neither in " in text
    assert str(_vendored(own).parent) in text
    assert "Install the add-on from its zip file, which has the package in it." in text


def test_a_library_that_cannot_be_loaded_is_told(own: Blender) -> None:
    library = _vendored(own) / "_lib" / "libmtlhost.so.0"
    library.write_bytes(b"")
    text = _failure_of(own)
    assert f"Error: Could not load the library {library}: " in text
    assert "Install the add-on again, from a zip file that was built for this system" in text


def test_the_addon_can_be_disabled_and_enabled_again(own: Blender) -> None:
    script = """
import bpy
for _ in range(2):
    bpy.ops.preferences.addon_enable(module="mtllib_blender")
    bpy.ops.preferences.addon_disable(module="mtllib_blender")
print("told:", str(hasattr(bpy.types, "MTLLIB_OT_check")).lower())
"""
    assert own.run(script).check().told == [False]


def test_the_documented_script_sets_up_an_installation(
    server: ScriptedServer, copy: pathlib.Path, addon_zip: pathlib.Path, tmp_path: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    document = (pathlib.Path(__file__).parents[1] / "README.md").read_text(encoding="utf-8")
    (script,) = re.findall(r"```python\n(.*?)```", document, re.DOTALL)
    for documented, actual in [
        ("mtllib_blender-VERSION.zip", str(addon_zip)),
        ("https://materials.example/library", server.url),
        ("/srv/materials", str(copy)),
    ]:
        assert documented in script
        script = script.replace(documented, actual)
    farm = Blender(tmp_path / "farm").with_saved_settings()
    farm.run(script).check()
    farm.run("import bpy; bpy.ops.mtllib.synchronise()").check()
    assert (copy / "a.mat").read_bytes() == b"oak"
