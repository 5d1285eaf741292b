"""The grammar of the options list, defined on the words between its dashes.

A word is the text between two dashes, or between a dash and the start or end. The utility searches for "-"
and an option's name in "-" plus the list. No name contains a dash, so the search finds exactly the words
that begin with the name. No name is the beginning of another, so each word matches at most one name. This
file has two functions: `examine` returns the effects of any list, and `acceptable` decides without
counting whether a list is accepted.
"""

import tomllib
from dataclasses import dataclass, field
from pathlib import Path

GRAMMAR = tomllib.loads((Path(__file__).parents[1] / "grammar.toml").read_text())


def spelled(group, own=()):
    """Returns "+LEAF" for each leaf of the option, then "-LEAF" for the other leaves of its group."""
    members = {leaf for _, of, leaves in GRAMMAR["options"] if of == group for leaf in leaves}
    others = [leaf for leaf in GRAMMAR["leaves"] if group and leaf in members and leaf not in own]
    return " ".join([*(f"+{leaf}" for leaf in own), *(f"-{leaf}" for leaf in others)])


# Each entry has a name, a group, and leaves below /VMIC/Options: + for true, - for false. The utility
# searches for the names in this order.
OPTIONS = tuple((name, group, spelled(group, own)) for name, group, own in GRAMMAR["options"])
# Maps a group to the leaves that are written when none of its options is installed, and to its name in
# the message.
GROUPS = {group: (spelled(group), words) for group, words in GRAMMAR["messages"].items()}

NAMES = tuple(name for name, _, _ in OPTIONS)
# MID is accepted. However, if a list is rejected for another reason, the utility also complains about MID.
UNCOMPLAINED = {form for name in NAMES if name != "MID" for form in (name, name.lower())}


@dataclass
class Finding:
    """The effects of one list."""

    total: int  # characters, including the dash in front
    found: int  # characters of the options found, including the dash before each
    messages: list = field(default_factory=list)  # the messages about groups, in order
    batch: list = field(default_factory=list)  # (path, value) in the order of the writes
    complaints: list = field(default_factory=list)  # words that are not options

    @property
    def accepted(self):
        return self.total == self.found and not self.messages


def examine(entry):
    words = entry.split("-")

    def typed(name):
        return any(w.startswith(form) for form in (name, name.lower()) for w in words)

    here = [row for row in OPTIONS if typed(row[0])]
    finding = Finding(len(entry) + 1, sum(len(name) + 1 for name, _, _ in here))
    finding.complaints = [w for w in words if w and w not in UNCOMPLAINED]
    first_of = {}
    for name, group, _ in here:
        if group in GROUPS and first_of.setdefault(group, name) != name:
            finding.messages.append(f"\nError: Enter only one option for {GROUPS[group][1]}")

    for position, (name, group, leaves) in enumerate(OPTIONS):
        if group in GROUPS:
            if first_of.get(group) == name:
                add(finding, leaves)
            last = all(g != group for _, g, _ in OPTIONS[position + 1 :])
            if last and group not in first_of:
                add(finding, GROUPS[group][0])
            if last and group == "quality":
                add_quality(finding, first_of.get(group), typed("ML"), typed("PQR"))
        elif group != "ready":
            add(finding, leaves if typed(name) else leaves.replace("+", "-"))
    return finding


def add_quality(finding, chosen, logging_typed, ready_typed):
    """Adds the leaves after PQ1 to PQ3. Capturing needs measurement logging. A power quality option
    sets the common leaf, and PQR sets it in a separate write."""
    if chosen:
        add(finding, "+PQ")
    if "ML" in GRAMMAR["further_leaves"].get(chosen, ()) and not logging_typed:
        add(finding, "+ML")
    if ready_typed:
        add(finding, "+PQ")
    elif not chosen:
        add(finding, "-PQ")


def add(finding, leaves):
    for leaf in leaves.split():
        finding.batch.append((f"/VMIC/Options/{leaf[1:]}/Value", leaf[0] == "+"))


def acceptable(entry):
    """Returns True for the lists that are accepted: every word is an option in upper or lower case, no option
    occurs twice, and no two are from the same group."""
    options = {form: row for row in OPTIONS for form in (row[0], row[0].lower())}
    rows = [options.get(word) for word in entry.split("-")]
    if None in rows or len(set(rows)) < len(rows):
        return False
    groups = [group for _, group, _ in rows if group in GROUPS]
    return len(set(groups)) == len(groups)


PATHS = tuple(f"/VMIC/Options/{leaf}/Value" for leaf in GRAMMAR["leaves"])
# Clearing the options writes the empty list, and then sets these leaves to false in this order.
CLEARED = PATHS[: GRAMMAR["cleared_leaves"]]
