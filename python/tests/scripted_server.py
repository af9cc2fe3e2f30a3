"""An HTTP server on loopback that does what a test tells it to."""

from __future__ import annotations

import contextlib
import hashlib
import http.server
import json
import socket
import threading
import time
from typing import Callable, Dict, Iterator, List, Tuple

_LONGEST_WAIT_SECONDS = 60


class _Connection(http.server.BaseHTTPRequestHandler):
    """Answers the requests of one connection."""

    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True
    wbufsize = -1
    server: "_Listener"

    def do_GET(self) -> None:
        self.server.owner.answer(self)

    def log_message(self, *_: object) -> None:
        pass


class _Listener(http.server.ThreadingHTTPServer):
    owner: "ScriptedServer"

    def handle_error(self, *_: object) -> None:
        pass  # Clients that hang up are what many tests are about.


Answer = Callable[[_Connection], None]


class ScriptedServer:
    """Serves the library /lib until it is stopped."""

    def __init__(self) -> None:
        self._listener = _Listener(("127.0.0.1", 0), _Connection)
        self._listener.owner = self
        self._answers: Dict[str, Answer] = {}
        self._held: Dict[str, threading.Event] = {}
        self._requests: List[str] = []
        self._user_agents: List[str] = []
        self._arrived = threading.Condition()
        self._thread = threading.Thread(target=self._listener.serve_forever, args=(0.02,))
        self._thread.start()

    @property
    def address(self) -> str:
        host, port = self._listener.server_address[:2]
        return f"http://{str(host)}:{port}"

    @property
    def url(self) -> str:
        """Of the library."""
        return self.address + "/lib"

    @property
    def requests(self) -> List[str]:
        """The targets in the order of arrival."""
        with self._arrived:
            return list(self._requests)

    @property
    def user_agents(self) -> List[str]:
        """Of those requests, in the same order."""
        with self._arrived:
            return list(self._user_agents)

    def forget_requests(self) -> None:
        with self._arrived:
            self._requests.clear()
            self._user_agents.clear()

    def stop(self) -> None:
        for event in self._held.values():
            event.set()
        self._listener.shutdown()
        self._listener.server_close()
        self._thread.join()

    def publish(self, files: Dict[str, bytes], stamp: bytes = b"v1\n") -> None:
        self.serve("/lib/id.txt", stamp)
        self.serve("/lib/filelist.json", list_of(files))
        for path, body in files.items():
            self.serve("/lib/" + path, body)

    def serve(self, target: str, body: bytes, status: int = 200) -> None:
        self._answers[target] = lambda connection: _send(connection, status, len(body), [body])

    def serve_slowly(self, target: str, pieces: List[bytes], seconds_between: float) -> None:
        def answer(connection: _Connection) -> None:
            size = sum(map(len, pieces))
            _send(connection, 200, size, pieces, seconds_between)

        self._answers[target] = answer

    def cut(self, target: str, body: bytes) -> None:
        """Announces one byte more than it sends."""

        def answer(connection: _Connection) -> None:
            _send(connection, 200, len(body) + 1, [body])
            connection.close_connection = True

        self._answers[target] = answer

    def hold(self, target: str) -> None:
        """Leaves requests for it unanswered until `release`."""
        self._held[target] = threading.Event()

    def release(self, target: str) -> None:
        self._held[target].set()

    def wait_for(self, *targets: str) -> None:
        """Until all of them have been requested."""

        def have_arrived() -> bool:
            return set(targets) <= set(self._requests)

        with self._arrived:
            assert self._arrived.wait_for(have_arrived, _LONGEST_WAIT_SECONDS), targets

    def answer(self, connection: _Connection) -> None:
        with self._arrived:
            self._requests.append(connection.path)
            self._user_agents.append(connection.headers.get("User-Agent", ""))
            self._arrived.notify_all()
        if connection.path in self._held:
            self._held[connection.path].wait()
        if connection.path in self._answers:
            self._answers[connection.path](connection)
        else:
            _send(connection, 404, 0, [])


def list_of(files: Dict[str, bytes]) -> bytes:
    """As it is published."""
    listed = [
        {"path": path, "size": len(body), "sha256": hashlib.sha256(body).hexdigest()}
        for path, body in files.items()
    ]
    return json.dumps(listed).encode() + b"\n"


def _send(
    connection: _Connection,
    status: int,
    size: int,
    pieces: List[bytes],
    seconds_between: float = 0,
) -> None:
    connection.send_response(status)
    connection.send_header("Content-Length", str(size))
    connection.end_headers()
    for piece in pieces:
        connection.wfile.write(piece)
        connection.wfile.flush()
        time.sleep(seconds_between)


@contextlib.contextmanager
def refusing_address() -> Iterator[Tuple[str, int]]:
    """One that refuses connections: it is taken, but nobody listens there."""
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        yield taken.getsockname()
