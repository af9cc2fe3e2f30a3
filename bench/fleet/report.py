"""Formats the results of the scenarios as tables, and writes docs/cost.md."""

from __future__ import annotations

import pathlib
from collections.abc import Iterable, Sequence

from figures import FIRST, KIT, LIST, MODULE, PACKED_LIST, Figures, Traffic
from picture import compact, draw
from scenarios import FLEET, SIZES, Bill, Scenarios

TEMPLATE = pathlib.Path(__file__).with_name("cost.md.in")
SHOWN = 4  # ways to publish in the picture; the others would lie on these lines


def money(value: float) -> str:
    return f"{value:,.0f}" if value >= 100 else f"{value:.2f}"


def table(head: Sequence[str], rows: Iterable[Sequence[str]]) -> str:
    lines = [head, ["---"] * len(head), *rows]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)


def run_table(figures: Figures) -> str:
    """What one client asks for."""
    def cells(traffic: Traffic) -> list[str]:
        return [f"{traffic.requests:,}", f"{traffic.sent:,}", f"{traffic.received:,}"]
    return table(["client", "run", "requests", "bytes sent", "bytes received"],
                 [[client, kind, *cells(run.total())]
                  for client, runs in figures.runs.items() for kind, run in runs.items()])


def size_table(first: str, rows: Iterable[tuple[str, Sequence[str]]]) -> str:
    return table([first, *(f"{size:,}" for size in SIZES)],
                 [[name, *cells] for name, cells in rows])


def origin_table(scenarios: Scenarios) -> str:
    return table(["", "CDN: requests", "bytes", "origin: requests", "busiest second", "bytes",
                  "with one more cache: requests", "bytes"],
                 [[name, compact(day.edge.total.requests), compact(day.edge.total.received) + "B",
                   compact(day.origin.total.requests), compact(day.origin.second),
                   compact(day.origin.total.received) + "B",
                   compact(shielded.origin.total.requests),
                   compact(shielded.origin.total.received) + "B"]
                  for name, day, shielded in scenarios.origins()])


def mirror_table(scenarios: Scenarios) -> str:
    return table(["servers", "requests a server", "busiest second", "busiest minute",
                  "most bits a second"],
                 [[name, compact(max(day.edge.total.requests for day in days)),
                   compact(max(day.edge.second for day in days)),
                   compact(max(day.edge.minute for day in days)),
                   compact(8 * max(day.edge.rate for day in days)) + "bit/s"]
                  for name, days in scenarios.mirrors()])


def document(scenarios: Scenarios, bill: Bill) -> tuple[str, str]:
    """The text, and its picture."""
    figures = scenarios.figures
    peaks = list(scenarios.peaks())
    costs = list(scenarios.costs(bill))
    text = TEMPLATE.read_text(encoding="utf-8").format(
        program=figures.program, files=figures.files, size=figures.size / 1e6,
        list=figures.runs[MODULE][FIRST].parts[LIST].received / 1e6,
        packed=figures.runs[KIT][FIRST].parts[PACKED_LIST].received / 1e6,
        places=scenarios.places, fleet=FLEET, bill=bill,
        runs=run_table(figures),
        seconds=size_table("clients run", ((name, [compact(load.second) for load in loads])
                                           for name, loads in peaks)),
        minutes=size_table("clients run", ((name, [compact(load.minute) for load in loads])
                                           for name, loads in peaks)),
        origins=origin_table(scenarios), mirrors=mirror_table(scenarios),
        costs=size_table("clients", ((name, [money(cost) for cost in line])
                                     for name, line in costs)))
    picture = draw(SIZES, [
        ("Requests in the busiest second after a release, by when clients run",
         [(name, [load.second for load in loads]) for name, loads in peaks]),
        (f"A month with {bill.releases} releases, in dollars at example prices", costs[:SHOWN])])
    return text, picture
