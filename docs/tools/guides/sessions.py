"""Plays sessions on the built program, each on a simulated meter of its own."""

import json

from harness import dialogue
from harness import piped as piped_program
from harness.program import UTILITY, command
from harness.terminal import Console


class Session:
    """A session in parts: `parts[0]` is the start, each further one what came of one of `keys`,
    keys and Enter in the notation of the dialogues without the ‹ ›. A part is its steps,
    ("out", bytes) and ("key", byte), and the calls made meanwhile."""

    def __init__(self, name, keys=(), arguments="-m", **header):
        self.meter = dialogue.make_meter(f"docs-{name}", {"meter": "factory", **header})
        self.console = Console(command(UTILITY, *arguments.split()), self.meter.environment())
        self.parts = []
        try:
            self.add_part([("out", dialogue.until_waiting(self.console))])
            for part in keys:
                self.add_part(self.play(part))
        finally:
            self.console.close()
        self.meter.remove()

    def add_part(self, steps):
        before = sum(len(calls) for _, calls in self.parts)
        self.parts.append((steps, [json.loads(text) for text in self.meter.calls()[before:]]))

    def play(self, part):
        steps = dialogue.parse_typed(part)
        for kind, value in steps:
            if kind == "out":
                self.console.expect(value)  # a key's echo
            else:
                self.console.send(bytes([value]))
        return [*steps, ("out", dialogue.until_waiting(self.console))]


def piped(name, keys, **header):
    """A whole session with these keys, "⏎" for Enter, on a pipe: what the program put out, and
    its calls in groups, one for each time it read the store: what it did before the next read."""
    meter = dialogue.make_meter(f"docs-{name}", {"meter": "factory", **header})
    typed = keys.replace("⏎", "\n").encode()
    session = piped_program.run(command(UTILITY, "-m"), meter.environment(), typed)
    if session.returncode != 0:
        raise RuntimeError(f"{keys}: the program ended with {session.returncode}")
    groups = [[]]
    for call in map(json.loads, meter.calls()):
        groups[-1].append(call)
        if call["call"] == "get_leaves":
            groups.append([])
    meter.remove()
    return session.stdout.decode("latin-1"), groups
