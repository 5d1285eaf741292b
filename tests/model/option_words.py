"""The options list, stated over the words between its dashes.

A word is what stands between two dashes, or between a dash and an end. The utility looks
for "-" and an option's name anywhere in "-" and the list. No name holds a dash, so that
finds exactly the words that begin with the name; and since no name begins another, each
word is found by one name at most. Hence the two statements of this file: `examine` says
what any list leads to, `acceptable` says which lists are taken, without counting anything.
"""

import tomllib
from dataclasses import dataclass, field
from pathlib import Path

GRAMMAR = tomllib.loads((Path(__file__).parents[1] / "grammar.toml").read_text())


def spelled(group, own=()):
    """An option's own leaves as "+LEAF", then the others of its group as "-LEAF"."""
    members = {leaf for _, of, leaves in GRAMMAR["options"] if of == group for leaf in leaves}
    others = [leaf for leaf in GRAMMAR["leaves"] if group and leaf in members and leaf not in own]
    return " ".join([*(f"+{leaf}" for leaf in own), *(f"-{leaf}" for leaf in others)])


# name, group, leaves below /VMIC/Options: + true, - false; names are found in this order.
OPTIONS = tuple((name, group, spelled(group, own)) for name, group, own in GRAMMAR["options"])
# group, its leaves when none of its options is installed, the words of its message
GROUPS = {group: (spelled(group), words) for group, words in GRAMMAR["messages"].items()}

NAMES = tuple(name for name, _, _ in OPTIONS)
# MID is taken, but a list that is refused for another reason complains about it as well.
UNCOMPLAINED = {form for name in NAMES if name != "MID" for form in (name, name.lower())}


@dataclass
class Finding:
    """What one list leads to."""

    total: int  # characters, the dash in front counted
    found: int  # characters of the options found, each with its dash
    messages: list = field(default_factory=list)  # about groups, in the order printed
    batch: list = field(default_factory=list)  # (path, value) in the order written
    complaints: list = field(default_factory=list)  # words that are no option

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
    """The leaves that follow PQ1 to PQ3: capturing needs measurement logging, and any
    power quality option, "ready" included, sets the common leaf, each on its own account."""
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
    """The lists that are taken: every word is an option in capitals or in small letters,
    no option comes twice, and no two come from one group."""
    options = {form: row for row in OPTIONS for form in (row[0], row[0].lower())}
    rows = [options.get(word) for word in entry.split("-")]
    if None in rows or len(set(rows)) < len(rows):
        return False
    groups = [group for _, group, _ in rows if group in GROUPS]
    return len(set(groups)) == len(groups)


PATHS = tuple(f"/VMIC/Options/{leaf}/Value" for leaf in GRAMMAR["leaves"])
# What clearing the options writes false, in this order, after the emptied list itself.
CLEARED = PATHS[: GRAMMAR["cleared_leaves"]]
