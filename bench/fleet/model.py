"""A Day has what a fleet of clients requests from a CDN in a day, and the CDN from its origin.

Clients are not simulated one by one: how many begin in each second is drawn, and so are the
moments when a location of the CDN has to ask. Only these depend on what came before, and there are
no more of them than the life of a copy allows, so that ten million clients take as long as ten
thousand.

Assumptions: a location keeps what it has fetched for the day, lets clients wait while it asks for
what they want, and answers at once; every client uses its nearest location, and runs once a day.
"""

from __future__ import annotations

import dataclasses
import heapq
import itertools
import math
import random
from collections.abc import Iterator, Mapping, Sequence

from figures import FILE, KINDS, STAMP, Run, Traffic
from hours import DAY, Habit, Hours, binomial, multinomial

FOREVER = math.inf
MINUTE = 60

# Hours that clocks are ahead of UTC, and the share of the clients that live by them.
ZONES = ((-8.0, 0.15), (-5.0, 0.20), (1.0, 0.40), (8.0, 0.25))


@dataclasses.dataclass(frozen=True)
class Fleet:
    """The clients, all of one kind."""

    clients: int
    habit: Habit
    zones: tuple[tuple[float, float], ...] = ZONES
    round_trip: float = 0.05  # seconds
    bandwidth: float = 50e6 / 8  # bytes a second of one client
    connections: int = 5  # of one client

    def seconds(self, run: Run) -> int:
        """How long the run takes, over which its requests are spread."""
        files = run.parts.get(FILE, Traffic()).requests
        documents = run.total().requests - files
        trips = 1 + documents + math.ceil(files / self.connections)
        transfer = run.total().received / self.bandwidth
        return max(1, math.ceil(max(trips * self.round_trip, transfer)))


@dataclasses.dataclass(frozen=True)
class Cdn:
    """Caches in many places, and how long they answer by themselves."""

    places: int = 100  # about: each time zone has one at least
    shield: bool = False  # whether they ask one more cache instead of the origin
    # Seconds by kind of document; 0 asks the origin each time whether the copy is still good.
    lives: Mapping[str, float] = dataclasses.field(
        default_factory=lambda: dict.fromkeys(KINDS, 0.0) | {STAMP: float(MINUTE)})

    def shares(self, zones: Sequence[tuple[float, float]]) -> Iterator[tuple[int, float]]:
        """The zone of each place, and its share of all clients: of those of a zone, the second has
        half as many as the first, the third a third."""
        total = math.fsum(share for _, share in zones)
        for zone, (_, share) in enumerate(zones):
            ranks = range(1, max(1, round(self.places * share / total)) + 1)
            whole = math.fsum(1 / rank for rank in ranks)
            for rank in ranks:
                yield zone, share / total / rank / whole


@dataclasses.dataclass(frozen=True)
class Load:
    """What a server, or all places of a CDN together, had to answer."""

    total: Traffic = Traffic()
    second: float = 0  # requests in the busiest one
    minute: float = 0  # requests in the busiest sixty seconds
    rate: float = 0  # bytes of answers in the busiest second


@dataclasses.dataclass(frozen=True)
class Day:
    edge: Load  # what clients ask the CDN for, or the server where there is none
    origin: Load  # what the CDN asks the server for


class Meter:
    """Counts requests by the second."""

    def __init__(self) -> None:
        self._total = Traffic()
        # What begins less what ends in each second.
        self._requests = [0.0] * DAY
        self._received = [0.0] * DAY

    def add(self, second: int, traffic: Traffic, lasting: int) -> None:
        """Traffic that is spread evenly over the seconds from `second` on."""
        self._total += traffic
        for series, amount in ((self._requests, traffic.requests),
                               (self._received, traffic.received)):
            series[second] += amount / lasting
            end = second + lasting
            series[end % DAY] -= amount / lasting
            if end >= DAY:
                series[0] += amount / lasting

    def load(self) -> Load:
        requests = list(itertools.accumulate(self._requests))
        upto = list(itertools.accumulate(requests + requests[:MINUTE], initial=0.0))
        minutes = (after - before for before, after in zip(upto, upto[MINUTE:]))
        return Load(self._total, max(requests), max(minutes),
                    max(itertools.accumulate(self._received)))


class Place:
    """The runs of one place that are still to come, drawn one by one as far as they matter."""

    def __init__(self, source: random.Random, hours: Hours, clients: int) -> None:
        self._source = source
        self._hours = hours
        self._left = clients
        self._share = 0.0  # of the day that is over

    def next(self) -> float | None:
        """When the next one begins, or None after the last."""
        if not self._left:
            return None
        # The least of so many even draws from what is left of the day.
        least = 1 - (1 - self._source.random()) ** (1 / self._left)
        self._share += (1 - self._share) * least
        self._left -= 1
        return self._hours.second_at(self._share)

    def skip_to(self, second: float) -> None:
        """Passes over those that begin before."""
        share = self._hours.share_before(second)
        if share > self._share:
            chance = (share - self._share) / (1 - self._share)
            self._left -= binomial(self._source, self._left, chance)
            self._share = share


@dataclasses.dataclass(frozen=True)
class Question:
    """A moment in which the origin is asked for a document, or whether it is still the same."""

    second: int
    first: bool  # by this asker


def questions(places: Sequence[Place], life: float, shield: bool) -> Iterator[Question]:
    """For a document for which every run asks once, and that is good for `life` seconds."""
    waiting = [(second, index) for index, place in enumerate(places)
               if (second := place.next()) is not None]
    heapq.heapify(waiting)
    asked_before: set[int] = set()
    good_until = -1.0  # what the shield has
    while waiting:
        second, index = heapq.heappop(waiting)
        if not shield or second >= good_until:
            asker = 0 if shield else index
            yield Question(int(second), asker not in asked_before)
            asked_before.add(asker)
            good_until = second + life
        # What comes from the shield has the age that it had there.
        if math.isinf(good_until):
            continue
        places[index].skip_to(good_until)
        following = places[index].next()
        if following is not None:
            heapq.heappush(waiting, (following, index))


class _Population:
    """Where and when the clients of a fleet begin."""

    def __init__(self, source: random.Random, fleet: Fleet, cdn: Cdn) -> None:
        self._source = source
        self._hours = [Hours(fleet.habit.weights(zone)) for zone, _ in fleet.zones]
        shares = list(cdn.shares(fleet.zones))
        counts = multinomial(source, fleet.clients, [share for _, share in shares])
        self._places = [(zone, count) for (zone, _), count in zip(shares, counts) if count]
        self.starts = [0] * DAY  # runs that begin in each second
        for zone, (ahead, _) in enumerate(fleet.zones):
            count = sum(clients for where, clients in self._places if where == zone)
            drawn = multinomial(source, count, fleet.habit.weights(ahead))
            for second, runs in enumerate(drawn):
                self.starts[second] += runs

    def places(self) -> list[Place]:
        return [Place(self._source, self._hours[zone], count) for zone, count in self._places]


def simulate(fleet: Fleet, cdn: Cdn, run: Run, unchanged: Mapping[str, Traffic],
             seed: int = 1) -> Day:
    """A day in which every client of the fleet does such a run once; what is new was published as
    the day began. `unchanged` is what it takes to ask whether a copy is good, by kind of document."""
    source = random.Random(seed)
    population = _Population(source, fleet, cdn)
    lasting = fleet.seconds(run)
    edge, origin = Meter(), Meter()
    for second, runs in enumerate(population.starts):
        if runs:
            edge.add(second, run.total().times(runs), lasting)
    for kind, asked in run.parts.items():
        _ask_origin(origin, population, cdn, run, kind, unchanged[kind], lasting)
    return Day(edge.load(), origin.load())


def _ask_origin(origin: Meter, population: _Population, cdn: Cdn, run: Run, kind: str,
                unchanged: Traffic, lasting: int) -> None:
    """Counts what the caches ask for documents of that kind."""
    documents = run.parts[kind].requests
    new = run.new(kind)
    life = cdn.lives[kind]
    whole = run.parts[kind].share(new)
    # A copy that is asked for each time is a question of every run; only the first differ.
    if life == 0:
        for second, runs in enumerate(population.starts):
            if runs:
                origin.add(second, unchanged.times(documents * runs), lasting)
    for question in questions(population.places(), life or FOREVER, cdn.shield):
        if life == 0:
            traffic = whole - unchanged.times(new) if question.first else Traffic()
        elif math.isinf(life):
            traffic = whole
        elif question.first:
            traffic = whole + unchanged.times(documents - new)
        else:
            traffic = unchanged.times(documents)
        origin.add(question.second, traffic, lasting)


def mirrored(fleet: Fleet, cdn: Cdn, run: Run, unchanged: Mapping[str, Traffic], mirrors: int,
             seed: int = 1) -> list[Day]:
    """The same for each of some mirrors, of which every client takes one by chance."""
    counts = multinomial(random.Random(seed), fleet.clients, [1.0] * mirrors)
    return [simulate(dataclasses.replace(fleet, clients=count), cdn, run, unchanged, seed + index)
            for index, count in enumerate(counts)]
