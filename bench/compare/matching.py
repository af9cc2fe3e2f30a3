"""What a run costs that finds nothing to do, and how soon it asks."""

import contextlib
import http.server
import statistics
import threading
import time

from measure import run

RUNS = 21


@contextlib.contextmanager
def stamp_server(requests):
    """Answers every request with the same stamp, and tells when each came."""

    class Handler(http.server.BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"

        def do_GET(self):
            requests.append((time.monotonic(), self.path))
            self.send_response(200)
            self.send_header("Content-Length", "5")
            self.end_headers()
            self.wfile.write(b"stamp")

        def log_message(self, *_):
            pass

    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler) as server:
        thread = threading.Thread(target=server.serve_forever, args=(0.01,))
        thread.start()
        yield f"http://127.0.0.1:{server.server_port}/lib"
        server.shutdown()
        thread.join()


def measure_matching_stamps(ours, work):
    """Medians by name: seconds to the first request, seconds of CPU; and the requests."""
    copy = work / "copy"
    copy.mkdir()
    (copy / "id.txt").write_bytes(b"stamp")
    requests, first, cpu = [], [], []
    with stamp_server(requests) as address:
        for _ in range(RUNS):
            begin = time.monotonic()
            cpu.append(run(ours.command(None, address, copy), ours.environment).cpu)
            first.append(requests[-1][0] - begin)
    assert {path for _, path in requests} == {"/lib/id.txt"}
    return {"first request": statistics.median(first), "cpu": statistics.median(cpu),
            "requests": len(requests) / RUNS}
