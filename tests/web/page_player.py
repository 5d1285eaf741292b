"""Plays dialogue tests in the page with key events."""

import difflib
import json
import re
import time
import tomllib

from browsers import BACKSPACE, CONTROL, ENTER, ESCAPE, RELEASED, output_of
from harness import calls, dialogue
from harness.meter import FACTORY, toml_text, toml_value
from harness.program import STEP_LIMIT
from harness.terminal import Mismatch

SPEED = 10  # a wait on the page takes a tenth of the time in the dialogue
ERASING = (8, 127)

# Maps bytes that are not printable characters to keys. Ctrl with a letter types the letter's control code.
KEYS = {13: ENTER, 27: ESCAPE, **{byte: BACKSPACE for byte in ERASING},
        **{byte: CONTROL + chr(byte + 0x60) + RELEASED for byte in range(1, 27) if byte not in (8, 13)}}


def why_not_in_a_page(case):
    """Returns the reason why a page cannot play this dialogue, or ""."""
    for key in ("terminal", "factory file"):
        if key in case.header:
            return f"the page does not support {key}"
    if not (case.ending or "").startswith("exit"):
        return "it does not end by itself"
    typed = {value for kind, value in dialogue.parse_console(case.console) if kind == "key"}
    if not all(byte in KEYS or 0x20 <= byte < 0x7F for byte in typed):
        return "a keyboard cannot type all of its bytes"
    if len(typed & set(ERASING)) > 1:
        return "it erases with two different bytes, and Backspace sends only one"
    return ""


def start_of(case):
    leaves = tomllib.loads(FACTORY.read_text()) if case.header["meter"] == "factory" else {}
    leaves.update(tomllib.loads(case.header.get("set", "")))
    for line in case.header.get("remove", "").splitlines():
        del leaves[json.loads(line)]
    return leaves


def with_change(leaves, text):
    """Returns the leaves after a change. `text` describes the change, as after "store: " in a dialogue."""
    if text.startswith("remove "):
        return {path: value for path, value in leaves.items() if path != json.loads(text[7:])}
    return leaves | tomllib.loads(text)


def store_difference(before, now):
    lines = []
    for path in sorted(before.keys() | now.keys()):
        key = toml_value(path)
        if path not in now:
            lines.append(f"- {key} = {toml_value(before[path])}")
        elif path not in before:
            lines.append(f"+ {key} = {toml_value(now[path])}")
        elif toml_value(before[path]) != toml_value(now[path]):
            lines.append(f"~ {key} = {toml_value(before[path])} -> {toml_value(now[path])}")
    return lines or ["unchanged"]


class Player:
    def __init__(self, browser, case):
        self.browser = browser
        self.case = case
        self.expected = b""
        self.keys = ""  # keys that `send` has not sent yet
        self.last_key = time.monotonic()

    def start(self):
        case = self.case
        self.leaves = start_of(case)
        self.backspace({value for kind, value in self.steps() if kind == "key"})
        self.browser.async_script("""
            const [options, done] = arguments;
            meter.start(options).then(() => done(null), error => done(String(error)));""", {
                "arguments": case.header.get("arguments", "").split(),
                "store": toml_text(self.leaves),
                "faults": case.header.get("faults", ""),
                "speed": SPEED,
            })

    def steps(self):
        return dialogue.parse_console(self.case.console)

    def backspace(self, typed):
        self.browser.script("""
            const select = document.getElementById("backspace");
            select.value = arguments[0];
            select.dispatchEvent(new Event("change"));""", 127 if 127 in typed else 8)

    def play(self):
        steps = self.steps()
        for (kind, value), after in zip(steps, [*steps[1:], ("end", b"")]):
            if kind == "out":
                self.expected += value
            elif kind == "key":
                self.type(value, after)
            elif kind == "wait":
                self.wait(value)
            elif kind == "store":
                self.check()
                self.leaves = with_change(self.leaves, value)
                self.replace(value)
        self.check()

    def type(self, byte, after):
        """Collects the byte's key. Sends the collected keys, unless `after` is the echo or another key."""
        if not self.keys:
            self.check()
        self.keys += KEYS.get(byte) or chr(byte)
        if after not in (("out", bytes([byte])), ("key", after[1])):
            self.send()

    def send(self):
        if self.keys:
            self.browser.send_keys(self.keys)
            self.last_key = time.monotonic()
        self.keys = ""

    def check(self):
        """Sends the collected keys. Raises Mismatch if the output so far is not the expected output."""
        self.send()
        until = time.monotonic() + STEP_LIMIT
        output = output_of(self.browser)
        while len(output) < len(self.expected) and self.expected.startswith(output) and time.monotonic() < until:
            time.sleep(0.02)
            output = output_of(self.browser)
        if output != self.expected:
            raise Mismatch(self.difference(output))

    def difference(self, output):
        wanted, got = (dialogue.format_bytes(text).splitlines() for text in (self.expected, output))
        return "\n".join(difflib.unified_diff(wanted, got, "wanted", "in the page", lineterm="", n=5))

    def wait(self, seconds):
        self.check()
        if seconds < 30:
            time.sleep(max(self.last_key + seconds / SPEED - time.monotonic(), 0))
            self.check()
            return
        shown = len(output_of(self.browser))
        while len(output_of(self.browser)) == shown:
            if time.monotonic() > self.last_key + (seconds + 3) / SPEED + 1:
                raise Mismatch(f"the program does not continue after {seconds} s")
            time.sleep(0.02)
        waited = (time.monotonic() - self.last_key) * SPEED
        if waited < seconds - 0.5:
            raise Mismatch(f"the program continued after {waited:.1f} s, not {seconds} s")
        self.last_key = time.monotonic()

    def replace(self, mark):
        """Changes the store as another program does. Applies the change to the current store, because the
        dialogue may have changed other leaves."""
        present = tomllib.loads(self.browser.script("return meter.store();"))
        self.browser.script("meter.replaceStore(arguments[0]);", toml_text(with_change(present, mark)))

    def report(self):
        """Returns the differences between the end of the session and the end of the dialogue, as lines."""
        browser, case = self.browser, self.case
        exited = browser.script("return meter.exited();")
        errors = bytes(browser.script("return Array.from(meter.errors());")).decode("latin-1")
        errors = re.sub(r"/meter(?=[:/ \n])", "METER", errors)
        trace = browser.script("return meter.calls();").splitlines()
        store = tomllib.loads(browser.script("return meter.store();"))
        return [
            *dialogue.difference("ending", [case.ending], [f"exit {exited}"]),
            *dialogue.difference("stderr", case.stderr.splitlines(), dialogue.whole_lines(errors).splitlines()),
            *dialogue.difference("calls", case.calls, calls.show_trace(trace)),
            *dialogue.difference("store", case.store, store_difference(start_of(case), store)),
        ]


def play(browser, case):
    """Plays the dialogue. Returns None, or a text with the differences."""
    player = Player(browser, case)
    try:
        player.start()
        player.play()
    except Mismatch as mismatch:
        return f"{case.shows}\n\n{mismatch}"
    return "\n".join(player.report()) or None
