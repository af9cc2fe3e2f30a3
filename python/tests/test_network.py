"""How requests are sent."""

from __future__ import annotations

import pathlib

import pytest

import child
import mtllib
from mtllib import NetworkOptions, UpdateOptions
from scripted_server import ScriptedServer

_ONCE = UpdateOptions(tries=1)


def test_a_query_stands_behind_every_url_and_in_no_message(
    server: ScriptedServer, copy: pathlib.Path
) -> None:
    network = NetworkOptions(query="sig=secret")
    with mtllib.Library(
        server.url, copy, proxy=None, options=_ONCE, network=network
    ) as library:
        with pytest.raises(mtllib.AnswerError) as caught:
            library.sync()
    assert server.requests == ["/lib/id.txt?sig=secret"]
    assert "secret" not in f"{caught.value} {caught.value.about} {caught.value.chain}"
    assert "secret" not in repr(network)


def test_fields_are_sent_over_https_alone(server: ScriptedServer, copy: pathlib.Path) -> None:
    network = NetworkOptions(fields={"Authorization": "Bearer secret"})
    with mtllib.Library(
        server.url, copy, proxy=None, options=_ONCE, network=network
    ) as library:
        with pytest.raises(mtllib.AddressError):
            library.sync()
    assert server.requests == []


def test_a_server_that_stands_still_is_left(server: ScriptedServer, copy: pathlib.Path) -> None:
    server.publish({})
    server.hold("/lib/id.txt")
    network = NetworkOptions(stall_seconds=1)
    with mtllib.Library(
        server.url, copy, proxy=None, options=_ONCE, network=network
    ) as library:
        with pytest.raises(mtllib.ConnectionFailedError):
            library.sync()
    server.release("/lib/id.txt")


def test_the_program_takes_secrets_from_files(
    server: ScriptedServer, copy: pathlib.Path, tmp_path: pathlib.Path
) -> None:
    server.publish({})
    query = tmp_path / "query"
    query.write_text("sig=secret\n")
    process = child.run(
        *("-m", "mtllib", "-q", "--no-proxy", "--query", f"@{query}", server.url, str(copy))
    )
    assert process.returncode == 3
    assert server.requests[0] == "/lib/id.txt?sig=secret"
    assert "secret" not in process.stderr
    process = child.run(
        *("-m", "mtllib", "--query", f"@{tmp_path}/none", server.url, str(copy))
    )
    assert process.returncode == 2


def test_the_module_knows_nothing_of_it(server: ScriptedServer, copy: pathlib.Path) -> None:
    for network in (
        NetworkOptions(ca_file="ca.pem"),
        NetworkOptions(proxy_user="ada"),
        NetworkOptions(fields={"X": "y"}),
    ):
        with pytest.raises(mtllib.SettingsError, match="for the engine only"):
            mtllib.Library(server.url, copy, proxy=None, module=True, network=network)
