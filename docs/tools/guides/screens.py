"""Converts a session to the lines that a technician sees. A line is a list of runs. A run is a pair of a kind
and a text.

The kind is "out" for the program's output, "key" for typed characters, and "enter" for the Enter key. Typed
characters replace their echo."""

from harness import dialogue

RULE = "-" * 78
COLUMNS = 80  # the width of the terminal; longer lines are wrapped


def lines_of(steps):
    lines = [[]]
    steps = dialogue.joined(steps)
    before = ("", b"")
    for step in steps:
        kind, value = step
        if kind == "key":
            if value == dialogue.ENTER:
                lines[-1].append(("enter", ""))
        else:
            text = value.decode("latin-1")
            if dialogue.is_echo(before, step):
                add(lines, "key", text[0])
                text = text[1:]
            first, *others = text.split("\n")
            add(lines, "out", first)
            for line in others:
                lines.append([])
                add(lines, "out", line)
        before = step
    return lines


def add(lines, kind, text):
    runs = lines[-1]
    if runs and runs[-1][0] == kind:
        runs[-1] = (kind, runs[-1][1] + text)
    elif text:
        runs.append((kind, text))


def plain(runs):
    return "".join(text for _, text in runs).rstrip()


def shown_part(session, parts, screen_before, screen_after):
    """Returns the lines of the last `parts` parts of a session. `screen_before` adds the screen on which the
    first key of these parts is typed. `screen_after` adds the screen that follows these parts."""
    begin = len(session.parts) - parts
    lead = [step for steps, _ in session.parts[:begin] for step in steps]
    shown = [step for steps, _ in session.parts[begin:] for step in steps]
    lines = lines_of(lead + shown)
    first = len(lines_of(lead)) - 1  # the line of the first key in the shown parts
    screens = screen_starts(lines)
    if screen_before:
        first = max(start for start in screens if start <= first)
    after = [start for start in screens if start > first] if not screen_after else []
    return without_empty_ends(lines[first:after[-1] if after else None])


def screen_starts(lines):
    texts = [plain(line) for line in lines]
    return [i for i in range(len(texts) - 2) if texts[i] == RULE and texts[i + 2] == RULE]


def without_empty_ends(lines):
    while lines and not lines[0]:
        lines = lines[1:]
    while lines and not lines[-1]:
        lines = lines[:-1]
    return lines


def wrapped(lines):
    """Splits the lines into rows, as a terminal of COLUMNS columns does. Removes trailing spaces."""
    rows = []
    for runs in lines:
        cells = [(kind, c) for kind, text in runs for c in (text or " ")]
        while cells and cells[-1] == ("out", " "):
            cells.pop()
        rows += [cells[i:i + COLUMNS] for i in range(0, len(cells), COLUMNS)] or [[]]
    return rows
