"""Dialogue tests: transcripts of whole sessions that are recorded and played against the program.

A file starts with a description that says what it shows. Then it gives the meter at the start, the text on
the console, how the program ended, the calls that it made, and the changes in the store:

    A rejected address does not change the DNS server.

    meter: factory                   "factory" has the factory defaults, "empty" has no leaves;
                                     "unknown" is for the transcript of a real meter, which cannot
                                     be played
    arguments: -m                    the command line; this line and all others are optional
    terminal: icrnl off              the program receives a carriage return unchanged
    set:                             leaves to add or replace before the start, in TOML
        "/VMIC/Enclosure/Value" = "RK"
    remove:                          leaves to remove before the start, one per line
        "/VMIC/SerialNumber/Value"
    faults:                          the meter's faults.toml
        [[fault]]
        call = "set_leaves"
        result = -1
    factory file: absent             or "broken"; without this line, the meter has the shipped file

    [console]
    ...
    Select an option ==>  ‹2⏎›
    Enter Primary DNS Server: ‹256.1.1.1⏎›
    Error: invalid address
    ...
    [exit 0]
    [stderr]                         only if the program wrote to standard error; METER replaces
    ...                              the meter's directory
    [calls]
    ...                              calls.py describes the notation
    [store]
    unchanged                        or one line per leaf: + added, - removed, ~ changed

In the console section, a name such as «main menu 1» comes before each new screen. «main menu 1 again»
means that the whole screen appears once more, byte for byte (screens.py). A report of a difference shows
every screen in full. All other text outside ‹ › is the output, byte for byte. A backslash is written
\\\\. A byte that is neither printable ASCII nor a newline is written \\t, \\r or \\xNN. A single backslash
at the end of a line means that the output has no newline there. The text inside ‹ › is input:

    a printable character   this key and its own echo
    ⏎                       Enter, which sends a carriage return. The line break after it is the echo,
                            which the program writes like any other output.
    ^H ^[ ^? ^J ...         this control key; \\xNN is this byte. Neither includes an echo: the
                            program's answer follows outside. (\\^ and \\\\ are the two keys.)
    wait 30 s               no key: the program must continue by itself between 29.5 s and 33 s after
                            the last key. Any number from 30 on has the same meaning.
    wait 29 s               a pause without any output; for any number below 30
    store: "/A/Value" = 1   another process changes the store here
    store: remove "/A/Value"

A file that has only the header and a console section with keys in ‹ › is a draft. Recording plays the
keys and adds everything else.
"""

import difflib
import json
import os
import re
import time
import tomllib

from harness import calls, program, screens
from harness.meter import FACTORY, Meter
from harness.program import STEP_LIMIT
from harness.terminal import Console, Mismatch, as_usual, without_icrnl

HEADER_KEYS = ("meter", "arguments", "terminal", "set", "remove", "faults", "factory file")
HEADER_WORDS = {  # None means that the line is optional
    "meter": ("factory", "empty", "unknown"),
    "terminal": (None, "icrnl off"),
    "factory file": (None, "absent", "broken"),
}
SECTION = re.compile(r"^\[(console|exit \d+|killed by \w+|stderr|calls|store)\]\n", re.M)
ENTER = 0x0D
JOIN = "\0"  # replaces a "›" in an unfinished text, because the next key may go before it
# The two forms of a prompt. The program waits for a key when its output ends with one of them.
PROMPT_ENDS = (b"==>  ", b": ")


# -- the file --

class Dialogue:
    """A file: `shows` is its sentence, `header` maps keys to text, and each section has an attribute."""

    def __init__(self, path):
        self.path = path
        text = path.read_text(encoding="utf-8")
        places = list(SECTION.finditer(text))
        if not places or places[0][1] != "console":
            raise ValueError(f"{path}: no [console]")
        self.shows, self.header = parse_header(text[:places[0].start()], path)
        ends = [place.start() for place in places[1:]] + [len(text)]
        sections = {p[1]: text[p.end():end] for p, end in zip(places, ends)}
        if len(sections) < len(places):
            raise ValueError(f"{path}: a section occurs twice")
        self.folded = sections.pop("console")
        self.console = screens.unfold(self.folded, path, text.count("\n", 0, places[0].end()) + 1)
        self.ending = next((s for s in sections if s.startswith(("exit", "killed"))), None)
        self.stderr = sections.get("stderr", "")
        self.calls = sections.get("calls", "").split("\n")[:-1]
        self.store = sections.get("store", "").split("\n")[:-1]

    def write(self, console, ending, stderr, trace, store):
        parts = [f"{self.shows}\n\n{format_header(self.header)}\n"
                 f"[console]\n{screens.fold(console)}[{ending}]\n"]
        if stderr:
            parts.append(f"[stderr]\n{stderr}")
        parts.append("\n".join(["[calls]", *trace, "[store]", *store]) + "\n")
        self.path.parent.mkdir(parents=True, exist_ok=True)
        self.path.write_text("".join(parts), encoding="utf-8")


def parse_header(text, path):
    lines = text.splitlines()
    first = next((i for i, line in enumerate(lines) if line.split(":")[0] in HEADER_KEYS), len(lines))
    shows = "\n".join(lines[:first]).strip()
    header = {}
    key = None
    for line in lines[first:]:
        if line.startswith("    "):
            header[key] += line[4:] + "\n"
        elif line.strip():
            key, colon, value = line.partition(":")
            if key not in HEADER_KEYS or not colon or key in header:
                raise ValueError(f"{path}: cannot read the header line {line!r}")
            header[key] = value.strip()
    for key, words in HEADER_WORDS.items():
        if header.get(key) not in words:
            raise ValueError(f"{path}: {key!r} must be one of {words}")
    if not shows:
        raise ValueError(f"{path}: a description that says what the file shows is missing")
    return shows, header


def format_header(header):
    lines = []
    for key in (key for key in HEADER_KEYS if key in header):
        value = header[key]
        if key in ("set", "remove", "faults"):
            block = "".join(f"    {line}\n" if line else "\n" for line in value.rstrip().split("\n"))
            lines.append(f"{key}:\n{block}")
        else:
            lines.append(f"{key}: {value}\n")
    return "".join(lines)


def make_meter(name, header):
    if header["meter"] == "unknown":
        raise ValueError(f"{name}: the meter of this transcript is not known, so it cannot be played")
    shipped = FACTORY.read_text()
    leaves = tomllib.loads(shipped) if header["meter"] == "factory" else {}
    leaves.update(tomllib.loads(header.get("set", "")))
    for line in header.get("remove", "").splitlines():
        del leaves[json.loads(line)]
    factory = {"absent": None, "broken": "this is not TOML\n"}
    factory_text = factory[header["factory file"]] if "factory file" in header else shipped
    return Meter(name, leaves, header.get("faults", ""), factory_text)


# -- the console's text --
#
# A session is a list of steps: ("out", bytes), ("key", byte), ("wait", seconds) and
# ("store", text).

def parse_console(text):
    steps = []
    for part in re.split("(‹[^›]*›)", text):
        if part.startswith("‹"):
            steps += parse_typed(part[1:-1])
        elif part:
            steps.append(("out", parse_bytes(part)))
    return joined(steps)


def joined(steps):
    """Merges consecutive steps of output."""
    merged = []
    for kind, value in steps:
        if kind == "out" and merged and merged[-1][0] == "out":
            merged[-1] = ("out", merged[-1][1] + value)
        elif (kind, value) != ("out", b""):
            merged.append((kind, value))
    return merged


def parse_bytes(text):
    def byte(match):
        escape = match[1]
        if escape.startswith("x"):
            return chr(int(escape[1:], 16))
        return {"\n": "", "\\": "\\", "t": "\t", "r": "\r"}[escape]

    return re.sub(r"\\(\n|\\|t|r|x[0-9a-f]{2})", byte, text).encode("latin-1")


def parse_typed(text):
    if match := re.fullmatch(r"wait (\d+) s", text):
        return [("wait", int(match[1]))]
    if match := re.fullmatch(r"store: (.*)", text):
        return [("store", match[1])]
    steps = []
    for key in re.findall(r"⏎|\^[@-_?]|\\x[0-9a-f]{2}|\\[\\^]|[ -~]", text):
        if key == "⏎":
            steps.append(("key", ENTER))
        elif key[0] == "^":
            steps.append(("key", ord(key[1]) ^ 0x40))
        elif key[:2] == "\\x":
            steps.append(("key", int(key[2:], 16)))
        else:
            steps += [("key", ord(key[-1])), ("out", key[-1].encode())]
    return steps


def format_console(steps):
    """Returns a text from which `parse_console` gets the same steps."""
    text = ""
    steps = joined(steps)
    before = ("", b"")
    for step, after in zip(steps, [*steps[1:], ("", b"")]):
        kind, value = step
        if kind == "out":
            text += format_bytes(value[1:] if is_echo(before, step) else value)
        elif kind == "key":
            key = format_key(value, is_echo(step, after))
            if text.endswith(JOIN) and not key.startswith("^"):
                text = text.removesuffix(JOIN) + key
            else:
                text += "‹" + key
            # A control key gets its own ‹ ›, and so does a key after Enter.
            text += "›" if key.startswith("^") or key == "⏎" else JOIN
        else:
            text += f"‹wait {value} s›" if kind == "wait" else f"‹store: {value}›"
        before = step
    return whole_lines(text.replace(JOIN, "›"))


def whole_lines(text):
    """Ends the last line of `text`, with a backslash if the output has no newline there."""
    return text if text == "" or text.endswith("\n") else text + "\\\n"


def printable(byte):
    return 0x20 <= byte < 0x7F


def is_echo(key, output):
    """Returns True for a printable key that is followed by output of the same character."""
    return (key[0], output[0]) == ("key", "out") and printable(key[1]) and output[1][0] == key[1]


def format_bytes(data):
    shown = "".join(
        {"\\": "\\\\", "\t": "\\t", "\r": "\\r"}.get(c, c) if c in "\t\r\n" or printable(ord(c))
        else f"\\x{ord(c):02x}" for c in data.decode("latin-1"))
    return re.sub(r"^\[(?=(console|exit|killed|stderr|calls|store))", r"\\x5b", shown, flags=re.M)


def format_key(byte, with_echo):
    if byte == ENTER:
        return "⏎"
    if byte < 0x20 or byte == 0x7F:
        return "^" + chr(byte ^ 0x40)
    if not with_echo:
        return f"\\x{byte:02x}"
    return "\\" + chr(byte) if byte in b"\\^" else chr(byte)


# -- playing --

def start(dialogue, meter):
    command = program.command(program.UTILITY, *dialogue.header.get("arguments", "").split())
    prepare = without_icrnl if icrnl_off(dialogue) else as_usual
    return Console(command, meter.environment(), prepare)


def icrnl_off(dialogue):
    return dialogue.header.get("terminal") == "icrnl off"


def change_store(meter, text):
    if text.startswith("remove "):
        meter.change({}, [json.loads(text.removeprefix("remove "))])
    else:
        meter.change(tomllib.loads(text))


def act(step, console, meter):
    kind, value = step
    if kind == "key":
        console.send(bytes([value]))
    elif kind == "store":
        console.note(f"store: {value}")
        change_store(meter, value)


def follow(steps, console, meter, done):
    """Plays the steps and appends each to `done`. Sends an input only after all output before it."""
    for step in steps:
        kind, value = step
        if kind == "out":
            console.expect(value)  # on a difference, the console keeps the output
            done.append(step)
            continue
        done.append(step)
        if kind == "wait" and value >= 30:
            console.expect_to_continue_after(value)
        elif kind == "wait":
            console.expect_silence(value)
        else:
            act(step, console, meter)


def shown_errors(console, meter):
    text = console.errors.replace(os.fsencode(meter.folder), b"METER")
    return whole_lines(text.decode("latin-1"))


def difference(title, wanted, got):
    if wanted == got:
        return []
    names = f"{title} in the file", f"{title} of this session"
    return [*difflib.unified_diff(wanted, got, *names, lineterm="", n=5), ""]


def play(dialogue):
    """Plays the dialogue. Returns None, or the text of a report if anything differs."""
    if dialogue.ending is None:
        return f"{dialogue.path} is a draft: tests/record --update fills it in"
    meter = make_meter(dialogue.path.stem, dialogue.header)
    console = start(dialogue, meter)
    done = []
    report = []
    ending = "not waited for"
    try:
        follow(parse_console(dialogue.console), console, meter, done)
        ending = console.finish()
    except Mismatch as mismatch:
        report.append(f"{mismatch}\n")
    finally:
        console.close()
    done.append(("out", console.take()))
    got = format_console(done)
    wanted_lines, got_lines = dialogue.console.splitlines(), got.splitlines()
    if report:  # the session ended at the mismatch
        wanted_lines = wanted_lines[:len(got_lines) + 2]
    report += difference("console", wanted_lines, got_lines)
    if not report:
        report += difference("screens' names", dialogue.folded.splitlines(), screens.fold(got).splitlines())
        report += difference("ending", [dialogue.ending], [ending])
        errors = shown_errors(console, meter)
        report += difference("stderr", dialogue.stderr.splitlines(), errors.splitlines())
        report += difference("calls", dialogue.calls, calls.show_trace(meter.calls()))
        report += difference("store", dialogue.store, meter.difference())
    if not report:
        meter.remove()
        return None
    return "\n".join([
        f"{dialogue.shows}\n", *report,
        "sent and received:", *console.history(), "",
        "standard error:", shown_errors(console, meter),
        "calls:", *calls.show_trace(meter.calls()), "",
        f"the meter's directory is kept: {meter.top}"])


# -- recording --

def until_waiting(console, limit=STEP_LIMIT):
    """Takes the output until the program waits for a key or ends.

    The program waits if its output ends with a prompt and no more output arrives."""
    until = time.monotonic() + limit
    while not console.ended and time.monotonic() < until:
        if console.pending.endswith(PROMPT_ENDS) and not console.receive(0.15):
            break
        if not console.pending.endswith(PROMPT_ENDS):
            console.receive(min(1.0, until - time.monotonic()))
    return console.take()


def until_echoed(console, count):
    until = time.monotonic() + 1.0
    while len(console.pending) < count and time.monotonic() < until and not console.ended:
        console.receive(until - time.monotonic())
    return console.take()


def after_key(byte, console, icrnl):
    """Returns the program's answer to one key."""
    if printable(byte):
        return until_echoed(console, 1)
    if byte in (0x08, 0x7F):
        return until_echoed(console, 3)
    if byte in (0x0A, 0x04) or byte == ENTER and icrnl:
        return until_waiting(console)
    console.receive(0.1)  # no output is expected
    return console.take()


def after_menus(steps):
    """Groups the inputs of a session by menu. Returns pairs of a menu's items and the inputs after it."""
    groups = [({}, [])]
    for kind, value in steps:
        if kind != "out":
            groups[-1][1].append((kind, value))
        elif items := screens.items(value):
            groups.append((items, []))
    return groups


def replay(groups, console, meter, icrnl):
    """Sends each input when the program waits for it. If a menu has new numbers, sends the new number of the
    same item. Returns the steps of the session, and descriptions of the changed keys."""
    steps = [("out", until_waiting(console))]
    changes = []
    for items, inputs in groups:
        inputs, change = screens.renumbered(inputs, items, screens.items(steps[-1][1]))
        changes += [change] if change else []
        for kind, value in inputs:
            steps.append((kind, value))
            if kind == "wait":
                console.receive(value if value < 30 else value + 3)
                steps.append(("out", console.take() if value < 30 else until_waiting(console)))
            else:
                act((kind, value), console, meter)
                if kind == "key":
                    steps.append(("out", after_key(value, console, icrnl)))
    return steps, changes


def record(dialogue, inputs=None):
    """Plays the dialogue's keys, or `inputs`, and rewrites the file. Returns descriptions of changed keys.
    After a ValueError or a Mismatch, the file is unchanged."""
    groups = [({}, inputs)] if inputs else after_menus(parse_console(dialogue.console))
    meter = make_meter(dialogue.path.stem, dialogue.header)
    console = start(dialogue, meter)
    try:
        steps, changes = replay(groups, console, meter, icrnl=not icrnl_off(dialogue))
        try:
            ending = console.finish()
        except Mismatch:
            steps.append(("out", console.take()))
            raise Mismatch(f"{dialogue.path}: the program continues after the last key:\n"
                           + format_console(steps)[-1500:]) from None
        steps.append(("out", console.take()))
    except ValueError as error:
        meter.remove()
        raise ValueError(f"{dialogue.path}: {error}") from None
    finally:
        console.close()
    text = format_console(steps)
    if parse_console(text) != joined(steps):
        raise Mismatch(f"{dialogue.path}: the notation of these keys is ambiguous: {text}")
    dialogue.write(text, ending, shown_errors(console, meter),
                   calls.show_trace(meter.calls()), meter.difference())
    meter.remove()
    return changes
