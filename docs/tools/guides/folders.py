"""Draws a picture of the dependencies between the program's directories. The dependencies come from the
targets in the CMakeLists.txt files."""

import re

from guides.svg import frame
from harness.program import REPOSITORY

# The program's directories. Each has a target with the name of the directory.
PROGRAM = ("app", "network", "meterinit", "console", "settings", "store")
LIBRARY = "client_library"
LABELS = {LIBRARY: "client library"}
LINK = re.compile(r"target_link_libraries\((\w+) (?:PUBLIC|PRIVATE|INTERFACE) ([^)]*)\)")


def targets():
    """Maps each directory to the targets that its own target links."""
    edges = {}
    for folder in PROGRAM:
        text = (REPOSITORY / folder / "CMakeLists.txt").read_text()
        edges[folder] = [name for target, names in LINK.findall(text) if target == folder
                         for name in names.split()]
    return {**edges, LIBRARY: []}


def reachable(edges, folder):
    found = {folder}
    for other in edges[folder]:
        found |= reachable(edges, other)
    return found


def included(folder):
    """Returns the directories whose headers the sources in this directory include."""
    text = "".join(path.read_text() for path in (REPOSITORY / folder).glob("*.[ch]*"))
    return set(re.findall(r'^#include "(\w+)/', text, re.M))


def rows(edges):
    """Returns the directories in rows. A directory is in a row below all directories that depend on it."""
    depths = {}

    def place(folder, depth):
        depths[folder] = max(depth, depths.get(folder, 0))
        for other in edges[folder]:
            place(other, depth + 1)

    place(PROGRAM[0], 0)
    assert set(depths) == set(edges)
    return [[f for f in edges if depths[f] == depth] for depth in range(max(depths.values()) + 1)]


WIDTH, HEIGHT, BETWEEN, ACROSS = 150, 34, 30, 60
EDGE, TOP = 30, 68


def draw():
    edges = targets()
    lines = rows(edges)
    widest = max(len(line) for line in lines)
    total = widest * WIDTH + (widest - 1) * ACROSS + 2 * EDGE
    places = {}
    for i, line in enumerate(lines):
        for j, folder in enumerate(line):
            x = total / 2 + (j - (len(line) - 1) / 2) * (WIDTH + ACROSS)
            places[folder] = (x, TOP + i * (HEIGHT + BETWEEN))
    parts = []
    for folder, others in edges.items():
        for other in others:
            (x, y), (to_x, to_y) = places[folder], places[other]
            parts.append(f'<path d="M{x:g} {y + HEIGHT:g} L{to_x:g} {to_y - 6:g}" stroke="#7cc4ff"'
                         ' stroke-width="1.5" marker-end="url(#tip)"/>')
    for folder, (x, y) in places.items():
        dashes = ' stroke-dasharray="5 4"' if folder == LIBRARY else ""
        parts.append(f'<rect x="{x - WIDTH / 2:g}" y="{y:g}" width="{WIDTH}" height="{HEIGHT}" rx="6"'
                     f' fill="#28364a" stroke="#7cc4ff"{dashes}/>')
        name = LABELS.get(folder, folder + "/")
        parts.append(f'<text x="{x:g}" y="{y + 22:g}" text-anchor="middle">{name}</text>')
    tip = ('<marker id="tip" viewBox="0 0 10 10" refX="6" refY="5" markerWidth="7" markerHeight="7"'
           ' orient="auto"><path d="M0 0 L10 5 L0 10 Z" fill="#7cc4ff"/></marker>')
    words = "; ".join(f"{folder} on {', '.join(others)}" for folder, others in edges.items() if others)
    return frame("Directories", f"What each directory builds on: {words}.", total,
                 TOP + len(lines) * (HEIGHT + BETWEEN) - 8, [f"<defs>{tip}</defs>", *parts])
