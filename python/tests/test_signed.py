"""Libraries whose publisher signs them, and keys to check that with."""

from __future__ import annotations

import asyncio
import pathlib
from typing import Callable, Dict, List

import pytest

import mtllib
from conftest import Opener
from mtllib import Failure
from scripted_server import ScriptedServer
from signed_library import FIRST_TIME, SignedLibrary


@pytest.fixture
def way() -> str:
    return "engine"


@pytest.fixture
def oak(server: ScriptedServer) -> SignedLibrary:
    """With a release of one file."""
    library = SignedLibrary(server)
    library.publish({"a": b"a"})
    return library


def _files(copy: pathlib.Path) -> Dict[str, bytes]:
    """All of the folder but the lock, which every run leaves."""
    return {
        str(path.relative_to(copy)): path.read_bytes()
        for path in copy.rglob("*")
        if path.is_file() and path.name != "lock"
    }


def test_what_the_holder_of_a_key_has_signed_is_taken(
    oak: SignedLibrary,
    server: ScriptedServer,
    open_library: Opener,
    copy: pathlib.Path,
    tmp_path: pathlib.Path,
) -> None:
    other = SignedLibrary(server).public_key
    file = tmp_path / "oak.pub"
    file.write_text(f"untrusted comment: minisign public key\n{oak.public_key}\n")
    for keys in (
        oak.public_key,
        file,
        str(file),
        [file.read_text()],
        (other, oak.public_key),
        iter([other, file]),
    ):
        open_library(keys=keys, name="oak").sync()
    assert (copy / "a").read_bytes() == b"a"
    with pytest.raises(mtllib.UntrustedError, match="which is not one of those given"):
        open_library(keys=other).check()


def test_what_was_not_signed_is_an_error_of_its_own(
    oak: SignedLibrary, open_library: Opener, copy: pathlib.Path
) -> None:
    library = open_library(keys=oak.public_key)
    library.sync()
    before = _files(copy)
    oak.publish({"a": b"A"})
    oak.serve_stamp(b"7a1bc3d2")

    operations: List[Callable[[], object]] = [
        library.check,
        library.plan,
        library.sync,
        library.repair,
        lambda: asyncio.run(library.check_async()),
        lambda: asyncio.run(library.sync_async()),
    ]
    for operation in operations:
        with pytest.raises(mtllib.SyncError, match="/lib/id.txt is not trusted: it is not signed") as caught:
            operation()
        assert type(caught.value) is mtllib.UntrustedError
        assert caught.value.failure == Failure.UNTRUSTED
        assert caught.value.result is not None
        assert not caught.value.result.updated
        assert _files(copy) == before


def test_a_stamp_of_which_a_byte_is_changed_is_refused(
    oak: SignedLibrary, open_library: Opener, copy: pathlib.Path
) -> None:
    library = open_library(keys=oak.public_key)
    for i in range(0, len(oak.stamp), 7):
        oak.serve_stamp(oak.stamp[:i] + bytes([oak.stamp[i] ^ 1]) + oak.stamp[i + 1 :])
        with pytest.raises(mtllib.UntrustedError):
            library.sync()
    assert _files(copy) == {}


def test_an_older_release_is_not_taken(
    oak: SignedLibrary, open_library: Opener, copy: pathlib.Path
) -> None:
    old = oak.stamp
    oak.publish({"a": b"A"})
    library = open_library(keys=oak.public_key)
    library.sync()
    oak.serve_stamp(old)
    with pytest.raises(mtllib.UntrustedError, match="it is from an older release"):
        library.sync()
    assert (copy / "a").read_bytes() == b"A"


@pytest.mark.parametrize("name, sub_path", [("elm", ""), ("oak", "beta")])
def test_a_release_of_something_else_is_not_taken(
    oak: SignedLibrary, open_library: Opener, name: str, sub_path: str
) -> None:
    oak.name, oak.sub_path = name, sub_path
    oak.publish({"a": b"A"})
    with pytest.raises(mtllib.UntrustedError, match='not of "oak"'):
        open_library(keys=oak.public_key, name="oak").sync()


def test_an_expired_release_is_taken_on_request_with_a_warning(
    oak: SignedLibrary, open_library: Opener
) -> None:
    oak.expires = FIRST_TIME + 5
    oak.publish({"a": b"A"})
    with pytest.raises(mtllib.UntrustedError, match="it expired at"):
        open_library(keys=oak.public_key).sync()
    told: List[mtllib.Event] = []
    open_library(keys=oak.public_key, allow_expired=True).sync(on_event=told.append)
    (warning,) = [event.text for event in told if event.kind == "warning"]
    assert "it expired at 2023-11-14T22:13:25Z" in warning


def test_a_copy_that_had_keys_needs_them_until_they_are_forgotten(
    oak: SignedLibrary, open_library: Opener, copy: pathlib.Path
) -> None:
    open_library(keys=oak.public_key).sync()
    oak.publish({"a": b"A"})
    with pytest.raises(mtllib.SyncError, match="was updated with keys") as caught:
        open_library().sync()
    assert caught.value.failure == Failure.USAGE
    assert (copy / "a").read_bytes() == b"a"
    open_library(forget_keys=True).sync()
    oak.publish({"a": b"new"})
    open_library().sync()
    assert (copy / "a").read_bytes() == b"new"


@pytest.mark.parametrize("keys", ["", "RWQ", ["RWQ"], ["/no/such.pub"], [""]])
def test_a_key_that_is_none_cannot_be_used(open_library: Opener, keys: object) -> None:
    with pytest.raises(ValueError, match="is neither a public key nor a file"):
        open_library(keys=keys)


def test_a_name_is_for_keys(open_library: Opener) -> None:
    with pytest.raises(ValueError, match="checked with keys only"):
        open_library(name="oak")


def test_keys_are_not_for_the_module(
    oak: SignedLibrary, server: ScriptedServer, copy: pathlib.Path
) -> None:
    with pytest.raises(ValueError, match="the module cannot check signatures"):
        mtllib.Library(server.url, copy, module=True, keys=oak.public_key)
