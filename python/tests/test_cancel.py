"""Runs that are ended by other threads and by handlers."""

from __future__ import annotations

import threading
import time
from typing import Callable, List

import pytest

import mtllib
from child import expect_promptly
from conftest import Opener
from scripted_server import ScriptedServer

Action = Callable[[mtllib.Library], None]


def _when_requested(
    server: ScriptedServer, target: str, action: Callable[[], None]
) -> List[float]:
    """Leaves the target unanswered, and calls `action` on another thread once it has been
    requested. The list will hold the time of that."""
    called_at: List[float] = []

    def wait() -> None:
        server.wait_for(target)
        called_at.append(time.monotonic())
        action()

    server.hold(target)
    threading.Thread(target=wait).start()
    return called_at


@pytest.mark.parametrize("end", [mtllib.Library.cancel, mtllib.Library.close])
@pytest.mark.parametrize("target", ["/lib/id.txt", "/lib/filelist.json", "/lib/a.mat"])
def test_another_thread_ends_a_sync_promptly(
    server: ScriptedServer, open_library: Opener, target: str, end: Action
) -> None:
    def attempt() -> float:
        server.forget_requests()
        library = open_library()
        called_at = _when_requested(server, target, lambda: end(library))
        with pytest.raises(mtllib.Cancelled):
            library.sync()
        return time.monotonic() - called_at[0]

    server.publish({"a.mat": b"oak"})
    expect_promptly(attempt)


def test_another_thread_ends_a_check(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    _when_requested(server, "/lib/id.txt", library.cancel)
    with pytest.raises(mtllib.Cancelled) as caught:
        library.check()
    assert str(caught.value) == "Cancelled."
    assert caught.value.kind == mtllib.ErrorKind.CANCELLED
    assert (caught.value.about, caught.value.hint) == (server.url, "")


@pytest.mark.parametrize("end", [mtllib.Library.cancel, mtllib.Library.close])
def test_a_handler_ends_the_run(
    server: ScriptedServer, library: mtllib.Library, end: Action
) -> None:
    server.publish({"a.mat": b"oak"})
    server.hold("/lib/id.txt")
    with pytest.raises(mtllib.Cancelled):
        library.sync(on_event=lambda _: end(library))


def test_a_library_works_after_a_cancelled_run(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    server.publish({"a.mat": b"oak"})
    _when_requested(server, "/lib/id.txt", library.cancel)
    with pytest.raises(mtllib.Cancelled):
        library.sync()
    server.release("/lib/id.txt")
    assert library.sync().updated


def test_cancelling_when_nothing_runs_leaves_the_next_run_alone(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    server.publish({"a.mat": b"oak"})
    library.cancel()
    assert library.sync().updated
    library.cancel()
    assert not library.sync().updated


def test_a_request_that_the_last_run_missed_leaves_the_next_one_alone(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    server.publish({"a.mat": b"oak"})
    library._handle.cancel()
    assert library.sync().updated


def test_cancelling_at_any_moment_does_no_harm(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    server.publish({"a.mat": b"oak"})
    for number in range(30):
        timer = threading.Timer(number * 0.0005, library.cancel)
        timer.start()
        try:
            library.sync()
        except mtllib.Cancelled:
            pass
        timer.join()
        library.check()
