"""Events in Python's logging."""

from __future__ import annotations

import logging
import pathlib

import pytest

import child
import mtllib
from conftest import Opener
from scripted_server import ScriptedServer
from signed_library import FIRST_TIME, SignedLibrary


def test_stages_are_debug_and_information_is_info(
    server: ScriptedServer,
    library: mtllib.Library,
    way: str,
    caplog: pytest.LogCaptureFixture,
) -> None:
    caplog.set_level(logging.DEBUG, "mtllib")
    server.publish({})
    library.check()
    proxy = {
        "engine": "No HTTP proxy: using direct connection.",
        "module": "HTTP proxy disabled. Using direct connection.",
    }[way]
    assert caplog.record_tuples[:2] == [
        ("mtllib", logging.INFO, proxy),
        ("mtllib", logging.DEBUG, "Downloading remote stamp file"),
    ]


def test_a_warning_is_a_warning(
    server: ScriptedServer, copy: pathlib.Path, caplog: pytest.LogCaptureFixture
) -> None:
    oak = SignedLibrary(server)
    oak.expires = FIRST_TIME
    oak.publish({})
    key = oak.public_key
    with mtllib.Library(server.url, copy, proxy=None, keys=key, allow_expired=True) as library:
        library.check()
    assert [record[:2] for record in caplog.record_tuples] == [("mtllib", logging.WARNING)]


def test_a_failure_is_an_error_with_its_causes(
    server: ScriptedServer, copy: pathlib.Path, caplog: pytest.LogCaptureFixture
) -> None:
    with mtllib.Library(server.url, copy, proxy=None, module=True) as library:
        with pytest.raises(mtllib.SyncError):
            library.check()
    assert caplog.record_tuples == [
        (
            "mtllib",
            logging.ERROR,
            "Could not download remote stamp file, because: Unexpected HTTP status (404)",
        )
    ]


def test_names_of_a_server_add_no_lines_and_give_no_commands(
    server: ScriptedServer,
    library: mtllib.Library,
    way: str,
    caplog: pytest.LogCaptureFixture,
) -> None:
    caplog.set_level(logging.DEBUG, "mtllib")
    name = "a\nERROR forged\x1b[2J\x9b2J\u202e"
    server.publish({name: b"1", "../" + name: b""})
    with pytest.raises(mtllib.SyncError):
        library.sync()
    server.publish({name: b"1"})
    server.serve("/lib/a%0AERROR%20forged%1B%5B2J%C2%9B2J%E2%80%AE", b"1")
    library.sync()
    messages = [record[2] for record in caplog.record_tuples]
    escaped = '"a ERROR forged\\x1b[2J\\x9b2J\\u202e"'
    begun = "Downloaded" if way == "engine" else "Downloading"
    assert f"{begun} file {escaped} (1 bytes)" in messages
    assert any(f'ath leaves the target directory: "../{escaped[1:]}' in x for x in messages)
    assert all(message.isprintable() for message in messages)


def test_the_end_of_a_cancelled_run_is_information(
    server: ScriptedServer, open_library: Opener, caplog: pytest.LogCaptureFixture
) -> None:
    server.hold("/lib/id.txt")
    library = open_library()
    with pytest.raises(mtllib.Cancelled):
        library.check(on_event=lambda _: library.cancel())
    assert [record for record in caplog.record_tuples if record[1] > logging.INFO] == []


def test_without_logging_set_up_nothing_is_printed(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    code = """
import sys
import mtllib
try:
    mtllib.Library(sys.argv[1], sys.argv[2], proxy=None).check()
except mtllib.SyncError:
    print("failed")
"""
    process = child.run("-c", code, server.url, str(copy))
    assert (process.stdout, process.stderr) == ("failed\n", "")
