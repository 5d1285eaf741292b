"""The reference of the options list: the parser's own tables, and the option leaves after a save of each
list, taken from the calls of a session."""

import subprocess

from guides.saves import INIT, OPTIONS, SAVE, code, saved
from harness.program import BUILD, STEP_LIMIT, command


def table(part):
    run = subprocess.run(command(BUILD / "option-tables", part), capture_output=True, text=True,
                         timeout=STEP_LIMIT, check=True)
    return run.stdout.rstrip()


def tokens():
    return table("tokens")


def groups():
    return table("groups")


def leaves_after(lists):
    """Returns the option leaves after a save of each of these options lists."""
    keys = "".join(f"{INIT.enter}2⏎{entry}⏎0⏎{SAVE}" for entry in lists)
    saves = saved("options", keys + "0⏎")
    assert len(saves) == len(lists), "an options list was rejected"
    return [last_values(calls) for calls in saves]


def last_values(calls):
    """Returns the written option leaves with their last values."""
    leaves = [leaf for call in calls if call["call"] == "set_leaves" for leaf in call["leaves"]]
    return {leaf["path"]: leaf["value"] for leaf in leaves if leaf["path"].startswith(OPTIONS)}


def cleared():
    (calls,) = saved("clear", INIT.enter + "7⏎y⏎0⏎0⏎")
    return last_values(calls)


def leaves():
    names = table("names").split("\n")
    after = leaves_after(names)
    emptied = cleared()
    rows = ["| leaf | true with | cleared |", "|---|---|---|"]
    for path in [*emptied, *(path for path in after[0] if path not in emptied)]:
        having = ", ".join(code(name) for name, values in zip(names, after) if values[path])
        rows.append(f"| {code(path)} | {having} | {'yes' if path in emptied else 'no'} |")
    return "\n".join(rows)


POWER_QUALITY = ("PQ1", "PQ2", "PQ3", "PQR", "PQR-PQ1", "PQR-PQ2", "PQR-PQ3", "ML-PQ1", "ML")


def power_quality():
    shown = ("ML", "PQ", "PQ1", "PQ2", "PQ3")
    rows = ["| list | " + " | ".join(map(code, shown)) + " |", "|---" * (len(shown) + 1) + "|"]
    for entry, values in zip(POWER_QUALITY, leaves_after(POWER_QUALITY)):
        cells = ["true" if values[f"{OPTIONS}{name}/Value"] else "" for name in shown]
        rows.append(f"| {code(entry)} | " + " | ".join(cells) + " |")
    return "\n".join(rows)
