"""Measures what single steps of an update cost: the plan for very many files, and the commit."""

import json
import shutil
import statistics
import subprocess

from measure import ENVIRONMENT, run
from server import nginx
from updates import change


def measure_plan(file_set, ours, rounds, work, authority, programs):
    """Medians of a dry run for another list of the same files: what it took."""
    library = file_set.publish(work / "planned", programs)
    copy = work / "copy"
    with nginx(library.folder, authority, work) as server:
        address = server.address("http")
        ours.update(library, address, copy)
        change(library.folder / library.names[0])
        library.build(programs)
        usages = [run([ours.program, "-q", "--no-proxy", "--dry-run", address, copy])
                  for _ in range(rounds)]
    library.remove()
    shutil.rmtree(copy)
    return {figure: statistics.median(getattr(usage, figure) for usage in usages)
            for figure in ("wall", "cpu", "memory")}


def commit_time(ours, address, copy):
    """Seconds from the first rename to the last."""
    output = subprocess.run([ours.program, "--json", "--no-proxy", address, copy], check=True,
                            stdout=subprocess.PIPE, env=ENVIRONMENT).stdout
    events = map(json.loads, output.splitlines())
    return next(event for event in events if event["event"] == "changes")["commitMicroseconds"] / 1e6


def measure_commit(file_set, ours, rounds, work, disk, authority, programs):
    """The median for a copy on `disk` in which every file is replaced."""
    library = file_set.publish(work / "committed", programs)
    copy = disk / "copy"
    times = []
    with nginx(library.folder, authority, work) as server:
        address = server.address("http")
        commit_time(ours, address, copy)
        for _ in range(rounds):
            for name in library.names:
                change(library.folder / name)
            library.build(programs)
            times.append(commit_time(ours, address, copy))
    library.remove()
    shutil.rmtree(copy)
    return statistics.median(times)
