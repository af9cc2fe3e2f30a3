"""Interpreters that exit, and libraries that are dropped, while runs are under way."""

from __future__ import annotations

import gc
import os
import pathlib
import threading
import time
import weakref

import pytest

import child
import mtllib
from conftest import Opener
from scripted_server import ScriptedServer

_EXIT = """
import sys, threading
import mtllib
library = mtllib.Library(sys.argv[1], sys.argv[2], proxy=None)
begun = threading.Event()
def synchronise():
    library.sync(on_event=lambda event: "stamp" in event.text and begun.set())
threading.Thread(target=synchronise, daemon=True).start()
begun.wait()
"""


def test_the_interpreter_exits_while_a_run_is_under_way(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.hold("/lib/id.txt")
    process = child.run("-c", _EXIT, server.url, str(copy))
    assert (process.returncode, process.stdout, process.stderr) == (0, "", "")


def test_the_interpreter_exits_by_an_exception_while_a_run_is_under_way(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.hold("/lib/id.txt")
    process = child.run("-c", _EXIT + "raise SystemExit(7)", server.url, str(copy))
    assert (process.returncode, process.stdout, process.stderr) == (7, "", "")


def test_exit_is_possible_while_many_threads_start_runs(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    code = """
import sys, threading, time
import mtllib
def synchronise(number):
    library = mtllib.Library(sys.argv[1], sys.argv[2] + str(number), proxy=None)
    while True:
        library.check()
for number in range(5):
    threading.Thread(target=synchronise, args=(number,), daemon=True).start()
time.sleep(0.2)
"""
    server.publish({})
    process = child.run("-c", code, server.url, str(copy))
    assert (process.returncode, process.stdout, process.stderr) == (0, "", "")


def test_a_library_that_is_not_closed_is_freed(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    library = mtllib.Library(server.url, copy, proxy=None)
    library.sync()
    handle = weakref.ref(library._handle)
    del library
    assert handle() is None


def test_a_library_outlives_its_name_while_it_runs(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    server.hold("/lib/a.mat")
    library = mtllib.Library(server.url, copy, proxy=None)
    handle = weakref.ref(library._handle)
    results = []
    thread = threading.Thread(target=lambda sync: results.append(sync()), args=(library.sync,))
    thread.start()
    del library
    server.wait_for("/lib/a.mat")
    gc.collect()
    assert handle() is not None
    server.release("/lib/a.mat")
    thread.join()
    del thread
    assert [result.files for result in results] == [1]
    assert handle() is None


def test_a_task_that_is_dropped_ends_its_run(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.hold("/lib/id.txt")
    code = """
import asyncio, sys
import mtllib
library = mtllib.Library(sys.argv[1], sys.argv[2], proxy=None)
async def main():
    run = library.sync_async()
    begun = asyncio.get_running_loop().create_future()
    asyncio.get_running_loop().call_later(0.1, begun.set_result, None)
    run.send(None)
    await begun
    run.close()
asyncio.run(main())
library.close()
""" + child.PRINT_WHETHER_ALONE
    process = child.run("-c", code, server.url, str(copy))
    assert (process.returncode, process.stdout, process.stderr) == (0, "True\n", "")


def test_a_loop_that_is_closed_ends_its_runs(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.serve_slowly("/lib/id.txt", [b"v"] * 1000, 0.01)
    code = """
import asyncio, sys
import mtllib
library = mtllib.Library(sys.argv[1], sys.argv[2], proxy=None)
loop = asyncio.new_event_loop()
task = loop.create_task(library.sync_async())
loop.run_until_complete(asyncio.sleep(0.1))
loop.close()
library.close()
""" + child.PRINT_WHETHER_ALONE
    process = child.run("-c", code, server.url, str(copy))
    assert (process.returncode, process.stdout) == (0, "True\n")


@pytest.mark.skipif(not hasattr(os, "fork"), reason="the system does not fork")
def test_a_forked_process_leaves_the_library_to_its_parent(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    code = """
import os, sys
import mtllib
library = mtllib.Library(sys.argv[1], sys.argv[2], proxy=None)
library.check()
process = os.fork()
if process == 0:
    try:
        library.check()
    except mtllib.Error as error:
        print(error, flush=True)
    sys.exit(3)
print(os.WEXITSTATUS(os.waitpid(process, 0)[1]), library.check())
"""
    server.publish({})
    process = child.run("-c", code, server.url, str(copy))
    assert process.stdout == "The library was opened in another process.\n3 True\n"
    assert (process.returncode, process.stderr) == (0, "")


def test_a_hundred_libraries_leave_nothing_behind(
    server: ScriptedServer, open_library: Opener
) -> None:
    server.publish({})

    def threads() -> int:
        return len(os.listdir("/proc/self/task"))

    def check_and_close() -> None:
        with open_library() as library:
            library.check()

    check_and_close()
    before = threads()
    for _ in range(100):
        check_and_close()
    deadline = time.monotonic() + 60
    while threads() > before and time.monotonic() < deadline:
        time.sleep(0.01)
    assert threads() <= before
