"""The figures of one client, measured and simulated, beside what nginx logs of another run."""

from __future__ import annotations

import os
import pathlib
import tempfile
import unittest

from figures import FILE, FIRST, KIT, MODULE, NAMED_ANEW, NOTHING, ONE, Figures, Traffic
from hours import Habit
from measure import Library, clients_of, measure
from model import Cdn, Fleet, simulate
from server import nginx

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


if __name__ == "__main__":
    unittest.main()
