"""Draws the results: the wall time of every tool relative to that of the best peer, and the other
results relative to their aims."""

import html

from aims import steps
from results import MODULE, OURS

# One colour a tool; told apart in grey, too.
COLOURS = {OURS: "#1b6ca8", MODULE: "#74a9cf", "aria2c": "#8a8a8a", "curl": "#b8b8b8",
           "rclone": "#a0a0a0"}
OTHER_COLOUR = "#cfcfcf"
HIGHEST = 3.0  # Longer bars are cut.
SCALE = 150  # pixels for 1.0
BAR = 13
LEFT = 270
STYLE = ("text{font:13px sans-serif;fill:#24292f}.small{font-size:11px}"
         ".best{stroke:#24292f;stroke-dasharray:4 3}")


class Chart:
    """Bars below each other, in groups with a name."""

    def __init__(self):
        self.parts = []
        self.top = 0

    def bar(self, ratio, text, colour):
        length = min(ratio, HIGHEST) * SCALE
        cut = " …" if ratio > HIGHEST else ""
        self.parts.append(
            f'<rect x="{LEFT}" y="{self.top}" width="{length:.0f}" height="{BAR - 2}" '
            f'fill="{colour}"/><text class="small" x="{LEFT + length + 5:.0f}" '
            f'y="{self.top + BAR - 4}">{html.escape(text)}{cut}</text>')
        self.top += BAR

    def group(self, name, bars):
        middle = self.top + len(bars) * BAR // 2 + 4
        self.parts.append(f'<text x="{LEFT - 8}" y="{middle}" text-anchor="end">'
                          f"{html.escape(name)}</text>")
        for bar in bars:
            self.bar(*bar)
        self.top += 10

    def section(self, title, groups):
        self.parts.append(f'<text x="10" y="{self.top + 18}">{html.escape(title)}</text>')
        self.top += 34
        begin = self.top - 6
        for group in groups:
            self.group(*group)
        one = LEFT + SCALE
        self.parts.append(f'<line class="best" x1="{one}" y1="{begin}" x2="{one}" '
                          f'y2="{self.top}"/>')

    def picture(self, title):
        width, height = LEFT + int(HIGHEST * SCALE) + 130, self.top + 6
        return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
                f'viewBox="0 0 {width} {height}" role="img" aria-label="{html.escape(title)}">'
                f"<style>{STYLE}</style>"
                f'<rect width="100%" height="100%" fill="#ffffff"/>'
                + "\n".join(self.parts) + "</svg>\n")


def groups_of_tools(results):
    for row in results.rows():
        best = results.best_peer(row, "wall")
        if best is None:
            continue
        ratios = ((tool, results.ratio(row, tool, "wall")) for tool in results.tools(row))
        yield " ".join(row), [(ratio, f"{tool} {ratio:.2f}", COLOURS.get(tool, OTHER_COLOUR))
                              for tool, ratio in ratios]


def groups_of_steps(results):
    for step in steps(results):
        ratio = step.measured / step.aim if step.aim else step.measured
        yield step.name, [(ratio, step.text(step.measured), COLOURS[OURS])]


def draw(results):
    chart = Chart()
    title = f"Wall time to that of the best tool other than {OURS}; shorter is better"
    chart.section(title, groups_of_tools(results))
    chart.section("To what is aimed at; shorter is better", groups_of_steps(results))
    return chart.picture(title)
