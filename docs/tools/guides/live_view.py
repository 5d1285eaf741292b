"""Draws a picture of the tmux window with the utility and its live view, after a save."""

import os
import re
import shlex
import subprocess
import tempfile

from guides import svg
from guides.screens import COLUMNS
from harness import dialogue
from harness.menus import PRIMARY_DNS, SAVE
from harness.program import BUILD, REPOSITORY, STEP_LIMIT, wait_until

PICTURE = "live-view"
TITLE = "./watch-session"
SHOWS = ("The utility after a save of the primary DNS server. Below it, the live view shows the leaf that changed and "
         "the two commands that the meter would run.")
SESSION = REPOSITORY / "simulator" / "cdsctl" / "watched-session"
ROWS = 38
ADDRESS = "192.0.2.99"
# Each entry has a prompt, the text to type there, and a text that is on the screen afterwards.
ANSWERS = (
    ("Select an option ==>", str(PRIMARY_DNS), "Enter Primary DNS Server:"),
    ("Enter Primary DNS Server:", ADDRESS, f":  {ADDRESS}"),
    ("Select an option ==>", str(SAVE), "Save & apply all settings? (y/n):"),
    ("Save & apply all settings? (y/n):", "y", "Settings saved."),
)
SEEN_IN_VIEW = (f'-> "{ADDRESS}"', "runs: rm", "runs: /etc")
VIEW_STARTS = ("cdsctl:", "/Software", "runs: rm", "runs: /etc")


class Tmux:
    """A separate tmux server. It starts with one shell, in the given directory."""

    def __init__(self, sockets, directory):
        self.words = ["tmux", "-S", f"{sockets}/tmux", "-f", "/dev/null"]
        self.environment = {name: value for name, value in os.environ.items()
                            if not name.startswith(("TMUX", "METER_SIM_"))}
        self.environment.update(TERM="xterm", METER_SIM_NO_DELAY="1", TMPDIR=sockets)
        self("new-session", "-d", "-x", str(COLUMNS), "-y", str(ROWS), "-c", str(directory), "/bin/sh")

    def __call__(self, *words):
        return subprocess.run([*self.words, *words], env=self.environment, capture_output=True, text=True,
                              timeout=STEP_LIMIT, check=True).stdout

    def panes(self):
        return self("list-panes", "-F", "#{pane_id}").split()

    def lines(self, pane, *options):
        return self("capture-pane", "-p", *options, "-t", pane).rstrip("\n").split("\n")

    def wait_for(self, pane, *texts):
        def shown():
            return "\n".join(self.lines(pane, "-J"))

        wait_until(lambda: all(text in shown() for text in texts), shown)


def play(tmux):
    """Plays the session. Returns the lines of the utility's pane and the lines of the live view's pane."""
    utility, = tmux.panes()
    tmux("send-keys", "-t", utility, shlex.join([str(SESSION), str(BUILD), "meter", "-m"]), "Enter")
    wait_until(lambda: len(tmux.panes()) == 2, lambda: "\n".join(tmux.lines(utility)))
    view, = set(tmux.panes()) - {utility}
    tmux.wait_for(view, "cdsctl: watching meter")
    tmux.wait_for(utility, "Select an option ==>")
    for _, keys, then in ANSWERS:
        tmux("send-keys", "-t", utility, keys, "Enter")
        tmux.wait_for(utility, then)
    tmux.wait_for(view, *SEEN_IN_VIEW)
    wait_until(lambda: tmux.lines(utility)[-1].endswith("==>"), lambda: "\n".join(tmux.lines(utility)))
    return tmux.lines(utility), tmux.lines(view, "-J")


def with_keys(line):
    """Splits a line into runs (see screens.py). Text that was typed after a prompt becomes a run of keys."""
    for prompt, keys, _ in ANSWERS:
        if match := re.fullmatch(rf"({re.escape(prompt)} *){re.escape(keys)}", line):
            return [("out", match[1]), ("key", keys), ("enter", "")]
    return [("out", line)] if line else []


def in_order(view):
    """Returns the lines of the live view in the order of VIEW_STARTS. Two processes write these lines, so the
    order in the live view varies."""
    lines = [line.rstrip() for line in view]
    return [line for start in VIEW_STARTS for line in lines if line.startswith(start)]


def draw():
    meter = dialogue.make_meter("docs-live-view", {"meter": "factory"})
    with tempfile.TemporaryDirectory() as sockets:
        tmux = Tmux(sockets, meter.top)
        try:
            utility, view = play(tmux)
        finally:
            tmux("kill-server")
    meter.remove()
    saved = next(i for i, line in enumerate(utility) if line.startswith("Save & apply all settings? "))
    border = [("out", "─" * COLUMNS)]
    lines = [*map(with_keys, utility[saved - 1:]), border, *([("out", line)] for line in in_order(view))]
    return svg.draw_screen(TITLE, SHOWS, lines)
