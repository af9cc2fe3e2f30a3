"""The figures of one client, measured and simulated, beside what nginx logs of another run."""

from __future__ import annotations

import os
import pathlib
import socket
import tempfile
import unittest

from figures import FILE, FIRST, KIT, MODULE, NAMED_ANEW, NOTHING, ONE, Figures, Traffic
from hours import Habit
from measure import Client, Library, clients_of, measure
from model import Cdn, Fleet, simulate
from server import Server, nginx

FILES, SIZE = 150, 3000


class OneClient(unittest.TestCase):
    """A library that is published anew, and the same runs again."""

    figures: Figures
    logged: dict[tuple[str, str], Traffic] = {}

    @classmethod
    def setUpClass(cls) -> None:
        programs = pathlib.Path(os.environ["PROGRAMS"])
        cls.figures = measure(programs, FILES, SIZE)
        with tempfile.TemporaryDirectory(prefix="mtllib-fleet-") as name:
            work = pathlib.Path(name)
            library = Library(work / "library", programs, SIZE)
            library.fill(FILES)
            library.build()
            with nginx(library.folder, work) as server:
                for kind in (FIRST, NOTHING, ONE):
                    if kind == ONE:
                        library.change(1)
                        library.build()
                    for client in clients_of(library, work):
                        parts = client.update(server).values()
                        cls.logged[client.name, kind] = sum(parts, Traffic())

    def test_is_simulated_as_nginx_logs_it(self) -> None:
        for (client, kind), logged in self.logged.items():
            with self.subTest(client=client, kind=kind):
                day = simulate(Fleet(1, Habit(2.5)), Cdn(), self.figures.runs[client][kind],
                               self.figures.unchanged)
                self.assertEqual(day.edge.total, logged)

    def test_asks_for_what_each_kind_of_run_needs(self) -> None:
        requests = {(client, kind): run.total().requests
                    for client, runs in self.figures.runs.items() for kind, run in runs.items()}
        for client in (KIT, MODULE):
            self.assertEqual(requests[client, FIRST], FILES + 2)
            self.assertEqual(requests[client, NOTHING], 1)
            self.assertEqual(requests[client, NAMED_ANEW], 3)
        self.assertEqual(requests[KIT, ONE], 3)
        self.assertEqual(requests[MODULE, ONE], FILES + 2)

    def test_receives_headers_and_bodies(self) -> None:
        files = self.figures.runs[KIT][FIRST].parts[FILE]
        self.assertGreater(files.received, FILES * (SIZE + 100))
        self.assertLess(files.received, FILES * (SIZE + 400))

    def test_a_cache_that_asks_gets_no_body(self) -> None:
        for kind, traffic in self.figures.unchanged.items():
            with self.subTest(kind=kind):
                self.assertEqual(traffic.requests, 1)
                self.assertLess(traffic.received, 300)

    def test_figures_are_read_as_they_were_written(self) -> None:
        with tempfile.TemporaryDirectory() as name:
            file = pathlib.Path(name) / "figures.json"
            self.figures.save(file)
            self.assertEqual(Figures.load(file), self.figures)


class Mirrors(unittest.TestCase):
    """What a client asks for that knows two addresses."""

    def setUp(self) -> None:
        self.work = pathlib.Path(self.enterContext(
            tempfile.TemporaryDirectory(prefix="mtllib-fleet-")))
        self.library = Library(self.work / "library", pathlib.Path(os.environ["PROGRAMS"]), SIZE)
        self.library.fill(FILES)
        self.library.build()
        self.server = self.start("one")

    def start(self, name: str) -> Server:
        folder = self.work / name
        folder.mkdir()
        return self.enterContext(nginx(self.library.folder, folder))

    def client(self, name: str, mirror: str) -> Client:
        """One of the kit, with a copy of its own."""
        kit = clients_of(self.library, self.work / name)[0]
        return Client(name, [*kit.command, "--mirror", mirror], kit.copy)

    def expected(self) -> list[dict[str, Traffic]]:
        """A first run, and one without news, where there is one address."""
        alone = clients_of(self.library, self.work / "alone")[0]
        return [alone.update(self.server), alone.update(self.server)]

    def test_one_that_is_down_costs_the_other_nothing(self) -> None:
        expected = self.expected()
        with socket.socket() as silent:
            silent.bind(("127.0.0.1", 0))
            # The order is drawn for each run.
            for name in ("a", "b", "c"):
                client = self.client(name, f"http://127.0.0.1:{silent.getsockname()[1]}/lib")
                self.assertEqual([client.update(self.server), client.update(self.server)],
                                 expected)

    def test_each_run_asks_one_of_them(self) -> None:
        expected = self.expected()
        other = self.start("two")
        for name in ("a", "b", "c"):
            client = self.client(name, other.address)
            for run in expected:
                client.run(self.server)
                self.assertCountEqual([self.server.counted(), other.counted()], [run, {}])


if __name__ == "__main__":
    unittest.main()
