"""Draws a screen as an SVG picture. Readers can select its text. Typed keys are drawn as key caps. The
background suits light and dark pages."""

import re
from itertools import groupby
from xml.sax.saxutils import escape

from guides.screens import COLUMNS, wrapped

CELL = 8.4  # the width of a column in pixels; text of any font is stretched to it
LINE = 19
MARGIN = 22
HEADER = 38

STYLE = """
text { font: 14px ui-monospace, "DejaVu Sans Mono", Menlo, Consolas, monospace; fill: #d6deea;
       white-space: pre }
.head { font: 600 13px system-ui, "DejaVu Sans", sans-serif; fill: #aebdd0 }
.title { fill: #ffffff; font-weight: 700 }
.rule { fill: #71839b }
.number { fill: #7cc4ff }
.value { fill: #a9e5bb }
.key { fill: #1b2430; font-weight: 700 }
.enter { font-size: 11px; font-weight: 700; fill: #ffd166 }
"""

# Each entry has a pattern for a line, and a style for each group of the pattern. The first pattern that
# matches a line is used.
LINE_PARTS = (
    (r"(-{78})", ("rule",)),
    (r"(-+)( \S.*\S )(-+)", ("rule", "title", "rule")),
    (r"( ?\d+\.  )(.*\S +:  )(.+)", ("number", "", "value")),
    (r"( ?\d+\.  )(.+)", ("number", "")),
    (r"(     \S.* +:  )(.+)", ("", "value")),
)


def styles_of(row):
    """Returns a style for each cell of a row."""
    text = "".join(c for _, c in row)
    if all(kind == "out" for kind, _ in row):
        for pattern, names in LINE_PARTS:
            if match := re.fullmatch(pattern, text):
                return [name for name, part in zip(names, match.groups()) for _ in part]
    return [kind if kind != "out" else "" for kind, _ in row]


def number(value):
    return f"{value:.1f}".removesuffix(".0")


def draw_row(row, baseline):
    caps, spans = [], []
    column = 0
    for style, cells in groupby(zip(styles_of(row), row), key=lambda pair: pair[0]):
        text = "".join(c for _, (_, c) in cells)
        left = MARGIN + column * CELL
        column += len(text)
        if style == "enter":
            caps.append(f'<rect x="{number(left + 5)}" y="{number(baseline - 13.5)}" width="46"'
                        f' height="17" rx="4" fill="none" stroke="#ffd166"/>')
            spans.append(f'<tspan class="enter" x="{number(left + 11)}" dy="-0.5">Enter</tspan>')
            continue
        if style == "key":
            caps.append(f'<rect x="{number(left - 2.5)}" y="{number(baseline - 13.5)}"'
                        f' width="{number(len(text) * CELL + 5)}" height="17" rx="4" fill="#ffd166"/>')
        name = f' class="{style}"' if style else ""
        spans.append(f'<tspan{name} x="{number(left)}" textLength="{number(len(text) * CELL)}">'
                     f"{escape(text)}</tspan>")
    return "\n".join([*caps, f'<text y="{number(baseline)}" xml:space="preserve">{"".join(spans)}</text>'])


def frame(title, shows, width, height, parts):
    """Returns a picture with the heading `title`, and the SVG elements `parts` below the heading."""
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}"'
        f' viewBox="0 0 {width} {height}" role="img" aria-labelledby="title shows">',
        f'<title id="title">{escape(title)}</title>',
        f'<desc id="shows">{escape(shows)}</desc>',
        f"<style>{STYLE}</style>",
        f'<rect x=".5" y=".5" width="{width - 1}" height="{height - 1}" rx="10" fill="#1b2430"'
        ' stroke="#44556b"/>',
        f'<path d="M1 {HEADER} V11 A10 10 0 0 1 11 1 H{width - 11} A10 10 0 0 1 {width - 1} 11 V{HEADER} Z"'
        ' fill="#28364a"/>',
        f'<text class="head" x="{MARGIN}" y="24">{escape(title)}</text>',
        *parts, "</svg>"]) + "\n"


def draw_screen(title, shows, lines, waits_at=None):
    """Draws a screen. `waits_at` is the column of the cursor in the last row, or None for no cursor."""
    rows = wrapped(lines)
    baselines = [HEADER + MARGIN + 10 + i * LINE for i in range(len(rows))]
    parts = [draw_row(row, baseline) for row, baseline in zip(rows, baselines) if row]
    if waits_at is not None:
        parts.append(f'<rect x="{number(MARGIN + waits_at * CELL)}" y="{number(baselines[-1] - 12.5)}"'
                     ' width="8" height="16" fill="#d6deea"/>')
    width = round(2 * MARGIN + COLUMNS * CELL)
    return frame(title, shows, width, HEADER + 2 * MARGIN + len(rows) * LINE - 8, parts)
