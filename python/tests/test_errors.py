"""Runs that fail."""

from __future__ import annotations

import pathlib

import pytest

import mtllib
from conftest import Opener
from mtllib import ErrorEntry
from scripted_server import ScriptedServer, unused_address


def test_a_failure_has_its_chain(library: mtllib.Library) -> None:
    with pytest.raises(mtllib.SyncError) as caught:
        library.sync()
    assert caught.value.chain == [
        ErrorEntry(
            "DownloaderImpl::readRemoteIdFile", -1, "Could not download remote stamp file"
        ),
        ErrorEntry("HttpDldDone::expectStatus", -1, "Unexpected HTTP status (404)"),
    ]
    assert str(caught.value) == (
        "Could not download remote stamp file, because: Unexpected HTTP status (404)"
    )


def test_the_text_of_a_failure_is_printable(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    server.publish({"../\x1b[2J\n\u202e": b""})
    with pytest.raises(mtllib.SyncError) as caught:
        library.sync()
    message = 'Path leaves the target directory: "../\\x1b[2J \\u202e"'
    assert str(caught.value) == message
    assert str(caught.value.chain[-1]) == message
    assert caught.value.chain[-1].message.endswith('"../\x1b[2J\n\u202e"'), "as it is"


def test_a_failed_check_raises_the_same(library: mtllib.Library) -> None:
    with pytest.raises(mtllib.SyncError, match="Could not download remote stamp file"):
        library.check()


def test_a_server_that_refuses_is_a_failure(open_library: Opener) -> None:
    host, port = unused_address()
    with pytest.raises(mtllib.SyncError) as caught:
        open_library(f"http://{host}:{port}").check()
    assert "Connection error: reason=2 " in caught.value.chain[-1].message


def test_a_body_that_is_cut_is_a_failure_and_leaves_no_stamp(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    server.cut("/lib/a.mat", b"oa")
    with pytest.raises(mtllib.SyncError) as caught:
        library.sync()
    assert "Connection error: reason=7 " in caught.value.chain[-1].message
    assert not (copy / "id.txt").exists()


def test_a_failure_without_a_chain_of_the_module_is_told_too(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    server.publish({})
    server.serve("/lib/filelist.json", b"")
    with pytest.raises(mtllib.SyncError, match="Incorrect size of json file list"):
        library.sync()


def test_a_library_works_after_a_failure(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    with pytest.raises(mtllib.SyncError):
        library.sync()
    server.publish({"a.mat": b"oak"})
    assert library.sync().updated


def test_all_exceptions_are_errors_of_the_package() -> None:
    for kind in (mtllib.SyncError, mtllib.Cancelled, mtllib.LoadError):
        assert issubclass(kind, mtllib.Error)
