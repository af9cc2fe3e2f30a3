"""Other Python processes."""

from __future__ import annotations

import os
import pathlib
import subprocess
import sys
from typing import IO, Callable, Dict, Optional

import mtllib

_PACKAGE_FOLDER = pathlib.Path(mtllib.__file__).parent.parent
# Callers were promised 0.2: a machine that does five times as much at once may take so long.
_PROMPTLY_SECONDS = 1.0
LONGEST_RUN_SECONDS = 60

PRINT_WHETHER_ALONE = """
import os, time
deadline = time.monotonic() + 60
# A thread that has done its work takes a moment to go.
while len(os.listdir("/proc/self/task")) > 1 and time.monotonic() < deadline:
    time.sleep(0.001)
print(len(os.listdir("/proc/self/task")) == 1)
"""
"""Code that prints True when no thread is left but the one that runs it."""


def expect_promptly(attempt: Callable[[], float]) -> None:
    """Of what the attempt does, which returns how many seconds that took. One that takes too long
    is made again, up to five times in all: a machine that is busy with something else makes one
    of them late, code that waits for too long makes them all so."""
    assert any(attempt() < _PROMPTLY_SECONDS for _ in range(5))


def environment() -> Dict[str, str]:
    """For a Python with the tests' package."""
    return dict(os.environ, PYTHONPATH=str(_PACKAGE_FOLDER), PYTHONFAULTHANDLER="1")


def start(
    *arguments: str,
    stderr: Optional[int] = subprocess.PIPE,
    stdout: Optional[int] = subprocess.PIPE,
) -> "subprocess.Popen[str]":
    """The tests' own Python, with the same package."""
    return subprocess.Popen(
        [sys.executable, *arguments],
        stdout=stdout,
        stderr=stderr,
        text=True,
        env=environment(),
    )


def line_of(stream: Optional[IO[str]]) -> str:
    assert stream is not None
    return stream.readline().rstrip("\n")


def run(*arguments: str) -> "subprocess.CompletedProcess[str]":
    process = start(*arguments)
    output, errors = process.communicate(timeout=LONGEST_RUN_SECONDS)
    return subprocess.CompletedProcess(arguments, process.returncode, output, errors)
