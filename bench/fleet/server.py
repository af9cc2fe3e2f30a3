"""Starts an nginx on loopback that serves a library as the publishing guide says, and counts
requests and bytes."""

from __future__ import annotations

import contextlib
import dataclasses
import http.client
import os
import pathlib
import socket
import subprocess
import time
from collections.abc import Iterator

from figures import DIFFERENCE, FILE, LIST, PACKED_LIST, STAMP, Traffic

# One worker: what it has answered last is what it writes last. The headers are those of the guide.
CONFIGURATION = """
{user}
daemon off;
worker_processes 1;
pid {work}/nginx.pid;
error_log {work}/error.log;
events {{ worker_connections 256; }}
http {{
  client_body_temp_path {work}/nginx; proxy_temp_path {work}/nginx;
  fastcgi_temp_path {work}/nginx; uwsgi_temp_path {work}/nginx; scgi_temp_path {work}/nginx;
  log_format counted '$request_length $bytes_sent $status $request_uri';
  access_log {work}/requests.log counted;
  default_type application/octet-stream;
  server_tokens off;
  sendfile on; tcp_nopush on; gzip off;
  keepalive_requests 100000000; keepalive_timeout 600s;
  map $uri $life {{
    default        "no-cache";
    ~/id\\.txt$     "max-age={stamp_life}";
    ~^/[^/]+/maps/ "max-age=31536000, immutable";
  }}
  server {{
    listen 127.0.0.1:{port};
    location /lib/ {{ alias {library}/; add_header Cache-Control $life; }}
    location /mark/ {{ return 204; }}
  }}
}}
"""
PATIENCE = 300  # seconds, however busy the machine is


def kind_of(path: str) -> str:
    """Which kind of document has this path in the library."""
    if path == "id.txt":
        return STAMP
    if path.startswith("changes/"):
        return DIFFERENCE
    return {"filelist.json": LIST, "filelist.json.gz": PACKED_LIST}.get(path, FILE)


@dataclasses.dataclass
class Server:
    """A running nginx."""

    port: int
    log: pathlib.Path
    marks: int = 0

    @property
    def address(self) -> str:
        return f"http://127.0.0.1:{self.port}/lib"

    def get(self, path: str, headers: dict[str, str]) -> http.client.HTTPResponse:
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        with contextlib.closing(connection):
            connection.request("GET", path, headers=headers)
            response = connection.getresponse()
            response.read()
            return response

    def counted(self) -> dict[str, Traffic]:
        """What was asked for since the last call, by kind of document; all of it is answered."""
        # The server writes of an answer after the client has it, and of this one after all others.
        self.marks += 1
        mark = f"/mark/{self.marks}"
        self.get(mark, {})
        deadline = time.monotonic() + PATIENCE
        while not (lines := self.log.read_text().splitlines()) or not lines[-1].endswith(mark):
            if time.monotonic() > deadline:
                raise TimeoutError("nginx does not write its log")
            time.sleep(0.01)
        os.truncate(self.log, 0)
        parts: dict[str, Traffic] = {}
        for sent, received, _, uri in (line.split(" ", 3) for line in lines[:-1]):
            kind = kind_of(uri.removeprefix("/lib/"))
            parts[kind] = parts.get(kind, Traffic()) + Traffic(1, int(sent), int(received))
        return parts


@contextlib.contextmanager
def nginx(library: pathlib.Path, work: pathlib.Path, stamp_life: int = 60) -> Iterator[Server]:
    """Serves `library` on a port that the system picks until the context ends. Caches may answer
    with the stamp for so many seconds."""
    with socket.socket() as listening:
        listening.bind(("127.0.0.1", 0))
        listening.listen(256)
        port: int = listening.getsockname()[1]
        configuration = work / "nginx.conf"
        configuration.write_text(CONFIGURATION.format(
            user="user root;" if os.geteuid() == 0 else "", work=work, library=library, port=port,
            stamp_life=stamp_life))
        # It takes the socket over, which nobody else can get in between.
        command = ["/usr/sbin/nginx", "-p", str(work), "-c", str(configuration),
                   "-e", str(work / "error.log")]
        with subprocess.Popen(command, pass_fds=[listening.fileno()], stderr=subprocess.DEVNULL,
                              env={"NGINX": f"{listening.fileno()};"}) as process:
            try:
                yield Server(port, work / "requests.log")
            finally:
                process.terminate()
