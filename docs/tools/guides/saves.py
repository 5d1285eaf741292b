"""Describes the leaves that each item of the menus reads, and the writes, triggers and commands of a save of
the item. All descriptions come from the calls of the program."""

import json
import re
import shlex
import tomllib
from typing import NamedTuple

from guides.screens import RULE
from guides.sessions import piped
from harness import menus
from harness.menus import typed
from harness.meter import FACTORY


class Screen(NamedTuple):
    name: str
    enter: str  # the keys that open the screen from the main menu
    leave: str


MAIN = Screen("Main menu", "", "")
PORT = Screen("Ethernet port menu", typed("{PORT}⏎"), "0⏎")
INIT = Screen("Initialisation menu", typed("{INIT}⏎"), "0⏎")


class Item(NamedTuple):
    screen: Screen
    label: str
    choice: str
    answer: str
    emptied_by: str = ""


ITEMS = (
    Item(MAIN, "DNS Server (Primary)", str(menus.PRIMARY_DNS), "192.0.2.100", "~"),
    Item(MAIN, "DNS Server (Secondary)", str(menus.SECONDARY_DNS), "192.0.2.101", "~"),
    Item(PORT, "Dynamic Addressing (DHCP)", "1", "y"),
    Item(PORT, "IP Address", "2", "192.0.2.20", "~"),
    Item(PORT, "Subnet Mask", "3", "255.255.0.0", "~"),
    Item(PORT, "Default Gateway", "4", "192.0.2.2", "~"),
    Item(PORT, "Media Type", "5", "2", "0"),
    Item(INIT, "Serial Number", "1", "102254321", "~"),
    Item(INIT, "Options List", "2", "1B-2A-WEB", "~"),
    Item(INIT, "Meter Form", "3", "2", "~"),
    Item(INIT, "Meter Class Amps", "4", "1", "~"),
    Item(INIT, "Meter Frequency", "5", "0", "~"),
    Item(INIT, "Enclosure Type", "6", "RK"),
)

SAVE = typed("{SAVE}⏎y⏎")
EXIT = "0⏎"

OPTIONS = "/VMIC/Options/"
TRIGGERS = "/VMF/UpdateService/"


def code(text):
    return f"`{text}`"


def as_json(value):
    return json.dumps(value, ensure_ascii=False)


# -- reads --

def values_shown(output, screen):
    """Maps labels to values on `screen`. `output` begins with the main menu; another screen comes second."""
    text = output.split(f"\n\n{RULE}\n")[1 if screen is MAIN else 2]
    lines = [line[5:].split("  :  ", 1) for line in text.splitlines() if "  :  " in line]
    return {label.rstrip(): value.rstrip() for label, value in lines}


def read(screen, keys="", **header):
    output, groups = piped("read", screen.enter + keys + screen.leave + EXIT, **header)
    reads = [call["paths"] for group in groups for call in group if call["call"] == "get_leaves"]
    return output, reads[0 if screen is MAIN else 1]


def another(value):
    """Returns another value of the same type."""
    if isinstance(value, bool):
        return not value
    return value - 1 if isinstance(value, int) else value + "0"


def label_of_leaf(path, value, screen):
    """Returns the label of the line that shows the leaf. To find the line, changes the leaf's value, and
    compares the screens with the old and the new value."""
    changed = {"set": f"{as_json(path)} = {as_json(another(value))}"}
    before = values_shown(read(screen)[0], screen)
    after = values_shown(read(screen, **changed)[0], screen)
    labels = [label for label in before if before[label] != after[label]]
    if not labels and another(value).split(";")[-1] in read(screen, "5⏎9⏎", **changed)[0]:
        return "Media Type, the choices offered"
    (label,) = labels
    return label


def type_name(value):
    return {bool: "boolean", int: "integer", str: "text"}[type(value)]


def leaves_read():
    factory = tomllib.loads(FACTORY.read_text())
    rows = ["| screen | item | leaf | factory type |", "|---|---|---|---|"]
    for screen in (MAIN, PORT, INIT):
        for path in read(screen)[1]:
            label = label_of_leaf(path, factory[path], screen)
            rows.append(f"| {screen.name} | {label} | {code(path)} | {type_name(factory[path])} |")
    return "\n".join(rows)


# -- saves --

def saved(name, keys):
    """Plays a session. Returns one list of calls for each save."""
    groups = piped(name, keys)[1]
    done = [[call for call in group if call["call"] not in ("get_leaves", "pcd_init", "pcd_close")]
            for group in groups]
    return [calls for calls in done if calls]


def leaf_words(leaf):
    trigger = " (a trigger)" if leaf["path"].startswith(TRIGGERS) else ""
    return f"{code(leaf['path'])} = {code(as_json(leaf['value']))}{trigger}"


def batch_words(call):
    """Describes the leaves of one batch. Only counts option leaves, because another page lists them."""
    options = [leaf for leaf in call["leaves"] if leaf["path"].startswith(OPTIONS)]
    words = [leaf_words(leaf) for leaf in call["leaves"] if leaf not in options]
    if options and len({leaf["value"] for leaf in options}) == 1:
        words.append(f"{code(as_json(options[0]['value']))} to {len(options)} [option leaves](options-list.md)")
    elif options:
        words.insert(0, f"the {len(options)} [option leaves](options-list.md)")
    if len(words) == 1:
        return "writes " + words[0]
    return "\n   - ".join(["writes in one batch:", *words])


def step_words(call):
    kind = call["call"]
    if kind == "set_leaf":
        return f"writes {leaf_words(call)} in a call of its own"
    if kind == "set_leaves":
        return batch_words(call)
    if kind == "clear_leaves":
        return "removes " + ", ".join(map(code, call["paths"]))
    if kind == "system":
        return "runs " + code(call["command"])
    return {"sleep": f"waits {call.get('seconds')} s",
            "pcd_close": "closes the connection to the store",
            "pcd_init": "connects to the store again"}[kind]


def steps(calls):
    return [f"{i}. {step_words(call)}" for i, call in enumerate(calls, 1)]


def commands(calls):
    return [call for call in calls if call["call"] == "system"]


def emptied_words(first, emptied):
    """Describes the writes of a save after the item was emptied. The commands must be the same as in `first`,
    the save of an edited value."""
    assert commands(first) == commands(emptied)
    return " and ".join(step_words(call) for call in emptied if call not in commands(emptied))


def edits(item, answer):
    return f"{item.screen.enter}{item.choice}⏎{answer}⏎{item.screen.leave}"


def leaves_written(calls):
    """Returns (path, value) for all leaves that the calls set, in order."""
    leaves = []
    for call in calls:
        leaves += [call] if call["call"] == "set_leaf" else call.get("leaves", [])
    return [(leaf["path"], leaf["value"]) for leaf in leaves]


CDSCTL_TYPES = {bool: "bool", int: "int", str: "string"}


def cdsctl_set(calls):
    """Returns `cdsctl set` commands that write the same leaves as the calls, except the option leaves.
    There is one command for each type of value."""
    words = {}
    for path, value in leaves_written(calls):
        if not path.startswith(OPTIONS):
            text = value if isinstance(value, str) else as_json(value)
            words.setdefault(type(value), []).append(f"{shlex.quote(path)} {shlex.quote(text)}")
    return "\n".join(f"cdsctl set --type {CDSCTL_TYPES[kind]} " + " \\\n    ".join(of_kind)
                     for kind, of_kind in words.items())


def yes(calls):
    return "yes" if calls else ""


CALLS_PAGE = "what-a-save-calls.md"


def leaf_of(item, calls):
    """Returns the leaf that a save of the item writes and that the item's screen reads."""
    reads = set(read(item.screen)[1])
    return next(path for path, _ in leaves_written(calls) if path in reads)


def overview():
    """Returns a table with the leaf of each item, and the other effects of a save of the item."""
    rows = ["| item | leaf | mirror | trigger | option leaves | model number |", "|---|---|---|---|---|---|"]
    for item in ITEMS:
        (calls,) = saved("save", edits(item, item.answer) + SAVE + EXIT)
        written = [path for path, _ in leaves_written(calls)]
        cells = (code(leaf_of(item, calls)),
                 yes([call for call in calls if call["call"] == "set_leaf"]),
                 yes([path for path in written if path.startswith(TRIGGERS)]),
                 yes([path for path in written if path.startswith(OPTIONS)]),
                 yes([call for call in calls if "vmkeys" in call.get("command", "")]))
        rows.append(f"| [{item.label}]({CALLS_PAGE}#{anchor(item.label)}) | " + " | ".join(cells) + " |")
    return "\n".join(rows)


def anchor(heading):
    """Returns the anchor of a Markdown heading, for links."""
    return re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")


def section(item):
    keys = edits(item, item.answer) + SAVE
    if item.emptied_by:
        keys += edits(item, item.answer) + edits(item, item.emptied_by) + SAVE
    first, *others = saved("save", keys + EXIT)
    lines = [f"## {item.label}", "",
             "```sh", f"cdsctl get {shlex.quote(leaf_of(item, first))}", cdsctl_set(first), "```", "",
             f"After the answer {code(item.answer)}, a save does this:", "", *steps(first), ""]
    for emptied in others:
        lines += [f"If you edit the item and then answer {code(item.emptied_by)}, a save {emptied_words(first, emptied)}. "
                  "It runs the same commands.", ""]
    return lines


def saves():
    return "\n".join(line for item in ITEMS for line in section(item)).rstrip()


def save_of_everything():
    keys = ""
    for item in ITEMS:
        keys += edits(item, item.answer)
    keys += edits(ITEMS[1], "~")
    (calls,) = saved("everything", keys + SAVE + EXIT)
    return "\n".join(steps(calls))


ACTIONS = (
    ("Reset all passwords to Factory Defaults", typed("{PASSWORDS}⏎y⏎")),
    ("Clear Velmora II Options List", INIT.enter + "7⏎y⏎0⏎"),
    ("Reset to Factory Defaults", INIT.enter + "8⏎y⏎0⏎"),
)


def action_calls(keys):
    groups = piped("action", keys + EXIT)[1]
    calls = [call for group in groups for call in group if call["call"] != "get_leaves"]
    return calls[1:-1]  # omits the first call, which connects, and the last call, which disconnects


def actions():
    lines = []
    for label, keys in ACTIONS:
        lines += [f"### {label}", "", *steps(action_calls(keys)), ""]
    return "\n".join(lines).rstrip()
