"""Formats a trace of library calls, commands and pauses in the notation of the dialogue files.

Each call starts a new line. A list of leaves follows on indented lines. The text omits the usual values:
result 0, status 1, flag 1 and an empty source. The text contains all other values. A call with unknown
members becomes one line of JSON. Therefore two different traces never have the same text.
"""

import json
import re

INTERFACE = "/Software/System Settings/Network/Interface/1/"

# The leaves that each menu reads in each pass. The line "get_leaves port menu" means that the program read
# exactly these leaves in this order, and that the library found all leaves.
MENU_READS = {
    "main menu": [
        "/Software/System Settings/Network/Name Server/1/Value",
        "/Software/System Settings/Network/Name Server/2/Value",
    ],
    "port menu": [
        INTERFACE + "DHCP Enabled/Value",
        INTERFACE + "IP Address/Value",
        INTERFACE + "Subnet Mask/Value",
        INTERFACE + "Default Gateway/Value",
        INTERFACE + "MAC Address/Value",
        INTERFACE + "Link Enabled/Value",
        INTERFACE + "Media Type/Supported Types/Value",
        INTERFACE + "Media Type/Current Type/Value",
    ],
    "initialisation menu": [
        "/VMIC/SerialNumber/Value",
        "/VMIC/OptionsList/Value",
        "/VMC/PrimCfg/Form/Value",
        "/VMC/PrimCfg/ClassAmps/Value",
        "/VMC/PrimCfg/NomFreq/Value",
        "/VMIC/Enclosure/Value",
    ],
}

MEMBERS = {
    "pcd_init": {"call", "connected"},
    "pcd_close": {"call"},
    "get_leaves": {"call", "paths", "statuses", "result"},
    "set_leaf": {"call", "path", "value", "flag", "source", "status", "result"},
    "set_leaves": {"call", "leaves", "source", "result"},
    "clear_leaves": {"call", "paths", "statuses", "source", "result"},
    "system": {"call", "command", "result"},
    "sleep": {"call", "seconds"},
}
LEAF_MEMBERS = {"path", "value", "flag", "status"}


def show_path(path):
    plain = re.fullmatch(r"/[!-~]+( [!-~]+)*", path) and " = " not in path
    return path if plain else json.dumps(path)


def unless_usual(usual, word, value):
    """Returns "  WORD VALUE", or "" if `value` is the usual value. Compares the JSON texts, because 1 == True
    in Python."""
    shown = json.dumps(value)
    return "" if shown == json.dumps(usual) else f"  {word} {shown}"


def show_outcome(call):
    return unless_usual("", "from", call.get("source", ""))[1:] + unless_usual(0, "result", call["result"])


def show_leaf(leaf):
    flag = unless_usual(1, "flag", leaf["flag"])
    status = unless_usual(1, "status", leaf["status"])
    return f"{show_path(leaf['path'])} = {json.dumps(leaf['value'])}{flag}{status}"


def show_paths(call):
    leaves = zip(call["paths"], call["statuses"])
    return ["    " + show_path(path) + unless_usual(1, "status", status) for path, status in leaves]


def show_read(call):
    for menu, paths in MENU_READS.items():
        if call["paths"] == paths:
            statuses = " ".join(json.dumps(status) for status in call["statuses"])
            found = "" if set(statuses.split()) == {"1"} else f"  statuses {statuses}"
            return [f"get_leaves {menu}{found}{show_outcome(call)}"]
    return ["get_leaves" + show_outcome(call), *show_paths(call)]


def show_call(text):
    """Returns the lines for one call. `text` is the JSON text of the call."""
    call = json.loads(text)
    name = call.get("call")
    leaves = call.get("leaves", [])
    if call.keys() != MEMBERS.get(name) or any(leaf.keys() != LEAF_MEMBERS for leaf in leaves):
        return [text]
    if len(call.get("paths", [])) != len(call.get("statuses", [])):
        return [text]
    if name == "pcd_init":
        return ["pcd_init " + ("connected" if call["connected"] else "not connected")]
    if name == "get_leaves":
        return show_read(call)
    if name == "set_leaf":
        return ["set_leaf " + show_leaf(call) + show_outcome(call)]
    if name == "set_leaves":
        return ["set_leaves" + show_outcome(call), *["    " + show_leaf(leaf) for leaf in leaves]]
    if name == "clear_leaves":
        return ["clear_leaves" + show_outcome(call), *show_paths(call)]
    if name == "system":
        return ["system " + json.dumps(call["command"])[1:-1] + show_outcome(call)]
    if name == "sleep":
        return [f"sleep {json.dumps(call['seconds'])}"]
    return [name]


def show_trace(texts):
    """Returns the lines for a whole trace. Equal calls in a row become one line with their count, such as
    "get_leaves main menu  x3", if the text of the call is one line."""
    shown = []
    counts = []
    for text in texts:
        call = show_call(text)
        if shown and len(call) == 1 and shown[-1] == call:
            counts[-1] += 1
        else:
            shown.append(call)
            counts.append(1)
    lines = []
    for call, count in zip(shown, counts):
        lines += call if count == 1 else [f"{call[0]}  x{count}"]
    return lines
