"""Scenarios are the fleets that the document shows: ways to publish, hours, sizes and prices."""

from __future__ import annotations

import dataclasses
from collections.abc import Iterator

from figures import FILE, KIT, MODULE, NAMED_ANEW, NOTHING, ONE, WHOLE_LIST, Figures, Run
from hours import HOUR, Habit
from model import FOREVER, Cdn, Day, Fleet, Load, mirrored, simulate

SIZES = tuple(10**power for power in range(3, 8))
FLEET = 500_000  # clients, where only one size is shown
DAYS = 30  # in a month
GUIDED = "with `--random-delay 30m`"
HABITS = {
    "at 2:30 in the night": Habit(2.5),
    GUIDED: Habit(2.5, delay=HOUR / 2),
    "with `--random-delay 4h`": Habit(2.5, delay=4 * HOUR),
    "when computers are started": Habit(9, HOUR),
    "at any time": Habit(None),
}


@dataclasses.dataclass(frozen=True)
class Way:
    """A way to publish, for one kind of client: its update, and the caches' lives."""

    name: str
    client: str
    update: str
    file_life: float = 0.0


WAYS = (
    Way("module, all files `always`", MODULE, ONE),
    Way("module, contents under names of their own", MODULE, NAMED_ANEW, FOREVER),
    Way("kit, no list differences", KIT, WHOLE_LIST),
    Way("kit", KIT, ONE),
    Way("kit, contents under names of their own", KIT, NAMED_ANEW, FOREVER),
)
KIT_WAY = WAYS[3]


@dataclasses.dataclass(frozen=True)
class Price:
    """What one who answers requests is paid for it."""

    million_requests: float
    gigabyte: float

    def of(self, load: Load) -> float:
        return (load.total.requests / 1e6 * self.million_requests
                + load.total.received / 1e9 * self.gigabyte)


@dataclasses.dataclass(frozen=True)
class Bill:
    """Example prices, and how often there is a release."""

    cdn: Price = Price(1.0, 0.05)
    store: Price = Price(0.4, 0.01)
    releases: int = 4  # a month, on days of their own

    def day(self, day: Day) -> float:
        return self.cdn.of(day.edge) + self.store.of(day.origin)

    def month(self, release: Day, quiet: Day) -> float:
        return self.releases * self.day(release) + (DAYS - self.releases) * self.day(quiet)


class Scenarios:
    """Simulates on demand, from what was measured."""

    def __init__(self, figures: Figures, places: int, seed: int) -> None:
        self.figures = figures
        self.places = places
        self.seed = seed

    def cdn(self, way: Way, shield: bool = False) -> Cdn:
        """As the guide has its caches."""
        return Cdn(self.places, shield, Cdn().lives | {FILE: way.file_life})

    def run(self, way: Way, kind: str | None = None) -> Run:
        return self.figures.runs[way.client][kind or way.update]

    def day(self, clients: int, way: Way = KIT_WAY, habit: Habit = HABITS[GUIDED],
            kind: str | None = None, shield: bool = False) -> Day:
        """Of a release, or of another kind of run."""
        return simulate(Fleet(clients, habit), self.cdn(way, shield), self.run(way, kind),
                        self.figures.unchanged, self.seed)

    def peaks(self) -> Iterator[tuple[str, list[Load]]]:
        """What is asked of the CDN on the day of a release, for each habit and size."""
        for name, habit in HABITS.items():
            yield name, [self.day(clients, habit=habit).edge for clients in SIZES]

    def costs(self, bill: Bill) -> Iterator[tuple[str, list[float]]]:
        """What a month costs, for each way and size."""
        for way in WAYS:
            yield way.name, [
                bill.month(self.day(clients, way), self.day(clients, way, kind=NOTHING))
                for clients in SIZES]

    def origins(self) -> Iterator[tuple[str, Day, Day]]:
        """What is behind the CDN on the day of a release, and on one without; and the same with one
        more cache before the origin."""
        kinds: list[tuple[str, Way, str | None]] = [(way.name, way, None) for way in WAYS]
        for name, way, kind in [*kinds, ("any, nothing new", KIT_WAY, NOTHING)]:
            yield (name, self.day(FLEET, way, kind=kind),
                   self.day(FLEET, way, kind=kind, shield=True))

    def mirrors(self) -> Iterator[tuple[str, list[Day]]]:
        """Servers of one's own, between which clients of the kit choose."""
        fleet = Fleet(FLEET, HABITS[GUIDED])
        for count in (1, 2, 3):
            yield (f"{count}", mirrored(fleet, self.cdn(KIT_WAY), self.run(KIT_WAY),
                                        self.figures.unchanged, count, self.seed))
