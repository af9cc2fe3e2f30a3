"""The variants for asyncio."""

from __future__ import annotations

import asyncio
import pathlib
import threading
import time
from typing import List

import pytest

import mtllib
from child import expect_promptly
from scripted_server import ScriptedServer


def test_check_and_sync_can_be_awaited(
    server: ScriptedServer, library: mtllib.Library, copy: pathlib.Path
) -> None:
    async def synchronise() -> mtllib.Result:
        assert await library.check_async() is True
        result = await library.sync_async()
        assert await library.check_async() is False
        return result

    server.publish({"a.mat": b"oak"})
    assert asyncio.run(synchronise()).files == 1
    assert (copy / "a.mat").read_bytes() == b"oak"


def test_failures_are_raised_from_the_await(library: mtllib.Library) -> None:
    with pytest.raises(mtllib.SyncError, match="404"):
        asyncio.run(library.sync_async())


def test_handlers_are_called_in_the_loop(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    told: List[object] = []
    threads = set()

    def note(event: object) -> None:
        told.append(event)
        threads.add(threading.current_thread())
        assert asyncio.get_running_loop().is_running()

    server.publish({"a.mat": b"oak"})
    asyncio.run(library.sync_async(on_progress=note, on_event=note))
    progress = [told for told in told if isinstance(told, mtllib.Progress)]
    assert max(told.permille or 0 for told in progress) == 1000
    assert threads == {threading.current_thread()}


def test_an_exception_of_a_handler_is_raised_from_the_await(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    def fail(_: object) -> None:
        raise LookupError("of the handler")

    server.hold("/lib/id.txt")
    with pytest.raises(LookupError, match="of the handler"):
        asyncio.run(library.sync_async(on_event=fail))


@pytest.mark.parametrize("target", ["/lib/id.txt", "/lib/filelist.json", "/lib/a.mat"])
def test_cancelling_the_task_ends_the_run_promptly(
    server: ScriptedServer, library: mtllib.Library, target: str
) -> None:
    async def cancel() -> float:
        server.forget_requests()
        task = asyncio.create_task(library.sync_async())
        await asyncio.get_running_loop().run_in_executor(None, server.wait_for, target)
        cancelled_at = time.monotonic()
        task.cancel()
        with pytest.raises(asyncio.CancelledError):
            await task
        return time.monotonic() - cancelled_at

    server.publish({"a.mat": b"oak"})
    server.hold(target)
    expect_promptly(lambda: asyncio.run(cancel()))
    server.release(target)
    assert library.sync().updated


def test_a_run_that_takes_too_long_is_ended_by_a_timeout(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    async def wait() -> None:
        await asyncio.wait_for(library.sync_async(), 0.05)

    server.hold("/lib/id.txt")
    with pytest.raises(asyncio.TimeoutError):
        asyncio.run(wait())


def test_the_loop_goes_on_meanwhile(server: ScriptedServer, library: mtllib.Library) -> None:
    async def tick() -> int:
        task = asyncio.create_task(library.check_async())
        ticks = 0
        while not task.done():
            await asyncio.sleep(0.01)
            ticks += 1
            if ticks == 5:
                server.release("/lib/id.txt")
        return ticks

    server.publish({})
    server.hold("/lib/id.txt")
    assert asyncio.run(tick()) >= 5


def test_libraries_run_side_by_side(server: ScriptedServer, tmp_path: pathlib.Path) -> None:
    async def synchronise(number: int) -> mtllib.Result:
        with mtllib.Library(server.url, tmp_path / str(number), proxy=None) as library:
            return await library.sync_async()

    async def synchronise_all() -> List[mtllib.Result]:
        return list(await asyncio.gather(*(synchronise(number) for number in range(5))))

    server.publish({"a.mat": b"oak"})
    assert [result.files for result in asyncio.run(synchronise_all())] == [1] * 5


def test_a_second_run_at_the_same_time_is_refused(
    server: ScriptedServer, library: mtllib.Library
) -> None:
    async def both() -> bool:
        first = asyncio.create_task(library.check_async())
        await asyncio.sleep(0)
        with pytest.raises(mtllib.Error, match="a run is under way already"):
            await library.check_async()
        server.release("/lib/id.txt")
        return await first

    server.publish({})
    server.hold("/lib/id.txt")
    assert asyncio.run(both()) is True
