"""Hours say when in a day clients run: by cron, when computers are started, or at any time.

A day begins with a release, and its end is joined to its beginning: what is requested after
midnight counts for the morning of the same day.
"""

from __future__ import annotations

import bisect
import dataclasses
import functools
import itertools
import math
import random
from collections.abc import Sequence

DAY = 86_400
HOUR = 3_600

# Above this mean a binomial number is drawn as a normal one.
MANY = 30.0


def binomial(source: random.Random, count: int, chance: float) -> int:
    """How many of `count` things happen, each with the same chance."""
    if count <= 0 or chance <= 0:
        return 0
    if chance >= 1:
        return count
    if chance > 0.5:
        return count - binomial(source, count, 1 - chance)
    mean = count * chance
    if mean > MANY:
        drawn = round(source.gauss(mean, math.sqrt(mean * (1 - chance))))
        return min(max(drawn, 0), count)
    left = source.random()
    probability = math.exp(count * math.log1p(-chance))
    happened = 0
    while left > probability and happened < count:
        left -= probability
        probability *= (count - happened) / (happened + 1) * chance / (1 - chance)
        happened += 1
    return happened


def multinomial(source: random.Random, count: int, weights: Sequence[float]) -> list[int]:
    """`count` things dealt out by weight."""
    left = math.fsum(weights)
    counts = []
    for weight in weights:
        drawn = binomial(source, count, weight / left) if weight > 0 else 0
        counts.append(drawn)
        count -= drawn
        # Rounding must not leave something for nobody.
        left = max(left - weight, weight * 1e-12)
    if count:
        counts[max(range(len(weights)), key=weights.__getitem__)] += count
    return counts


def _integral(second: float, spread: float) -> float:
    """Of the normal distribution's cumulative one, up to `second`."""
    scaled = second / spread
    density = math.exp(-scaled * scaled / 2) / math.sqrt(2 * math.pi)
    return second * (1 + math.erf(scaled / math.sqrt(2))) / 2 + spread * density


def _share_before(second: float, spread: float, delay: float) -> float:
    """Of clients that begin around 0, and wait up to `delay` seconds, each as long as it draws."""
    if delay == 0:
        return (1 + math.erf(second / spread / math.sqrt(2))) / 2
    return (_integral(second, spread) - _integral(second - delay, spread)) / delay


@dataclasses.dataclass(frozen=True)
class Habit:
    """When the clients of a time zone run, by their own clock."""

    hour: float | None  # around which they run; None is any time
    spread: float = 1.0  # standard deviation, seconds
    delay: float = 0.0  # up to which they wait before they ask, seconds

    def weights(self, zone: float) -> list[float]:
        """The share of each second of the day, for clients whose clock is `zone` hours ahead."""
        weights = _weights(self)
        ahead = round(zone * HOUR) % DAY
        return weights[ahead:] + weights[:ahead]


@functools.lru_cache(maxsize=64)
def _weights(habit: Habit) -> list[float]:
    """For clocks that show UTC."""
    if habit.hour is None:
        return [1 / DAY] * DAY
    middle = habit.hour * HOUR
    # What the distribution has beyond a day belongs to the day before or after.
    upto = [math.fsum(_share_before(second + around - middle, habit.spread, habit.delay)
                      for around in (-DAY, 0, DAY))
            for second in range(DAY + 1)]
    return [after - before for before, after in itertools.pairwise(upto)]


class Hours:
    """The hours of one place, to draw from."""

    def __init__(self, weights: Sequence[float]) -> None:
        total = math.fsum(weights)
        self._upto = [0.0, *(share / total for share in itertools.accumulate(weights))]

    def share_before(self, second: float) -> float:
        """The share of the runs that have begun by then."""
        if second >= DAY:
            return 1.0
        whole = int(second)
        before, after = self._upto[whole], self._upto[whole + 1]
        return min(before + (after - before) * (second - whole), 1.0)

    def second_at(self, share: float) -> float:
        """When that share of the runs has begun."""
        whole = min(max(bisect.bisect_right(self._upto, share) - 1, 0), DAY - 1)
        before, after = self._upto[whole], self._upto[whole + 1]
        return whole + (min((share - before) / (after - before), 1.0) if after > before else 0.0)
