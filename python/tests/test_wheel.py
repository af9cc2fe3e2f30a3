"""The wheel, and the document's example, which runs where the wheel is installed."""

from __future__ import annotations

import os
import pathlib
import re
import subprocess
import sys
import zipfile

import pytest

import mtllib
from scripted_server import ScriptedServer

_HERE = pathlib.Path(__file__).parent
_PROJECT = _HERE.parent.parent


@pytest.fixture(scope="module")
def wheel() -> pathlib.Path:
    (built,) = pathlib.Path(os.environ["MTLLIB_WHEELS"]).glob("*.whl")
    return built


@pytest.fixture(scope="module")
def python(wheel: pathlib.Path, tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    """A fresh environment in which nothing but the wheel is installed."""
    folder = tmp_path_factory.mktemp("environment")
    subprocess.run([sys.executable, "-m", "venv", "--without-pip", folder], check=True)
    python = folder / "bin" / "python3"
    pip = [sys.executable, "-m", "pip", "--python", str(python), "-q"]
    subprocess.run([*pip, "install", "--no-index", wheel], check=True)
    return python


def _run(*arguments: object) -> str:
    environment = {key: value for key, value in os.environ.items() if key != "MTLLIB_LIBRARY"}
    command = [str(argument) for argument in arguments]
    return subprocess.run(
        command, check=True, text=True, stdout=subprocess.PIPE, env=environment
    ).stdout


def _dynamic_section(file: pathlib.Path) -> str:
    return subprocess.run(
        ["readelf", "--dynamic", "--wide", file],
        check=True,
        text=True,
        stdout=subprocess.PIPE,
        env=dict(os.environ, LC_ALL="C"),
    ).stdout


def test_it_serves_every_python_3_of_the_platform(wheel: pathlib.Path) -> None:
    assert re.fullmatch(
        rf"mtllib-{re.escape(mtllib.version())}-py3-none-linux_\w+\.whl", wheel.name
    )


def test_it_holds_the_package_and_the_libraries(wheel: pathlib.Path) -> None:
    names = zipfile.ZipFile(wheel).namelist()
    source = _PROJECT / "python" / "mtllib"
    modules = {f"mtllib/{file.name}" for file in source.glob("*.py")}
    libraries = {
        "mtllib/_lib/libkrell_networking.so.0",
        "mtllib/_lib/libmtlhost.so.0",
        "mtllib/_lib/libmtllib.so.0",
    }
    package = {name for name in names if name.startswith("mtllib/")}
    assert package == modules | libraries | {"mtllib/py.typed"}


def test_the_libraries_need_no_more_of_the_system_than_is_known(
    wheel: pathlib.Path, tmp_path: pathlib.Path
) -> None:
    zipfile.ZipFile(wheel).extractall(tmp_path)
    libraries = sorted((tmp_path / "mtllib" / "_lib").iterdir())
    lines = []
    for library in libraries:
        section = _dynamic_section(library)
        needed = re.findall(r"\(NEEDED\).*\[(.*)\]", section)
        lines.append(f"{library.name}: {' '.join(sorted(needed))}\n")
        # What needs another of them finds it beside itself; nothing else looks anywhere.
        needs_another = any(other.name in needed for other in libraries)
        paths = re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", section)
        assert paths == (["$ORIGIN"] if needs_another else [])
    assert "".join(lines) == (_HERE / "needed_libraries.txt").read_text()


def test_an_installed_package_has_its_libraries(python: pathlib.Path) -> None:
    assert _run(python, "-I", "-m", "mtllib", "--version") == f"mtllib {mtllib.version()}\n"


def test_the_example_of_the_document_runs(
    server: ScriptedServer, python: pathlib.Path, tmp_path: pathlib.Path
) -> None:
    document = (_PROJECT / "docs" / "hosts.md").read_text(encoding="utf-8")
    (example,) = re.findall(r"^```python\n(.*?)^```$", document, re.DOTALL | re.MULTILINE)
    program = tmp_path / "example.py"
    program.write_text(example)
    copy = tmp_path / "copy"
    server.publish({"a.mat": b"oak"})
    output = _run(python, "-I", program, server.url, copy)
    assert output.splitlines()[-1] == "Fetched 1 files."
    assert (copy / "a.mat").read_bytes() == b"oak"
    assert _run(python, "-I", program, server.url, copy) == "Up to date.\n"
