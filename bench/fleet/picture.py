"""Draws docs/cost.svg: peaks and costs by the number of clients."""

from __future__ import annotations

import html
import math
from collections.abc import Sequence

WIDTH, HEIGHT = 860, 330
LEFT, RIGHT, TOP, BOTTOM = 62, 278, 40, 36
STYLE = """
text { font: 12px sans-serif; fill: #1f2328 }
.title { font-weight: bold; font-size: 13px }
.grid { stroke: #d1d9e0; stroke-width: 1 }
.line { fill: none; stroke-width: 2 }
.s0 { stroke: #b3541e } .s1 { stroke: #1b6ca8 } .s2 { stroke: #2e7d4f }
.s3 { stroke: #7a4fa3 } .s4 { stroke: #6e7781 }
.lead { stroke-width: 1; fill: none; opacity: .6 }
.ground { fill: #ffffff }
@media (prefers-color-scheme: dark) {
  text { fill: #e6edf3 }
  .grid { stroke: #30363d }
  .s0 { stroke: #f0883e } .s1 { stroke: #58a6ff } .s2 { stroke: #56d364 }
  .s3 { stroke: #bc8cff } .s4 { stroke: #8b949e }
  .ground { fill: #0d1117 }
}
"""
UNITS = ((1e12, " T"), (1e9, " G"), (1e6, " M"), (1e3, " k"))
Series = Sequence[tuple[str, Sequence[float]]]


def compact(value: float) -> str:
    """1.2 k; with two digits that count, or three."""
    for unit, name in UNITS:
        if value >= unit * 0.9995:
            return f"{value / unit:.3g}{name}"
    return f"{value:.3g}"


def plain(text: str) -> str:
    """Without marks for code."""
    return text.replace("`", "")


class Panel:
    """Lines over the number of clients, both axes in powers of ten, the names beside their ends."""

    def __init__(self, top: int, title: str, sizes: Sequence[int], series: Series) -> None:
        self.top = top
        self.title = title
        self.sizes = sizes
        self.series = series
        values = [value for _, line in series for value in line]
        self.lowest = math.floor(math.log10(min(values)))
        self.highest = math.ceil(math.log10(max(values)))

    def x(self, size: float) -> float:
        first, last = math.log10(self.sizes[0]), math.log10(self.sizes[-1])
        return LEFT + (WIDTH - LEFT - RIGHT) * (math.log10(size) - first) / (last - first)

    def y(self, value: float) -> float:
        part = (math.log10(value) - self.lowest) / (self.highest - self.lowest)
        return self.top + HEIGHT - BOTTOM - (HEIGHT - TOP - BOTTOM) * part

    def grid(self) -> list[str]:
        parts = []
        for power in range(self.lowest, self.highest + 1):
            y = self.y(10.0**power)
            parts.append(f'<line class="grid" x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{y:.1f}" '
                         f'y2="{y:.1f}"/><text x="{LEFT - 6}" y="{y + 4:.1f}" '
                         f'text-anchor="end">{compact(10.0**power)}</text>')
        bottom = self.top + HEIGHT - BOTTOM
        parts += [f'<text x="{self.x(size):.1f}" y="{bottom + 18}" text-anchor="middle">'
                  f'{compact(size)}{" clients" if size == self.sizes[0] else ""}</text>'
                  for size in self.sizes]
        return parts

    def lines(self) -> list[str]:
        parts = []
        for index, (_, line) in enumerate(self.series):
            points = " ".join(f"{self.x(size):.1f},{self.y(value):.1f}"
                              for size, value in zip(self.sizes, line))
            parts.append(f'<polyline class="line s{index}" points="{points}"/>')
        return parts

    def names(self) -> list[str]:
        """Beside the ends of the lines, but not over each other."""
        parts = []
        below = -math.inf
        for index in sorted(range(len(self.series)), key=lambda at: -self.series[at][1][-1]):
            name, line = self.series[index]
            end = self.y(line[-1])
            below = max(end, below + 16)
            x = WIDTH - RIGHT
            parts.append(f'<path class="lead s{index}" d="M{x + 2} {end:.1f} L{x + 14} '
                         f'{below:.1f}"/><text x="{x + 18}" y="{below + 4:.1f}">'
                         f"{html.escape(plain(name))}</text>")
        return parts

    def draw(self) -> list[str]:
        title = f'<text class="title" x="10" y="{self.top + 22}">{html.escape(self.title)}</text>'
        return [title, *self.grid(), *self.lines(), *self.names()]


def draw(sizes: Sequence[int], panels: Sequence[tuple[str, Series]]) -> str:
    """The panels below each other."""
    label = html.escape("; ".join(title for title, _ in panels))
    height = HEIGHT * len(panels)
    parts = [part for index, (title, series) in enumerate(panels)
             for part in Panel(index * HEIGHT, title, sizes, series).draw()]
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
            f'viewBox="0 0 {WIDTH} {height}" role="img" aria-label="{label}">'
            f'<style>{STYLE}</style><rect class="ground" width="100%" height="100%"/>\n'
            + "\n".join(parts) + "\n</svg>\n")
