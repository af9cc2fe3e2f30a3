"""The model of a fleet beside an exact simulation, and beside what can be said without either."""

from __future__ import annotations

import dataclasses
import math
import random
import statistics
import unittest

from exact import simulate_exactly
from figures import FILE, KINDS, LIST, STAMP, Figures, Run, Traffic
from hours import DAY, HOUR, Habit, Hours, binomial, multinomial
from measure import FIGURES
from model import FOREVER, Cdn, Day, Fleet, mirrored, simulate
from report import run_table

ONE_ZONE = ((0.0, 1.0),)
ANY_TIME = Habit(None)
AT_NIGHT = Habit(2.5)
AN_HOUR_LONG = Habit(2.5, delay=HOUR)
UPDATE = Run({STAMP: Traffic(1, 80, 300), LIST: Traffic(1, 90, 50_000),
              FILE: Traffic(5, 500, 60_000)}, new_files=2)
CHECK = Run({STAMP: Traffic(1, 80, 300)})
UNCHANGED = dict.fromkeys(KINDS, Traffic(1, 110, 200))
LIVES = Cdn().lives | {FILE: FOREVER}


def fleet_of(clients: int, habit: Habit = ANY_TIME) -> Fleet:
    return Fleet(clients, habit, ONE_ZONE)


def day_of(fleet: Fleet, cdn: Cdn, run: Run = UPDATE, seed: int = 1) -> Day:
    return simulate(fleet, cdn, run, UNCHANGED, seed)


class Draws(unittest.TestCase):
    """What numbers are drawn."""

    def expect_binomial(self, count: int, chance: float) -> None:
        source = random.Random(7)
        drawn = [binomial(source, count, chance) for _ in range(4000)]
        mean, variance = count * chance, count * chance * (1 - chance)
        self.assertAlmostEqual(statistics.fmean(drawn), mean, delta=4 * math.sqrt(variance / 4000))
        self.assertAlmostEqual(statistics.pvariance(drawn) / variance, 1, delta=0.15)
        self.assertTrue(all(0 <= number <= count for number in drawn))

    def test_binomial_numbers_have_their_mean_and_variance(self) -> None:
        for count, chance in ((1, 0.3), (20, 0.01), (20, 0.97), (1000, 0.02), (1000, 0.4)):
            with self.subTest(count=count, chance=chance):
                self.expect_binomial(count, chance)

    def test_everything_is_dealt_out(self) -> None:
        for count in (0, 1, 999, 10**7):
            dealt = multinomial(random.Random(3), count, [0.1] * 7 + [0.0, 0.3])
            self.assertEqual(sum(dealt), count)
            self.assertEqual(dealt[7], 0)


class RunningHours(unittest.TestCase):
    """When clients run."""

    def test_every_habit_fills_one_day(self) -> None:
        for habit in (ANY_TIME, AT_NIGHT, AN_HOUR_LONG, Habit(23.9, 600, 2 * HOUR)):
            with self.subTest(habit=habit):
                self.assertAlmostEqual(math.fsum(habit.weights(-8)), 1, places=9)

    def test_a_delay_spreads_evenly(self) -> None:
        weights = AN_HOUR_LONG.weights(0)
        begin = int(2.5 * HOUR)
        self.assertAlmostEqual(math.fsum(weights[begin:begin + HOUR // 2]), 0.5, places=3)
        self.assertAlmostEqual(weights[begin + HOUR // 4], 1 / HOUR, places=9)

    def test_zones_run_by_their_own_clock(self) -> None:
        weights = AT_NIGHT.weights(-8)
        self.assertAlmostEqual(max(range(DAY), key=weights.__getitem__), 10.5 * HOUR, delta=1)

    def test_what_passes_midnight_comes_in_the_morning(self) -> None:
        weights = Habit(23.5, delay=HOUR).weights(0)
        self.assertAlmostEqual(math.fsum(weights[:HOUR]), 0.5, places=3)

    def test_shares_and_seconds_are_inverse(self) -> None:
        hours = Hours(Habit(9, HOUR).weights(0))
        for share in (0.001, 0.3, 0.5, 0.999):
            self.assertAlmostEqual(hours.share_before(hours.second_at(share)), share, places=9)


class OneClient(unittest.TestCase):
    """What a single client asks for is what was measured."""

    def test_the_edge_sees_the_run(self) -> None:
        for run in (UPDATE, CHECK):
            self.assertEqual(day_of(fleet_of(1), Cdn(), run).edge.total, run.total())

    def test_the_origin_sees_what_is_new_once(self) -> None:
        for shield in (False, True):
            origin = day_of(fleet_of(1), Cdn(shield=shield, lives=LIVES)).origin.total
            new = UPDATE.parts[STAMP] + UPDATE.parts[LIST] + UPDATE.parts[FILE].share(2)
            self.assertEqual(origin, new)

    def test_the_origin_is_asked_whether_the_rest_is_good(self) -> None:
        origin = day_of(fleet_of(1), Cdn()).origin.total
        new = UPDATE.parts[STAMP] + UPDATE.parts[LIST] + UPDATE.parts[FILE].share(2)
        self.assertEqual(origin, new + UNCHANGED[FILE].times(3))


class ManyClients(unittest.TestCase):
    """What follows without any draw."""

    def test_a_copy_that_is_never_good_passes_every_question_on(self) -> None:
        lives = dict.fromkeys(LIVES, 0.0)
        for shield in (False, True):
            day = day_of(fleet_of(10**5), Cdn(lives=lives, shield=shield))
            self.assertEqual(day.origin.total.requests, day.edge.total.requests)

    def test_a_copy_that_is_good_forever_is_asked_for_once_a_place(self) -> None:
        lives = dict.fromkeys(LIVES, FOREVER)
        new = UPDATE.parts[STAMP] + UPDATE.parts[LIST] + UPDATE.parts[FILE].share(2)
        for shield, askers in ((False, 10), (True, 1)):
            day = day_of(fleet_of(10**5), Cdn(places=10, lives=lives, shield=shield))
            self.assertEqual(day.origin.total, new.times(askers))

    def test_busy_places_ask_when_a_copy_has_lived_its_life(self) -> None:
        cdn = Cdn(places=10, lives=LIVES)
        self.assertAlmostEqual(day_of(fleet_of(10**7), cdn, CHECK).origin.total.requests,
                               10 * DAY / 60, delta=10 * DAY / 60 * 0.03)

    def test_a_shield_asks_for_all_places(self) -> None:
        cdn = Cdn(places=10, lives=LIVES, shield=True)
        self.assertAlmostEqual(day_of(fleet_of(10**7), cdn, CHECK).origin.total.requests,
                               DAY / 60, delta=DAY / 60 * 0.01)

    def test_a_delay_lowers_the_peak(self) -> None:
        # A normal distribution of one second has 38 % in its middle one.
        at_once = day_of(fleet_of(10**6, AT_NIGHT), Cdn(), CHECK).edge
        spread = day_of(fleet_of(10**6, AN_HOUR_LONG), Cdn(), CHECK).edge
        self.assertAlmostEqual(at_once.second / 10**6, 0.34, delta=0.005)
        self.assertAlmostEqual(at_once.minute, 10**6, delta=1)
        self.assertAlmostEqual(spread.minute, 10**6 / 60, delta=600)

    def test_a_long_run_spreads_its_requests(self) -> None:
        run = Run({STAMP: Traffic(1, 80, 300), FILE: Traffic(9_999, 10**6, 10**9)}, 0)
        fleet = dataclasses.replace(fleet_of(100, AT_NIGHT), bandwidth=10**7)
        self.assertEqual(fleet.seconds(run), 101)
        edge = day_of(fleet, Cdn(), run).edge
        self.assertAlmostEqual(edge.second, 100 * 10_000 / 101, delta=1e-3)
        self.assertAlmostEqual(edge.rate, 100 * (10**9 + 300) / 101, delta=1)

    def test_mirrors_share_the_clients(self) -> None:
        days = mirrored(fleet_of(30_000), Cdn(), CHECK, UNCHANGED, 3)
        requests = [day.edge.total.requests for day in days]
        self.assertEqual(sum(requests), 30_000)
        for part in requests:
            self.assertAlmostEqual(part, 10_000, delta=400)

    def test_the_same_seed_gives_the_same_day(self) -> None:
        first, second, other = (day_of(fleet_of(5_000), Cdn(), seed=seed) for seed in (4, 4, 5))
        self.assertEqual(first, second)
        self.assertNotEqual(first, other)


class BesideTheExactSimulation(unittest.TestCase):
    """The model, which draws only what matters, gives what one object a client gives."""

    ROUNDS = 6

    def expect_alike(self, fleet: Fleet, cdn: Cdn) -> None:
        days = [simulate(fleet, cdn, UPDATE, UNCHANGED, seed) for seed in range(self.ROUNDS)]
        exact = [simulate_exactly(fleet, cdn, UPDATE, UNCHANGED, seed)
                 for seed in range(self.ROUNDS)]
        self.assertEqual({day.edge.total for day in days}, {outcome.edge for outcome in exact})
        for ours, theirs in (
                ([day.origin.total.requests for day in days],
                 [outcome.origin.requests for outcome in exact]),
                ([day.origin.total.sent for day in days],
                 [outcome.origin.sent for outcome in exact]),
                ([day.origin.total.received for day in days],
                 [outcome.origin.received for outcome in exact])):
            # The difference of two means, with what the draws may add to it.
            doubt = math.sqrt((statistics.variance(ours) + statistics.variance(theirs))
                              / self.ROUNDS)
            self.assertAlmostEqual(statistics.fmean(ours), statistics.fmean(theirs),
                                   delta=3.5 * doubt + 1e-9)
            self.assertLess(doubt, 0.03 * statistics.fmean(theirs))

    def test_origin_is_asked_as_often(self) -> None:
        zones = ((0.0, 0.7), (6.0, 0.3))
        for habit in (ANY_TIME, AN_HOUR_LONG):
            for shield in (False, True):
                with self.subTest(habit=habit, shield=shield):
                    self.expect_alike(Fleet(2_000, habit, zones),
                                      Cdn(5, shield, LIVES | {STAMP: 300.0}))

    def test_peaks_are_as_high(self) -> None:
        fleet = fleet_of(2_000, Habit(2.5, delay=60))
        ours = [day_of(fleet, Cdn(5), CHECK, seed).edge.second for seed in range(10)]
        theirs = [simulate_exactly(fleet, Cdn(5), CHECK, UNCHANGED, seed).busiest_second
                  for seed in range(10)]
        self.assertAlmostEqual(statistics.fmean(ours) / statistics.fmean(theirs), 1, delta=0.06)


class Document(unittest.TestCase):
    """What is written about the cost."""

    def test_has_the_figures_that_were_measured(self) -> None:
        text = (FIGURES.parents[2] / "docs" / "cost.md").read_text(encoding="utf-8")
        self.assertIn(run_table(Figures.load(FIGURES)), text)


if __name__ == "__main__":
    unittest.main()
