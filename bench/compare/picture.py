"""The results as a picture: the wall time of every tool to that of the best peer."""

import html

from results import OURS

# One colour a tool, ours first; told apart in grey, too.
COLOURS = ("#1b6ca8", "#8a8a8a", "#b8b8b8", "#a0a0a0", "#cfcfcf")
HIGHEST = 3.0  # Longer bars are cut.
SCALE = 150  # pixels for 1.0
BAR = 13
LEFT = 110
STYLE = ("text{font:13px sans-serif;fill:#24292f}.small{font-size:11px}"
         ".best{stroke:#24292f;stroke-dasharray:4 3}")


def bar(results, row, tool, colour, top):
    ratio = results.median(row, tool, "wall") / results.median(
        row, results.best_peer(row, "wall"), "wall")
    length = min(ratio, HIGHEST) * SCALE
    cut = " …" if ratio > HIGHEST else ""
    return (f'<rect x="{LEFT}" y="{top}" width="{length:.0f}" height="{BAR - 2}" fill="{colour}"/>'
            f'<text class="small" x="{LEFT + length + 5:.0f}" y="{top + BAR - 4}">'
            f"{html.escape(tool)} {ratio:.2f}{cut}</text>")


def draw(results):
    tools = results.tools()
    parts = []
    top = 34
    for row in results.rows():
        middle = top + len(tools) * BAR // 2 + 4
        parts.append(f'<text x="{LEFT - 8}" y="{middle}" text-anchor="end">'
                     f"{html.escape(' '.join(row))}</text>")
        for tool, colour in zip(tools, COLOURS):
            parts.append(bar(results, row, tool, colour, top))
            top += BAR
        top += 10
    width = LEFT + int(HIGHEST * SCALE) + 110
    best = LEFT + SCALE
    title = f"Wall time to that of the best tool other than {OURS}; shorter is better"
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{top + 6}" '
            f'viewBox="0 0 {width} {top + 6}" role="img" aria-label="{html.escape(title)}">'
            f"<style>{STYLE}</style>"
            f'<rect width="100%" height="100%" fill="#ffffff"/>'
            f'<text x="10" y="18">{html.escape(title)}</text>'
            + "\n".join(parts)
            + f'\n<line class="best" x1="{best}" y1="28" x2="{best}" y2="{top}"/></svg>\n')
