"""An exact fleet: an object for each client and each copy in a cache, to compare the model with."""

from __future__ import annotations

import dataclasses
import math
import random
from collections import Counter
from collections.abc import Mapping

from figures import Run, Traffic
from hours import Hours
from model import Cdn, Fleet


@dataclasses.dataclass
class Cache:
    """A place of the CDN, or the shield that all of them ask."""

    lives: Mapping[str, float]
    upstream: Cache | None
    good_until: dict[tuple[str, int], float] = dataclasses.field(default_factory=dict)
    asked: list[tuple[str, int, bool]] = dataclasses.field(default_factory=list)

    def ask(self, document: tuple[str, int], second: float) -> float:
        """Until when the copy is good that it answers with."""
        kind, number = document
        had = document in self.good_until
        if not had or second >= self.good_until[document]:
            if self.upstream:
                self.good_until[document] = self.upstream.ask(document, second)
            else:
                self.asked.append((kind, number, not had))
                self.good_until[document] = second + self.lives[kind]
        return self.good_until[document]


@dataclasses.dataclass
class Outcome:
    """What the edge and the origin were asked for."""

    edge: Traffic
    origin: Traffic
    busiest_second: int  # by runs that begin in it


def simulate_exactly(fleet: Fleet, cdn: Cdn, run: Run, unchanged: Mapping[str, Traffic],
                     seed: int) -> Outcome:
    """As the model does it, but every client draws its place and time, and asks by itself."""
    source = random.Random(f"exact {seed}")
    shares = list(cdn.shares(fleet.zones))
    hours = [Hours(fleet.habit.weights(ahead)) for ahead, _ in fleet.zones]
    documents = [(kind, number) for kind, part in run.parts.items()
                 for number in range(part.requests)]
    shield = Cache(cdn.lives, None) if cdn.shield else None
    places = [Cache(cdn.lives, shield) for _ in shares]
    for cache in [*places, *([shield] if shield else [])]:
        # What is not new was asked for the day before.
        cache.good_until = {
            (kind, number): math.inf if math.isinf(cdn.lives[kind]) else -1.0
            for kind, number in documents if number >= run.new(kind)}
    begins = []
    for _ in range(fleet.clients):
        (index,) = source.choices(range(len(shares)), [share for _, share in shares])
        begins.append((hours[shares[index][0]].second_at(source.random()), index))
    begins.sort()
    for second, index in begins:
        for document in documents:
            places[index].ask(document, second)
    origin = Traffic()
    for cache in [shield] if shield else places:
        for kind, _, first in cache.asked:
            origin += run.parts[kind].share(1) if first else unchanged[kind]
    busiest = max(Counter(int(second) for second, _ in begins).values())
    return Outcome(run.total().times(fleet.clients), origin, busiest)
