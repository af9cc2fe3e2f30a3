"""The goals that results are compared with."""

import dataclasses

from results import MODULE, OURS
from updates import CHANGED, NOTHING

# Of the best peer's wall time and CPU time, by tool, set and scheme.
AIMS = {
    OURS: {
        ("small", "http"): (0.50, 0.50), ("small", "https"): (0.50, 0.50),
        ("medium", "http"): (0.80, 0.80), ("medium", "https"): (0.80, 0.80),
        ("large", "http"): (1.30, None), ("large", "https"): (1.30, None),
        ("large without digests", "http"): (1.05, None),
        ("wan", "http"): (1.00, None), ("wan", "https"): (1.00, None),
        (CHANGED, "http"): (0.10, None),
    },
    MODULE: {
        ("small", "http"): (0.60, 0.60), ("small", "https"): (0.65, 0.65),
        ("medium", "http"): (0.85, 0.90), ("medium", "https"): (0.85, 0.90),
        ("large", "http"): (1.30, 1.10),
        ("wan", "http"): (1.00, None), ("wan", "https"): (1.00, None),
    },
}


@dataclasses.dataclass
class Step:
    """A figure that is aimed at by itself."""

    name: str
    measured: float
    aim: float
    unit: str = ""

    def text(self, figure):
        return f"{figure:,.0f}" if self.unit in ("", "bytes") else f"{figure:.2f} {self.unit}"


def steps(results):
    """The figures that were measured of those."""
    if results.traffic:
        changed, nothing = (results.traffic[work, OURS] for work in (CHANGED, NOTHING))
        yield Step(f"{CHANGED}: requests", changed.requests, 3)
        # Of each answer, the header takes some 250.
        yield Step(f"{CHANGED}: bytes", changed.size, results.least + 1000, "bytes")
        yield Step(f"{NOTHING}: requests", nothing.requests, 1)
        yield Step(f"{NOTHING}: files of the copy read", results.files_read, 0)
        yield Step("plan for 100,000 files", results.plan["wall"], 0.5, "s")
        yield Step("plan for 100,000 files: memory", results.plan["memory"], 100, "MiB")
        yield Step("200 MB in eleven pieces: bytes received", results.cuts, 1.1, "times the body")
        yield Step("commit of 1,000 files", results.commit * 1e3, 50, "ms")
    if results.rows():
        memory = max(results.median(row, OURS, "memory") for row in results.rows())
        yield Step("memory, the most of all sets", memory, 32, "MiB")
