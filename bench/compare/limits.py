"""Measures what limits every tool: how many requests a second the server answers, and how long
copying the files takes."""

import re
import shutil
import subprocess

from measure import run

# Each request asks for the next file.
ASK_FOR_EACH = """
local names = {}
for line in io.lines("%s") do names[#names + 1] = line end
local next = 0
request = function()
  next = next %% #names + 1
  return wrk.format("GET", "/lib/" .. names[next])
end
"""


def requests_a_second(library, address, work):
    names = work / "files"
    names.write_text("".join(name + "\n" for name in library.names))
    script = work / "ask.lua"
    script.write_text(ASK_FOR_EACH % names)
    host = address.removesuffix("/lib")
    output = subprocess.run(["wrk", "-t1", "-c5", "-d5s", "-s", script, host], check=True,
                            stdout=subprocess.PIPE, text=True).stdout
    return float(re.search(r"Requests/sec:\s*([0-9.]+)", output)[1])


def measure_limits(library, server, scheme, work):
    """By name, for one scheme; the seconds for copying with HTTP only."""
    limits = {f"{scheme} requests": requests_a_second(library, server.address(scheme), work)}
    if scheme == "http":
        copy = work / "copy"
        times = []
        for _ in range(5):
            times.append(run(["cp", "-r", library.folder, copy]).wall)
            shutil.rmtree(copy)
        limits["copy"] = library.size / sorted(times)[len(times) // 2]
    return limits
