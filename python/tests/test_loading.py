"""Which library is loaded, and what is told when none can be."""

from __future__ import annotations

import os
import pathlib
from typing import Optional

import pytest

import child
import mtllib

_OPEN = """
import mtllib
try:
    mtllib.Library("http://127.0.0.1:1", "copy")
except mtllib.LoadError as error:
    print(error, error.hint, error.kind.name)
"""


@pytest.mark.parametrize("content", [None, "no library"])
def test_a_library_that_cannot_be_loaded_is_named(
    content: Optional[str], tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    file = tmp_path / "libmtlhost.so"
    if content is not None:
        file.write_text(content)
    monkeypatch.setenv("MTLLIB_LIBRARY", str(file))
    process = child.run("-c", _OPEN)
    assert process.stdout.startswith(f"Could not load the library {file}: ")
    assert "MTLLIB_LIBRARY may name another file" in process.stdout


def test_a_library_that_is_another_one_is_named(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("MTLLIB_LIBRARY", "/lib/x86_64-linux-gnu/libc.so.6")
    assert "undefined symbol: mtlhost_open" in child.run("-c", _OPEN).stdout


def test_importing_the_package_loads_nothing(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("MTLLIB_LIBRARY", "/no/such/library.so")
    assert child.run("-c", "import mtllib").returncode == 0


def test_the_loader_of_the_system_is_asked_in_the_end(
    tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setenv("LD_LIBRARY_PATH", os.path.dirname(os.environ["MTLLIB_LIBRARY"]))
    monkeypatch.delenv("MTLLIB_LIBRARY")
    process = child.run("-c", "import mtllib; print(mtllib.version())")
    assert (process.stdout, process.stderr) == (f"{mtllib.version()}\n", "")
