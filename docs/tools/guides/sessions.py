"""Plays sessions on the built program, each on its own simulated meter."""

import json

from harness import dialogue
from harness import piped as piped_program
from harness.program import UTILITY, command
from harness.terminal import Console


class Session:
    """A session in parts. `parts[0]` is the start. Each other part is the result of one item of `keys`. An
    item is a text in the notation of the dialogues, without ‹ ›. A part is a pair of its steps and its calls.
    A step is ("out", bytes) or ("key", byte)."""

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
                self.console.expect(value)  # the echo of a key
            else:
                self.console.send(bytes([value]))
        return [*steps, ("out", dialogue.until_waiting(self.console))]


def piped(name, keys, **header):
    """Plays a session through a pipe. In `keys`, "⏎" is Enter. Returns the output of the program, and its
    calls in groups. Each group except the last ends with a read of the store."""
    meter = dialogue.make_meter(f"docs-{name}", {"meter": "factory", **header})
    typed = keys.replace("⏎", "\n").encode()
    session = piped_program.run(command(UTILITY, "-m"), meter.environment(), typed)
    if session.returncode != 0:
        raise RuntimeError(f"{keys}: the program exited with status {session.returncode}")
    groups = [[]]
    for call in map(json.loads, meter.calls()):
        groups[-1].append(call)
        if call["call"] == "get_leaves":
            groups.append([])
    meter.remove()
    return session.stdout.decode("latin-1"), groups
