"""Draws ratios with their spread and their goals on a logarithmic axis, as SVG."""

import html
import math

WIDTH = 1000
LEFT, RIGHT = 430, 800  # of the axis; the texts are on both sides
ROW, GAP, TOP, BOTTOM = 22, 12, 92, 40

STYLE = """
svg { --page: #ffffff; --text: #1f2328; --faint: #59636e; --grid: #e4e7eb; --even: #8c959f; --bar: #a8c7f0;
      --mark: #0b5cc4; --goal: #b35900; }
@media (prefers-color-scheme: dark) {
  svg { --page: #0d1117; --text: #e6edf3; --faint: #9198a1; --grid: #21262d; --even: #656c76; --bar: #274b7a;
        --mark: #6cb0ff; --goal: #f0a04b; }
}
text { font: 13px system-ui, sans-serif; fill: var(--text); }
.title { font-size: 17px; font-weight: 600; }
.work { font-weight: 600; }
.faint { fill: var(--faint); }
.page { fill: var(--page); }
.grid { stroke: var(--grid); }
.even { stroke: var(--even); }
.bar { stroke: var(--bar); stroke-width: 6; stroke-linecap: round; }
.mark { fill: var(--mark); stroke: var(--mark); stroke-width: 2; }
.missed { fill: var(--page); }
.goal { stroke: var(--goal); stroke-width: 2.5; }
"""


def speeds(row):
    """Returns least, median, most and goal as speeds of ours in units of the other's; the goal may be 0."""
    if row["ratio"] == "speed":
        return row["least"], row["median"], row["most"], row["goal"]
    return 1 / row["most"], 1 / row["median"], 1 / row["least"], 1 / row["goal"] if row["goal"] else 0


class Axis:
    """Places values between whole powers of ten that include all of them and 1."""

    def __init__(self, values):
        logs = [math.log10(value) for value in values] + [0]
        self.first = math.floor(min(logs))
        self.last = max(math.ceil(max(logs)), self.first + 1)

    def place(self, value):
        part = (math.log10(value) - self.first) / (self.last - self.first)
        return round(LEFT + part * (RIGHT - LEFT), 1)

    def ticks(self):
        """Returns pairs of a value and whether it has a label."""
        powers = range(self.first, self.last + 1)
        steps = (1, 2, 5) if len(powers) <= 4 else (1,)
        return [(10.0**power * step, step == 1 or len(powers) <= 3) for power in powers for step in steps
                if power < self.last or step == 1]


def number(value):
    if value >= 100:
        return f"{value:.0f}"
    return f"{value:.2f}" if value >= 0.1 else f"{value:.2g}"


def tick_text(value):
    return f"{value:g}" if 1e-3 <= value < 1e5 else f"10^{round(math.log10(value))}"


def text(x, y, content, kind="", anchor="start"):
    style = f' class="{kind}"' if kind else ""
    return f'<text x="{x}" y="{y}" text-anchor="{anchor}"{style}>{html.escape(content)}</text>'


def line(x1, y1, x2, y2, kind):
    return f'<line x1="{x1}" y1="{y1}" x2="{x2}" y2="{y2}" class="{kind}"/>'


def shortened(content, most):
    return content if len(content) <= most else content[: most - 1].rstrip() + "…"


def draw_row(axis, row, y):
    least, median, most, goal = speeds(row)
    middle = y - 4
    parts = [text(LEFT - 14, y, "beside " + shortened(row["rival"], 52), "faint", "end"),
             line(axis.place(least), middle, axis.place(most), middle, "bar")]
    missed = goal != 0 and median < goal
    if goal != 0:
        parts.append(line(axis.place(goal), middle - 9, axis.place(goal), middle + 9, "goal"))
    kind = "mark missed" if missed else "mark"
    parts.append(f'<circle cx="{axis.place(median)}" cy="{middle}" r="4.5" class="{kind}"/>')
    parts.append(text(RIGHT + 14, y, number(median) + (f", goal {number(goal)}" if goal else "") +
                      (", missed" if missed else "")))
    tooltip = f"{row['work']}, beside {row['rival']}: {number(median)} ({number(least)} to {number(most)})"
    return f"<g><title>{html.escape(tooltip)}</title>{''.join(parts)}</g>"


def draw_axis(axis, bottom):
    parts = []
    for value, labelled in axis.ticks():
        x = axis.place(value)
        parts.append(line(x, TOP - 8, x, bottom, "even" if value == 1 else "grid"))
        if labelled:
            parts += [text(x, place, tick_text(value), "faint", "middle") for place in (TOP - 14, bottom + 18)]
    return parts


def chart(results):
    """`results` are pairs of a program's name and its rows, as contests write them."""
    rows = [row for _, all_rows in results for row in all_rows]
    axis = Axis([value for row in rows for value in speeds(row) if value])
    drawn = []
    y = TOP
    for _, all_rows in results:
        previous = None
        for row in all_rows:
            if row["work"] != previous:
                y += GAP if drawn else 0
                drawn.append(text(16, y + 8, shortened(row["work"], 58), "work"))
                y += ROW
                previous = row["work"]
            drawn.append(draw_row(axis, row, y + 8))
            y += ROW
    height = y + BOTTOM
    head = [f'<rect width="{WIDTH}" height="{height}" class="page"/>', text(16, 28, "Speed in units of the other's", "title"),
            text(16, 48, "Right of 1 is faster. Dot: median; bar: spread of the rounds; upright line: goal; "
                         "a hollow dot missed its goal.", "faint")]
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" width="{WIDTH}" height="{height}" '
            f'role="img" aria-label="Speed of each piece of work in units of the other\'s">\n<style>{STYLE}</style>\n'
            + "\n".join(head + draw_axis(axis, y) + drawn) + "\n</svg>\n")
