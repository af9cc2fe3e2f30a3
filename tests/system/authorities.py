"""Tests that a self-contained mtlsync trusts the authorities of the system that it runs on,
wherever the system keeps them. Writes into /etc, so run it only on systems made for this test.

usage: authorities.py DIRECTORY_OF_THE_BUILT_PROGRAMS
"""

from __future__ import annotations

import contextlib
import functools
import http.server
import os
import pathlib
import ssl
import subprocess
import sys
import tempfile
import threading
from typing import Iterator

_FILES = [
    "/etc/ssl/certs/ca-certificates.crt",
    "/etc/pki/tls/certs/ca-bundle.crt",
    "/etc/pki/ca-trust/extracted/pem/tls-ca-bundle.pem",
    "/etc/ssl/ca-bundle.pem",
    "/etc/ssl/cert.pem",
]


def _make_certificate(folder: pathlib.Path) -> pathlib.Path:
    """A key and a certificate of 127.0.0.1 that vouches for itself, in one file."""
    file = folder / "server.pem"
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2"]
        + ["-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1"]
        + ["-keyout", folder / "key", "-out", folder / "certificate"],
        check=True,
        stderr=subprocess.DEVNULL,
    )
    file.write_text((folder / "key").read_text() + (folder / "certificate").read_text())
    return file


@contextlib.contextmanager
def _serving(folder: pathlib.Path, certificate: pathlib.Path) -> Iterator[str]:
    handler = functools.partial(http.server.SimpleHTTPRequestHandler, directory=str(folder))
    handler.func.log_message = lambda *_: None  # type: ignore[attr-defined]
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate)
    server.socket = context.wrap_socket(
        server.socket, server_side=True, do_handshake_on_connect=False
    )
    threading.Thread(target=server.serve_forever, daemon=True).start()
    yield f"https://127.0.0.1:{server.server_port}/"
    server.shutdown()


def main() -> None:
    programs = pathlib.Path(sys.argv[1])
    if any(os.path.lexists(file) for file in _FILES):
        sys.exit("authorities.py: this system has authorities of its own")
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        library = folder / "library"
        library.mkdir()
        (library / "oak.mat").write_text("oak\n")
        subprocess.run([programs / "mtlpublish", "build", library], check=True)
        certificate = _make_certificate(folder)
        with _serving(library, certificate) as address:

            def fetches(**environment: str) -> bool:
                copy = tempfile.mkdtemp(dir=folder)
                ended = subprocess.run(
                    [programs / "mtlsync", "--quiet", address, copy],
                    env=dict(os.environ, no_proxy="127.0.0.1", **environment),
                    stderr=subprocess.PIPE,
                    text=True,
                )
                fetched = (pathlib.Path(copy) / "oak.mat").exists()
                assert fetched == (ended.returncode == 0), ended.stderr
                assert fetched or "certificate" in ended.stderr, ended.stderr
                return fetched

            assert not fetches(), "nobody vouches for the server"
            assert fetches(SSL_CERT_FILE=str(folder / "certificate"))
            hashed = folder / "hashed"
            hashed.mkdir()
            (hashed / "authority.pem").write_text((folder / "certificate").read_text())
            subprocess.run(["openssl", "rehash", hashed], check=True)
            assert fetches(SSL_CERT_DIR=str(hashed))
            for file in map(pathlib.Path, _FILES):
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_text((folder / "certificate").read_text())
                assert fetches(), f"{file} is not looked into"
                file.unlink()
            assert not fetches(), "nobody vouches for the server any more"
    print(f"Found the authorities in {len(_FILES)} places")


main()
