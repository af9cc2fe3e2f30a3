"""Formats the results as tables, and writes docs/performance.md."""

import datetime
import pathlib
import platform
import re
import subprocess

from aims import AIMS, steps
from results import MODULE, OURS

TEMPLATE = pathlib.Path(__file__).with_name("performance.md.in")
FIGURES = ("wall", "cpu", "memory")


def table(head, rows):
    lines = [head, ["---"] * len(head), *rows]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)


def ratio_table(results, with_aims):
    """Each figure of ours as a part of the best peer's, and what is aimed at, if asked for."""

    def cell(row, tool, figure, aim):
        text = f"{results.ratio(row, tool, figure):.2f} ({results.best_peer(row, figure)})"
        return text + (f", aim {aim:.2f}" if aim and with_aims else "")

    def cells(row, tool):
        aims = (*AIMS[tool].get(row, (None, None)), None)
        return [cell(row, tool, figure, aim) for figure, aim in zip(FIGURES, aims)]

    return table(["set", "", "wall time", "CPU time", "peak memory"],
                 [[" ".join(row), tool, *cells(row, tool)]
                  for row in results.rows() for tool in (OURS, MODULE)])


def medians(results, row, tool):
    wall, cpu, memory = (results.median(row, tool, figure) for figure in FIGURES)
    return f"{wall:.2f} s, {cpu:.2f} s, {memory:.0f} MiB"


def rows_of_sets(results):
    """Those of first runs."""
    names = [file_set.name for file_set in results.sets]
    return [row for row in results.rows() if row[0] in names]


def median_table(results):
    """Every tool's medians."""
    rows = rows_of_sets(results)
    tools = list(dict.fromkeys(tool for row in rows for tool in results.tools(row)))
    return table(["set", *tools],
                 [[" ".join(row), *(medians(results, row, tool) for tool in tools)]
                  for row in rows])


def update_table(results):
    """What each tool asked for and took when it kept a copy up to date."""
    return table(["", "tool", "requests", "bytes", "wall time, CPU time, peak memory"],
                 [[work, tool, f"{traffic.requests:,}", f"{traffic.size:,}",
                   medians(results, (work, "http"), tool)]
                  for (work, tool), traffic in sorted(results.traffic.items())])


def step_table(results):
    return table(["", "measured", "aim"],
                 [[step.name, step.text(step.measured), step.text(step.aim)]
                  for step in steps(results)])


def limit_lines(results):
    """What ours reaches of what the server and the disk give."""
    sets = {file_set.name: file_set for file_set in results.sets}
    for scheme, name in results.rows_of_requests():
        small = sets["small"]
        reached = small.count / results.median(("small", scheme), OURS, "wall")
        yield (f"- small {scheme}: {reached:,.0f} files a second; `wrk -t1 -c5` gets "
               f"{results.limits[name]:,.0f} requests a second answered.")
    if "copy" in results.limits:
        small = sets["small"]
        reached = small.count * small.size / results.median(("small", "http"), OURS, "wall")
        yield (f"- small http: {reached / 1e6:.0f} MB/s saved; `cp -r` copies the same files "
               f"with {results.limits['copy'] / 1e6:.0f} MB/s.")
    for row in rows_of_sets(results):
        file_set = sets[row[0]]
        if file_set.round_trip:
            floor = file_set.count / 5 * file_set.round_trip
            wall = results.median(row, OURS, "wall")
            yield (f"- {' '.join(row)}: {wall:.3f} s; {file_set.count} files, five at a time, "
                   f"take {floor:.3f} s of round trips, so {(wall - floor) / file_set.round_trip:.1f} "
                   "round trips beside them.")
    matching = results.matching
    yield (f"- A run with matching stamps: {matching['requests']:.0f} request, sent "
           f"{matching['first request'] * 1e3:.1f} ms after the program was started; "
           f"{matching['cpu'] * 1e3:.1f} ms of CPU time in all.")


def memory_lines(results):
    """The peaks of the module, and the five largest bodies in them."""
    sets = {file_set.name: file_set for file_set in results.sets}
    for row in rows_of_sets(results):
        bodies = 5 * sets[row[0]].size / 2**20
        peak = results.median(row, MODULE, "memory")
        yield f"- {' '.join(row)}: {peak:.1f} MiB, of which {bodies:,.1f} MiB may be bodies"


def list_table(results):
    return table(["list", "entries", "time an entry", "memory an entry"],
                 [[kind, f"{entries:,}", f"{seconds * 1e6:.2f} µs", f"{size:.0f} bytes"]
                  for kind, entries, seconds, size in results.lists])


def print_tables(results, stream):
    print(f"mtlsync to the best peer, medians of {results.rounds}:\n", file=stream)
    print(ratio_table(results, with_aims=True), file=stream)
    print("\n" + step_table(results), file=stream)
    print("\nWall time, CPU time, peak memory:\n", file=stream)
    print(median_table(results), file=stream)
    print("\n" + "\n".join(limit_lines(results)), file=stream)
    if results.lists:
        print("\n" + list_table(results), file=stream)


def first_line(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True).stdout.splitlines()[0]


def machine():
    cpu = re.search(r"model name\s*:\s*(.*)", pathlib.Path("/proc/cpuinfo").read_text())
    memory = int(re.search(r"MemTotal:\s*(\d+)", pathlib.Path("/proc/meminfo").read_text())[1])
    cores = first_line("nproc")
    release = re.search(r'PRETTY_NAME="(.*)"', pathlib.Path("/etc/os-release").read_text())[1]
    return (f"{cores} cores ({cpu[1] if cpu else platform.machine()}), "
            f"{memory / 2**20:.0f} GiB of memory, {release}, Linux {platform.release()}")


def versions():
    return "; ".join(first_line(*command) for command in (
        ["curl", "--version"], ["aria2c", "--version"], ["wget2", "--version"],
        ["rclone", "--version"], ["/usr/sbin/nginx", "-v"]))


def write_document(results, file):
    file.write_text(TEMPLATE.read_text().format(
        date=datetime.date.today().isoformat(), machine=machine(), versions=versions(),
        rounds=results.rounds, ratios=ratio_table(results, with_aims=False), medians=median_table(results),
        updates=update_table(results), steps=step_table(results),
        limits="\n".join(limit_lines(results)), memory="\n".join(memory_lines(results)),
        lists=list_table(results)))
