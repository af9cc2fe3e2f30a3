"""What handlers get, in which order, on which thread, and what becomes of their exceptions."""

from __future__ import annotations

import pathlib
import threading
import time
from typing import Dict, List, Union

import pytest

import mtllib
from child import expect_promptly
from mtllib import Event, FileChange, Progress
from scripted_server import ScriptedServer
from signed_library import FIRST_TIME, SignedLibrary


def test_events_come_in_the_order_of_the_run(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path, way: str
) -> None:
    server.publish({"a.mat": b"oak"})
    told: List[Union[Progress, Event]] = []

    def tell(event: Union[Progress, Event]) -> None:
        # Whether progress skips a step depends on the time that things take.
        if isinstance(event, Progress) and isinstance(told[-1], Progress):
            if event.text == told[-1].text:
                told.pop()
        told.append(event)

    library.sync(on_progress=tell, on_event=tell)
    by_the_engine = [
        Event("info", f'Remote address: "{server.url}"'),
        Event("info", f'Target directory: "{copy}"'),
        Event("info", "No HTTP proxy: using direct connection."),
        "Accessing stamp",
        Event("stage", "Downloading remote stamp file"),
        "Getting file list",
        "Comparing files",
        "plan",
        "Downloading files",
        Event("stage", 'Downloaded file "a.mat" (3 bytes)'),
        Event("file", "a.mat", file=FileChange("fetched", "a.mat", 3)),
        "Downloading files",
        "Replacing files",
    ]
    by_the_module = [
        Event("info", f'Remote address: "{server.url}"'),
        Event("info", f'Target directory: "{copy}"'),
        Event("stage", "Creating download directory"),
        Event("info", "HTTP proxy disabled. Using direct connection."),
        Event("stage", "Downloading remote stamp file"),
        "Accessing stamp",
        Event("stage", f'Opening local stamp file "{copy}/id.txt"'),
        Event(
            "stage",
            "Opening local stamp file failed: [PFileStream::Open] 2: (2) "
            "The system cannot find the file specified.\r\n",
        ),
        "Getting file list",
        "Downloading files",
        Event("stage", 'Downloading file "a.mat" (3 bytes)'),
        "Downloading files",
    ]
    assert list(map(_brief, told)) == (by_the_engine if way == "engine" else by_the_module)


def _brief(event: Union[Progress, Event]) -> Union[str, Event]:
    """Without the numbers of progress and of plans."""
    if isinstance(event, Progress):
        return event.text
    return "plan" if event.plan is not None else event


def test_an_error_is_the_last_event(
    server: ScriptedServer, library: mtllib.Library, way: str
) -> None:
    told: List[Event] = []
    with pytest.raises(mtllib.SyncError) as caught:
        library.sync(on_event=told.append)
    assert told[-1].kind == "error"
    assert told[-1].text == {
        "engine": f"{server.url}/id.txt: the server answered with HTTP status 404",
        "module": "Could not download remote stamp file",
    }[way]
    assert list(told[-1].chain) == caught.value.chain


def test_what_does_not_end_a_run_is_a_warning(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    told: List[Event] = []
    with _expired_library({}, server, copy) as library:
        library.check(on_event=told.append)
    (warning,) = (event.text for event in told if event.kind == "warning")
    assert warning.startswith(f"{server.url}/id.txt: it expired at ")


def _expired_library(
    files: Dict[str, bytes], server: ScriptedServer, copy: pathlib.Path
) -> mtllib.Library:
    """Warns of that before it does anything else."""
    oak = SignedLibrary(server)
    oak.expires = FIRST_TIME
    oak.publish(files)
    return mtllib.Library(
        server.url, copy, proxy=None, keys=oak.public_key, allow_expired=True
    )


def test_handlers_are_called_on_the_thread_that_called(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    server.publish({"a.mat": b"oak"})
    threads = set()

    def note(_: object) -> None:
        threads.add(threading.current_thread())

    library.sync(on_progress=note, on_event=note)
    assert threads == {threading.current_thread()}


def test_progress_grows_to_its_end(server: ScriptedServer, library: mtllib.Library) -> None:
    pieces = [bytes(1_000_000)] * 3
    server.publish({"a.mat": b"".join(pieces)})
    server.serve_slowly("/lib/a.mat", pieces, 0.02)
    told: List[Progress] = []
    library.sync(on_progress=told.append)
    files = [progress for progress in told if progress.text == "Downloading files"]
    assert files == sorted(files, key=lambda progress: progress.permille or 0)
    last = files[-1]
    assert (last.permille, last.megabytes_done, last.megabytes_total) == (1000, 3, 3)
    assert str(files[-1]) == "Downloading files: 100 % (3 of 3 MB)"


def test_progress_comes_only_when_something_has_changed(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    server.publish({})
    server.hold("/lib/id.txt")
    threading.Timer(0.5, server.release, ["/lib/id.txt"]).start()
    told: List[Progress] = []
    library.sync(on_progress=told.append)
    assert told[0] == Progress("Accessing stamp", None, 0, None, 0, None)
    assert all(earlier != later for earlier, later in zip(told, told[1:]))


def test_a_slow_handler_does_not_stall_the_transfers(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path
) -> None:
    server.publish({f"{number}.mat": b"oak" for number in range(20)})
    waited: List[str] = []

    def wait_for_the_last_file(_: Event) -> None:
        deadline = time.monotonic() + 60
        while not waited and time.monotonic() < deadline:
            if (copy / "id.txt").exists():
                waited.append("enough")

    library.sync(on_event=wait_for_the_last_file)
    assert waited == ["enough"]


def test_a_slow_handler_misses_stages_but_no_warning_and_no_error(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    files = {f"{number}.mat": b"%d" % number for number in range(2000)}
    stamp = copy / "id.txt"
    told: List[Event] = []

    def wait_for_the_end(event: Event) -> None:
        told.append(event)
        while not stamp.exists():
            time.sleep(0.01)

    with _expired_library(files, server, copy) as library:
        result = library.sync(on_event=wait_for_the_end)
    assert result.files == 2000
    assert 1000 < result.skipped_events
    assert len(told) <= 1001
    assert "warning" in [event.kind for event in told]
    assert told[-1].kind in ("stage", "file")


def test_an_exception_of_a_handler_cancels_the_run_and_is_raised(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    server.hold("/lib/a.mat")

    def attempt() -> float:
        raised_at = []

        def fail(progress: Progress) -> None:
            if progress.text == "Downloading files":
                raised_at.append(time.monotonic())
                raise LookupError("of the handler")

        with pytest.raises(LookupError, match="of the handler"):
            library.sync(on_progress=fail)
        taken = time.monotonic() - raised_at[0]
        assert len(raised_at) == 1
        assert not (copy / "id.txt").exists()
        return taken

    expect_promptly(attempt)
    server.release("/lib/a.mat")
    assert library.sync().updated
