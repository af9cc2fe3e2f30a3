"""Checks and synchronisations that succeed, and what a library refuses."""

from __future__ import annotations

import os
import pathlib
import threading
from typing import List

import pytest

import mtllib
from conftest import Opener
from scripted_server import ScriptedServer


def test_check_tells_of_an_update_and_writes_nothing(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    assert library.check() is True
    assert server.requests == ["/lib/id.txt"]
    assert not copy.exists()


def test_sync_fetches_what_is_listed(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak", "maps/b.tx": b"bark"})
    result = library.sync()
    assert (result.updated, result.files, result.skipped_events) == (True, 2, 0)
    assert (copy / "a.mat").read_bytes() == b"oak"
    assert (copy / "maps" / "b.tx").read_bytes() == b"bark"
    assert (copy / "id.txt").read_bytes() == b"v1\n"


def test_a_second_sync_finds_nothing_to_do(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    server.publish({"a.mat": b"oak"})
    library.sync()
    assert library.check() is False
    result = library.sync()
    assert (result.updated, result.files, result.skipped_events) == (False, 0, 0)


def test_a_slash_at_the_end_of_the_address_does_not_count(
    server: ScriptedServer, open_library: Opener
) -> None:
    server.serve("/id.txt", b"v1\n")
    open_library(server.address + "/").check()
    assert server.requests == ["/id.txt"]


def test_the_sub_path_is_part_of_the_requests(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.serve("/lib/wood/id.txt", b"v1\n")
    with mtllib.Library(server.url, copy, sub_path="wood", proxy=None) as library:
        assert library.check() is True


def test_a_sub_path_stays_in_the_library(server: ScriptedServer, copy: pathlib.Path) -> None:
    with pytest.raises(ValueError, match="does not stay in the library"):
        mtllib.Library(server.url, copy, sub_path="..")


def test_a_sub_path_comes_into_a_fresh_folder(
    server: ScriptedServer, copy: pathlib.Path, way: str
) -> None:
    server.serve("/lib/wood/id.txt", b"v1\n")
    server.serve("/wood/lib/filelist.json", b"[]\n")
    module = way == "module"
    with mtllib.Library(
        server.url, copy, sub_path="wood", proxy=None, module=module
    ) as library:
        assert library.sync().files == 0
        assert library.check() is False
    assert (copy / "wood" / "id.txt").read_bytes() == b"v1\n"


def test_an_explicit_proxy_is_asked(server: ScriptedServer, copy: pathlib.Path) -> None:
    server.serve("http://materials.example:80/lib/id.txt", b"v1\n")
    url = "http://materials.example/lib"
    with mtllib.Library(url, copy, proxy=server.address) as library:
        assert library.check() is True


def test_the_proxy_of_the_system_is_the_default(
    server: ScriptedServer, copy: pathlib.Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    server.serve("http://materials.example:80/lib/id.txt", b"v1\n")
    monkeypatch.setenv("http_proxy", server.address)
    with mtllib.Library("http://materials.example/lib", copy) as library:
        assert library.check() is True


def test_a_module_can_be_named(server: ScriptedServer, copy: pathlib.Path) -> None:
    server.publish({})
    module = pathlib.Path(os.environ["MTLLIB_LIBRARY"]).with_name("libmtllib.so")
    told = []
    with mtllib.Library(server.url, copy, proxy=None, module=module) as library:
        library.sync(on_event=lambda event: told.append(event.text))
    assert "Creating download directory" in told, "the engine does not report it"


def test_a_module_that_is_missing_is_told(server: ScriptedServer, copy: pathlib.Path) -> None:
    with pytest.raises(mtllib.LoadError, match="/no/such/module.so"):
        mtllib.Library(server.url, copy, module="/no/such/module.so")


def test_twenty_threads_synchronise_at_once(
    server: ScriptedServer, open_library: Opener, tmp_path: pathlib.Path
) -> None:
    files = {f"{number}.mat": b"%d" % number * 1000 for number in range(20)}
    server.publish(files)
    results = {}

    def synchronise(number: int) -> None:
        with open_library(directory=tmp_path / str(number)) as library:
            progress: List[mtllib.Progress] = []
            result = library.sync(on_progress=progress.append)
            most = max(told.permille or 0 for told in progress)
            results[number] = (result.files, most)

    threads = [threading.Thread(target=synchronise, args=(n,)) for n in range(20)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert results == {number: (20, 1000) for number in range(20)}
    for number in range(20):
        for name, body in files.items():
            assert (tmp_path / str(number) / name).read_bytes() == body


def test_a_second_run_at_the_same_time_is_refused(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    server.publish({"a.mat": b"oak"})
    server.hold("/lib/a.mat")
    thread = threading.Thread(target=library.sync)
    thread.start()
    server.wait_for("/lib/a.mat")
    with pytest.raises(mtllib.Error, match="a run is under way already"):
        library.check()
    server.release("/lib/a.mat")
    thread.join()
    assert library.check() is False


def test_a_closed_library_refuses_to_run(library: mtllib.Library) -> None:
    library.close()
    library.close()
    with pytest.raises(mtllib.Error, match="the library is closed"):
        library.sync()


def test_a_context_manager_closes_the_library(open_library: Opener) -> None:
    with open_library() as library:
        pass
    with pytest.raises(mtllib.Error, match="the library is closed"):
        library.check()


def test_a_library_needs_a_directory(server: ScriptedServer) -> None:
    with pytest.raises(ValueError, match="no directory"):
        mtllib.Library(server.url, "")


@pytest.mark.parametrize("url, directory", [("http://a\0b", "x"), ("http://a", "x\0y")])
def test_texts_have_no_null_characters(url: str, directory: str) -> None:
    with pytest.raises(ValueError, match="embedded null character"):
        mtllib.Library(url, directory)
