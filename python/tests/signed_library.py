"""A library that a test publishes on its server and signs with a key of its own."""

from __future__ import annotations

import base64
import ctypes
import hashlib
import os
import time
from typing import Dict, Optional

from scripted_server import ScriptedServer, list_of

FIRST_TIME = 1700000000
"""In seconds since 1970: of the first release, and the serial of it, too."""

_sodium = ctypes.CDLL("libsodium.so.23")
_PUBLIC_BYTES = 32
_SECRET_BYTES = 64
_SIGNATURE_BYTES = 64


class SignedLibrary:
    """At /lib of the server. What is in the stamps can be set before each release."""

    def __init__(self, server: ScriptedServer) -> None:
        assert _sodium.sodium_init() >= 0
        self.name = "oak"
        self.sub_path = ""
        self.serial = FIRST_TIME - 1
        self.expires: Optional[int] = None
        self.stamp = b""
        """Of the last release."""
        self._server = server
        self._id = os.urandom(8)
        public = ctypes.create_string_buffer(_PUBLIC_BYTES)
        self._secret = ctypes.create_string_buffer(_SECRET_BYTES)
        assert _sodium.crypto_sign_keypair(public, self._secret) == 0
        self._public = public.raw

    @property
    def public_key(self) -> str:
        return _text(b"Ed" + self._id + self._public)

    def publish(self, files: Dict[str, bytes]) -> None:
        """Publishes these files, and nothing else, as the next release."""
        self.serial += 1
        listed = list_of(files)
        comment = self._comment(len(listed)).encode()
        signature = self._signature(hashlib.blake2b(listed).digest())
        lines = (
            "untrusted comment: signature from minisign secret key",
            _text(b"ED" + self._id + signature),
            "trusted comment: " + comment.decode(),
            _text(self._signature(signature + comment)),
        )
        self.stamp = "".join(line + "\n" for line in lines).encode()
        self._server.publish(files, self.stamp)

    def serve_stamp(self, stamp: bytes) -> None:
        """Whoever has signed it."""
        self._server.serve("/lib/id.txt", stamp)

    def _comment(self, list_size: int) -> str:
        parts = [f"library: {self.name}"]
        if self.sub_path:
            parts.append(f"sub-path: {self.sub_path}")
        parts += [f"serial: {self.serial}", f"published: {_time(self.serial)}"]
        if self.expires is not None:
            parts.append(f"expires: {_time(self.expires)}")
        return "; ".join([*parts, f"list: {list_size} bytes"])

    def _signature(self, message: bytes) -> bytes:
        signature = ctypes.create_string_buffer(_SIGNATURE_BYTES)
        size = ctypes.c_ulonglong(len(message))
        _sodium.crypto_sign_detached(signature, None, message, size, self._secret)
        return signature.raw


def _text(content: bytes) -> str:
    return base64.b64encode(content).decode()


def _time(seconds: int) -> str:
    return time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds))
