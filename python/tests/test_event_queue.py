"""The bounds of the queue between a run and its caller."""

from __future__ import annotations

from typing import List, Union

from mtllib import Event, Progress
from mtllib._event_queue import EventQueue


class _Queue(EventQueue):
    """Counts its announcements."""

    def __init__(self) -> None:
        super().__init__(self._count)
        self.announcements = 0

    def _count(self) -> None:
        self.announcements += 1

    def take_all(self) -> List[Union[Progress, Event, None]]:
        return [self.take() for _ in range(self.announcements)]


def _stage(number: int) -> Event:
    return Event("stage", str(number))


def test_progress_that_follows_progress_of_its_phase_takes_its_place() -> None:
    queue = _Queue()
    for permille in range(3):
        queue.put(Progress("a", permille))
    queue.put(_stage(1))
    queue.put(Progress("a", 3))
    queue.put(None)
    assert queue.take_all() == [Progress("a", 2), _stage(1), Progress("a", 3), None]
    assert queue.skipped == 0


def test_every_phase_is_told() -> None:
    queue = _Queue()
    queue.put(Progress("a"))
    queue.put(Progress("b"))
    assert queue.take_all() == [Progress("a"), Progress("b")]


def test_the_oldest_stages_give_way_when_it_is_full() -> None:
    queue = _Queue()
    for number in range(EventQueue.CAPACITY + 2):
        queue.put(_stage(number))
    taken = queue.take_all()
    assert len(taken) == EventQueue.CAPACITY
    assert taken[0] == _stage(2)
    assert queue.skipped == 2


def test_files_give_way_and_the_plan_stays() -> None:
    queue = _Queue()
    plan = Event("plan", "")
    queue.put(plan)
    for number in range(EventQueue.CAPACITY + 1):
        queue.put(Event("file", str(number)))
    taken = queue.take_all()
    assert taken[:2] == [plan, Event("file", "2")]
    assert queue.skipped == 2


def test_warnings_and_errors_stay() -> None:
    queue = _Queue()
    kept = [Event("warning", "w"), Event("error", "e")]
    for event in kept:
        queue.put(event)
    for number in range(EventQueue.CAPACITY):
        queue.put(_stage(number))
    queue.put(None)
    taken = queue.take_all()
    assert taken[:2] == kept
    assert taken[2] == _stage(3)
    assert taken[-1] is None


def test_even_warnings_have_a_bound() -> None:
    queue = _Queue()
    for number in range(EventQueue.CAPACITY + 1):
        queue.put(Event("warning", str(number)))
    assert queue.take_all()[0] == Event("warning", "1")
