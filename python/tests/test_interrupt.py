"""Interrupts from the keyboard, in processes of their own."""

from __future__ import annotations

import pathlib
import signal
import time

import pytest

import child
from scripted_server import ScriptedServer

_RUN = """
import asyncio, sys
import mtllib
url, directory, operation = sys.argv[1:]
library = mtllib.Library(url, directory, proxy=None)
try:
    result = getattr(library, operation)()
    if asyncio.iscoroutine(result):
        asyncio.run(result)
except KeyboardInterrupt:
    print("interrupted", flush=True)
print(library.check())
library.close()
""" + child.PRINT_WHETHER_ALONE


@pytest.mark.parametrize(
    "operation, target",
    [
        ("check", "/lib/id.txt"),
        ("sync", "/lib/filelist.json"),
        ("sync", "/lib/a.mat"),
        ("sync_async", "/lib/a.mat"),
    ],
)
def test_an_interrupt_ends_a_run_promptly_and_leaves_no_thread(
    server: ScriptedServer, copy: pathlib.Path, operation: str, target: str
) -> None:
    def attempt() -> float:
        server.forget_requests()
        server.hold(target)
        process = child.start("-c", _RUN, server.url, str(copy), operation)
        server.wait_for(target)
        interrupted_at = time.monotonic()
        process.send_signal(signal.SIGINT)
        assert child.line_of(process.stdout) == "interrupted"
        taken = time.monotonic() - interrupted_at
        server.release(target)
        assert process.communicate(timeout=child.LONGEST_RUN_SECONDS) == ("True\nTrue\n", "")
        assert process.returncode == 0
        return taken

    server.publish({"a.mat": b"oak"})
    child.expect_promptly(attempt)


_HANDLER = """
import sys, time
import mtllib
def handler(event):
    print("handling", flush=True)
    while True:
        time.sleep(0.01)
try:
    mtllib.Library(sys.argv[1], sys.argv[2], proxy=None).sync(on_event=handler)
except KeyboardInterrupt:
    print("interrupted", flush=True)
"""


def test_an_interrupt_in_a_handler_ends_the_run(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    def attempt() -> float:
        process = child.start("-c", _HANDLER, server.url, str(copy))
        assert child.line_of(process.stdout) == "handling"
        interrupted_at = time.monotonic()
        process.send_signal(signal.SIGINT)
        assert child.line_of(process.stdout) == "interrupted"
        taken = time.monotonic() - interrupted_at
        assert process.wait(child.LONGEST_RUN_SECONDS) == 0
        assert process.communicate() == ("", "")
        return taken

    server.publish({})
    server.hold("/lib/id.txt")
    child.expect_promptly(attempt)


_AGAIN_AND_AGAIN = """
import signal, sys
import mtllib
signal.signal(signal.SIGALRM, signal.default_int_handler)
library = mtllib.Library(sys.argv[1], sys.argv[2], proxy=None)
interrupts = 0
for number in range(150):
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.0001 + number * 0.00005)
        library.sync()
        signal.setitimer(signal.ITIMER_REAL, 0)
    except KeyboardInterrupt:
        interrupts += 1
# None of them may have had the time to end well.
library.sync()
print(interrupts > 0, library.check())
library.close()
""" + child.PRINT_WHETHER_ALONE


def test_an_interrupt_at_any_moment_does_no_harm(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    server.publish({"a.mat": b"oak"})
    process = child.run("-c", _AGAIN_AND_AGAIN, server.url, str(copy))
    assert (process.stdout, process.stderr) == ("True False\nTrue\n", "")
