"""Measures what a run costs that finds nothing to do, and how soon it sends its request."""

import statistics
import time

from measure import run
from server import Handler, own_server

RUNS = 21


def stamp_handler(requests):
    """Answers every request with the same stamp, and notes when each came."""

    class StampHandler(Handler):
        def do_GET(self):
            requests.append((time.monotonic(), self.path))
            self.send_response(200)
            self.send_header("Content-Length", "5")
            self.end_headers()
            self.wfile.write(b"stamp")

    return StampHandler


def measure_matching_stamps(ours, work):
    """Medians by name: seconds to the first request, seconds of CPU; and the requests."""
    copy = work / "copy"
    copy.mkdir()
    (copy / "id.txt").write_bytes(b"stamp")
    requests, first, cpu = [], [], []
    with own_server(stamp_handler(requests)) as address:
        for _ in range(RUNS):
            begin = time.monotonic()
            cpu.append(run(ours.command(None, address, copy), ours.environment).cpu)
            first.append(requests[-1][0] - begin)
    assert {path for _, path in requests} == {"/lib/id.txt"}
    return {"first request": statistics.median(first), "cpu": statistics.median(cpu),
            "requests": len(requests) / RUNS}
