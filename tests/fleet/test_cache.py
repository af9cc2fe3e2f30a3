"""What the model says of caches, beside what Squid asks nginx for when it serves real clients."""

from __future__ import annotations

import contextlib
import os
import pathlib
import socket
import subprocess
import tempfile
import time
import unittest
from collections.abc import Iterator, Mapping

from figures import FIRST, KINDS, KIT, MODULE, ONE, STAMP, Figures, Traffic
from hours import DAY, HOUR, Habit
from measure import Client, Library, clients_of, measure
from model import Cdn, Fleet, simulate
from server import PATIENCE, Server, nginx

FILES, SIZE, CLIENTS = 120, 3000, 3
ATTEMPTS = 5
CONFIGURATION = """
http_port 127.0.0.1:{port} accel defaultsite=127.0.0.1:{origin} no-vhost
cache_peer 127.0.0.1 parent {origin} 0 no-query no-digest no-netdb-exchange originserver
http_access allow all
cache_mem 64 MB
access_log none
cache_log /dev/null
cache_store_log none
coredump_dir /tmp
pid_filename none
netdb_filename none
visible_hostname {name}
shutdown_lifetime 0
pinger_enable off
"""


def answers_at_last(process: subprocess.Popen[bytes], cache: Server, name: str) -> bool:
    """Whether it is this cache that has the port. It ends at once when somebody else has."""
    deadline = time.monotonic() + PATIENCE
    while process.poll() is None and time.monotonic() < deadline:
        with contextlib.suppress(OSError):
            return name in cache.get("/mark/0", {}).headers.get("Via", "")
        time.sleep(0.05)
    return False


@contextlib.contextmanager
def squid(origin: Server, work: pathlib.Path) -> Iterator[Server]:
    """A cache before `origin`, on a port that the system had free."""
    for _ in range(ATTEMPTS):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port: int = probe.getsockname()[1]
        # What it shares between its processes has this name, which may consist of such signs only.
        name = f"cache{os.getpid()}p{port}"
        configuration = work / "squid.conf"
        configuration.write_text(CONFIGURATION.format(port=port, origin=origin.port, name=name))
        command = ["squid", "-N", "-n", name, "-f", str(configuration)]
        with subprocess.Popen(command, stdout=subprocess.DEVNULL) as process:
            try:
                if answers_at_last(process, cache := Server(port, origin.log), name):
                    origin.counted()
                    yield cache
                    return
            finally:
                # It removes what it shared.
                process.terminate()
    raise ChildProcessError("Squid does not start")


class OnePlace(unittest.TestCase):
    """Clients behind one cache, one after the other."""

    programs: pathlib.Path
    figures: Figures

    @classmethod
    def setUpClass(cls) -> None:
        cls.programs = pathlib.Path(os.environ["PROGRAMS"])
        cls.figures = measure(cls.programs, FILES, SIZE)

    def setUp(self) -> None:
        self.work = pathlib.Path(self.enterContext(
            tempfile.TemporaryDirectory(prefix="mtllib-fleet-")))
        self.library = Library(self.work / "library", self.programs, SIZE)
        self.library.fill(FILES)
        self.library.build()
        self.make_older()

    def make_older(self) -> None:
        """Gives what is published next other times. nginx makes the ETag of a file from its size
        and the second of its change: to a cache, two builds within a second can be the same."""
        before = time.time() - HOUR
        for path in self.library.folder.rglob("*"):
            os.utime(path, (before, before))

    def clients(self, name: str) -> list[Client]:
        return [client for number in range(CLIENTS)
                for client in clients_of(self.library, self.work / str(number))
                if client.name == name]

    def expect_as_simulated(self, client: str, kind: str, stamp_life: int,
                            logged: Mapping[str, Traffic]) -> None:
        lives = dict.fromkeys(KINDS, 0.0) | {STAMP: float(stamp_life)}
        origin = simulate(Fleet(CLIENTS, Habit(2.5), ((0.0, 1.0),)), Cdn(1, lives=lives),
                          self.figures.runs[client][kind], self.figures.unchanged).origin.total
        total = sum(logged.values(), Traffic())
        # The life of the stamp stands in its header, and was 60 where it was measured.
        longer = logged[STAMP].requests * (len(str(stamp_life)) - len("60"))
        self.assertEqual((total.requests, total.received),
                         (origin.requests, origin.received + longer))

    def expect_questions_as_simulated(self, name: str) -> None:
        """In first runs, and when a file has changed."""
        with nginx(self.library.folder, self.work, 0) as origin, \
                squid(origin, self.work) as cache:
            for kind in (FIRST, ONE):
                if kind == ONE:
                    self.library.change(1)
                    self.library.build()
                for client in self.clients(name):
                    client.run(cache)
                self.expect_as_simulated(name, kind, 0, origin.counted())

    def test_asks_the_origin_for_hosts_of_the_kit(self) -> None:
        self.expect_questions_as_simulated(KIT)

    def test_asks_the_origin_for_hosts_of_the_module(self) -> None:
        self.expect_questions_as_simulated(MODULE)

    def test_answers_with_a_stamp_for_its_life(self) -> None:
        with nginx(self.library.folder, self.work, DAY) as origin, \
                squid(origin, self.work) as cache:
            for client in self.clients(KIT):
                client.run(cache)
            self.expect_as_simulated(KIT, FIRST, DAY, origin.counted())


if __name__ == "__main__":
    unittest.main()
