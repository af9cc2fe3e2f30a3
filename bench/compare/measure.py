"""Runs a command and measures the time and memory that it takes."""

import dataclasses
import mmap
import os
import subprocess
import sys
import tempfile
import time

# No proxies, no start-up files, no settings of this user.
ENVIRONMENT = {"PATH": os.environ["PATH"], "HOME": "/nonexistent", "LC_ALL": "C.UTF-8"}


@dataclasses.dataclass
class Usage:
    """What one run took."""

    wall: float  # seconds
    cpu: float  # seconds, user and system
    memory: float  # peak resident memory, MiB

    def __str__(self):
        return f"{self.wall:.3f} s, CPU {self.cpu:.3f} s, {self.memory:.1f} MiB"


def warm_memory(size):
    """Has `size` bytes of memory at hand. A virtual machine may have given free memory back
    to its host, and whoever comes next would pay for getting it again."""
    flags = mmap.MAP_PRIVATE | mmap.MAP_ANONYMOUS | mmap.MAP_POPULATE
    mmap.mmap(-1, size, flags=flags).close()


def run(command, environment=None):
    """The usage of `command`, which must succeed."""
    with tempfile.NamedTemporaryFile("r") as peak, tempfile.TemporaryFile() as output:
        # The peak that wait4 reports may be that of the process that forked; time's is small.
        timed = ["/usr/bin/time", "-q", "-f", "%M", "-o", peak.name, *map(str, command)]
        begin = time.monotonic()
        with subprocess.Popen(timed, env=ENVIRONMENT | (environment or {}), stdout=output,
                              stderr=output, stdin=subprocess.DEVNULL) as process:
            _, status, usage = os.wait4(process.pid, 0)
            wall = time.monotonic() - begin
            process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            output.seek(0)
            sys.exit(f"{command[0]} gave {process.returncode}:\n"
                     + output.read().decode(errors="replace")[-2000:])
        return Usage(wall, usage.ru_utime + usage.ru_stime, int(peak.read()) / 1024)
