"""What the engine does beside checking and synchronising."""

from __future__ import annotations

import asyncio
import pathlib
import threading
from typing import List

import pytest

import mtllib
from conftest import Opener
from mtllib import Amount, Difference, Event, Failure, FileChange, UpdateOptions
from scripted_server import ScriptedServer, refusing_address


@pytest.fixture
def way() -> str:
    return "engine"


@pytest.fixture
def published_anew(server: ScriptedServer, library: mtllib.Library) -> None:
    """There is a copy of "a", "b" and "c", of which the library has changed "b", and has "d" in
    the place of "c", with the content of "a"."""
    server.publish({"a": b"aa", "b": b"b", "c": b"ccc"})
    library.sync()
    server.publish({"a": b"aa", "b": b"BBBB", "d": b"aa"}, stamp=b"v2\n")


@pytest.mark.usefixtures("published_anew")
def test_a_plan_says_what_a_sync_would_do_and_writes_nothing(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path
) -> None:
    plan = library.plan()
    assert plan.is_update
    assert plan.files == (
        FileChange("fetched", "b", 4),
        FileChange("copied", "d", 2, source="a"),
        FileChange("withdrawn", "c", 3),
    )
    assert (plan.fetched, plan.copied) == (Amount(1, 4), Amount(1, 2))
    assert (plan.replaced, plan.unchanged) == (Amount(1, 1), Amount(1, 2))
    assert (plan.removed, plan.withdrawn) == (Amount(), Amount(1, 3))
    assert plan.unknown_sizes == 0
    assert plan.space_available is not None
    assert 0 < plan.space_needed < plan.space_available
    assert (copy / "b").read_bytes() == b"b"
    library.sync()
    plan = library.plan()
    assert (plan.is_update, plan.files) == (False, ())


def test_a_plan_names_what_is_in_the_way(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path
) -> None:
    server.publish({"a": b"aa"})
    (copy / "a" / "of the user").mkdir(parents=True)
    (change,) = library.plan().files
    assert (change.kind, change.path, change.size) == ("skipped", "a", None)
    assert "folder" in change.reason


@pytest.mark.usefixtures("published_anew")
def test_a_result_says_what_was_done(open_library: Opener) -> None:
    result = open_library(options=UpdateOptions(prune=True)).sync()
    assert result.updated
    assert (result.fetched, result.copied) == (Amount(1, 4), Amount(1, 2))
    assert (result.removed, result.withdrawn) == (Amount(1, 3), Amount())
    assert result.unchanged == Amount(1, 2)
    assert (result.changed_paths, result.removed_paths) == (("b", "d"), ("c",))
    assert result.stamp == "v2\n"
    assert result.received_bytes > 4
    assert result.commit_seconds > 0


@pytest.mark.usefixtures("published_anew")
def test_the_plan_and_each_file_are_events(library: mtllib.Library) -> None:
    told: List[Event] = []
    library.sync(on_event=told.append)
    (plan,) = [event.plan for event in told if event.kind == "plan"]
    assert plan is not None
    files = [event.file for event in told if event.kind == "file"]
    assert sorted(map(str, files)) == sorted(map(str, plan.files))


def test_verify_finds_what_differs_and_repair_fetches_it(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path
) -> None:
    server.publish({"a": b"a", "b": b"b", "c": b"c"})
    library.sync()
    assert library.verify() == mtllib.Verification((), Amount(3, 3))
    (copy / "b").write_bytes(b"x")
    (copy / "c").unlink()
    (copy / "d").write_bytes(b"")
    (copy / "a").write_bytes(b"aa")
    requests = len(server.requests)
    differences = library.verify().differences
    assert len(server.requests) == requests, "it needs no network"
    assert set(differences) == {
        Difference("wrong size", "a"),
        Difference("damaged", "b"),
        Difference("missing", "c"),
        Difference("extra", "d"),
    }
    assert library.repair().fetched == Amount(3, 3)
    assert library.verify().differences == (Difference("extra", "d"),)


def test_a_mirror_helps_when_the_address_does_not_answer(
    server: ScriptedServer, open_library: Opener, copy: pathlib.Path
) -> None:
    server.publish({"a": b"aa"})
    told: List[Event] = []
    with refusing_address() as (host, port):
        library = open_library(
            url=f"http://{host}:{port}/lib",
            mirrors=[server.url],
            options=UpdateOptions(tries=1),
        )
        library.sync(on_event=told.append)
    assert (copy / "a").read_bytes() == b"aa"
    assert any(f'trying "{server.url}" instead' in event.text for event in told)
    (change,) = [event.file for event in told if event.file is not None]
    assert change.source == server.url


def test_mirrors_are_several_addresses_for_the_engine(server: ScriptedServer) -> None:
    with pytest.raises(TypeError, match="mirrors are several addresses"):
        mtllib.Library(server.url, "copy", mirrors=server.url)
    with pytest.raises(ValueError, match="the module knows one address"):
        mtllib.Library(server.url, "copy", mirrors=[server.url], module=True)


def test_all_can_be_awaited(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path
) -> None:
    async def use() -> None:
        assert (await library.plan_async()).fetched == Amount(1, 1)
        await library.sync_async()
        (copy / "a").write_bytes(b"x")
        assert (await library.verify_async()).differences == (Difference("damaged", "a"),)
        assert (await library.repair_async()).changed_paths == ("a",)

    server.publish({"a": b"a"})
    asyncio.run(use())


def test_the_module_can_only_check_and_sync(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    with mtllib.Library(server.url, copy, proxy=None, module=True) as library:
        for operation in (library.plan, library.verify, library.repair):
            with pytest.raises(mtllib.SyncError, match="Only the engine") as caught:
                operation()
            assert caught.value.failure == Failure.USAGE


def test_both_serve_the_same_copy_by_turns(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path
) -> None:
    with mtllib.Library(server.url, copy, proxy=None, module=True) as module:
        for number, way in enumerate([library, module, library, module]):
            server.publish({"a": b"%d" % number}, stamp=b"%d" % number)
            assert library.check() and module.check()
            assert way.sync().files == 1
            assert (copy / "a").read_bytes() == b"%d" % number


def test_a_second_run_on_the_same_folder_fails_or_waits(
    server: ScriptedServer, open_library: Opener
) -> None:
    server.publish({"a": b"a"})
    server.hold("/lib/a")
    first = threading.Thread(target=open_library().sync)
    first.start()
    server.wait_for("/lib/a")
    with pytest.raises(mtllib.SyncError) as caught:
        open_library().sync()
    assert caught.value.failure == Failure.ANOTHER_RUN
    told: List[Event] = []

    def release(event: Event) -> None:
        if event.kind == "waiting":
            told.append(event)
            server.release("/lib/a")

    assert not open_library(options=UpdateOptions(wait=True)).sync(on_event=release).updated
    first.join()
    assert len(told) == 1, "it is repeated for the C interface only"
    assert told[0].process is not None


@pytest.mark.parametrize(
    "options",
    [
        UpdateOptions(largest_file=1),
        UpdateOptions(largest_total=1),
        UpdateOptions(max_seconds=1),
    ],
)
def test_limits_are_kept(
    server: ScriptedServer, open_library: Opener, options: UpdateOptions
) -> None:
    server.publish({"a": b"aa"})
    server.hold("/lib/a")
    with pytest.raises(mtllib.SyncError) as caught:
        open_library(options=options).sync()
    assert caught.value.failure == Failure.LIMIT


def test_everything_is_fetched_when_asked_for(
    server: ScriptedServer, open_library: Opener
) -> None:
    server.publish({"a": b"aa", "b": b"bb"})
    open_library().sync()
    assert open_library(options=UpdateOptions(full=True)).sync().fetched == Amount(2, 4)


def test_most_of_a_copy_is_removed_only_when_asked_for(
    server: ScriptedServer, open_library: Opener
) -> None:
    server.publish({"a": b"a", "b": b"b", "c": b"c"})
    open_library().sync()
    server.publish({"a": b"a"}, stamp=b"v2\n")
    with pytest.raises(mtllib.SyncError) as caught:
        open_library(options=UpdateOptions(prune=True)).sync()
    assert caught.value.failure == Failure.USAGE
    options = UpdateOptions(prune=True, prune_most=True)
    assert open_library(options=options).sync().removed_paths == ("b", "c")


@pytest.mark.parametrize(
    "options",
    [
        UpdateOptions(tries=0),
        UpdateOptions(tries=1 << 31),
        UpdateOptions(bytes_per_second=-1),
        UpdateOptions(largest_file=0),
        UpdateOptions(largest_total=1 << 63),
        UpdateOptions(max_seconds=0),
    ],
)
def test_numbers_must_be_in_their_range(
    open_library: Opener, options: UpdateOptions
) -> None:
    with pytest.raises(ValueError, match="out of range"):
        open_library(options=options)


def test_a_cut_run_is_unfinished_and_goes_on(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path
) -> None:
    assert not mtllib.is_unfinished(copy)
    server.publish({"a": b"aa", "b": b"b"})
    server.hold("/lib/b")

    def cancel_when_both_are_requested() -> None:
        server.wait_for("/lib/a", "/lib/b")
        library.cancel()

    threading.Thread(target=cancel_when_both_are_requested).start()
    with pytest.raises(mtllib.Cancelled) as caught:
        library.sync()
    assert caught.value.result is not None
    assert not caught.value.result.updated
    assert mtllib.is_unfinished(copy)
    server.release("/lib/b")
    assert library.sync().changed_paths == ("a", "b")
    assert not mtllib.is_unfinished(copy)


def test_a_hostile_path_reaches_the_handlers_as_text(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    server.publish({"a\x1b[2J": b"a"})
    (change,) = library.plan().files
    assert change.path == "a\x1b[2J"
    assert mtllib.printable(change.path) == "a\\x1b[2J"
