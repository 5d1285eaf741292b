"""Defines the grammar of the options list by the words in the list.

A word is the text between two dashes of the list, or between a dash and the start or end of the list. The
utility puts a dash in front of the list, and then searches for a dash followed by the name of an option. No
name contains a dash, so the search finds exactly the words that begin with the name. No name is the beginning
of another name, so each word matches at most one name. `examine` returns the effects of any list.
`acceptable` decides whether the utility accepts a list, but does not count characters like the utility.
"""

import tomllib
from dataclasses import dataclass, field
from pathlib import Path

GRAMMAR = tomllib.loads((Path(__file__).parents[1] / "grammar.toml").read_text())


def spelled(group, own=()):
    """Returns a text with "+LEAF" for each leaf in `own`, then "-LEAF" for each other leaf of `group`."""
    members = {leaf for _, of, leaves in GRAMMAR["options"] if of == group for leaf in leaves}
    others = [leaf for leaf in GRAMMAR["leaves"] if group and leaf in members and leaf not in own]
    return " ".join([*(f"+{leaf}" for leaf in own), *(f"-{leaf}" for leaf in others)])


# Each entry has the name of an option, its group, and the leaves below /VMIC/Options that the option writes:
# "+LEAF" for true, "-LEAF" for false. The utility searches for the names in this order.
OPTIONS = tuple((name, group, spelled(group, own)) for name, group, own in GRAMMAR["options"])
# Maps each exclusive group to a pair: the leaves that are written if the list has no option of the group, and
# the name of the group in the error message.
GROUPS = {group: (spelled(group), words) for group, words in GRAMMAR["messages"].items()}

NAMES = tuple(name for name, _, _ in OPTIONS)
# The words that the utility never calls invalid. MID is not in this set, because the utility calls MID
# invalid in a list that it rejects for another reason. Otherwise the utility accepts MID.
UNCOMPLAINED = {form for name in NAMES if name != "MID" for form in (name, name.lower())}


@dataclass
class Finding:
    """The effects of one list."""

    total: int  # the number of characters in the list, including the dash in front of the list
    found: int  # the number of characters in the found options, including the dash before each option
    messages: list = field(default_factory=list)  # the error messages about groups, in order
    batch: list = field(default_factory=list)  # pairs (path, value) in the order of the writes
    complaints: list = field(default_factory=list)  # the words that the utility calls invalid

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
    """Adds the leaves that follow PQ1 to PQ3 in the batch. An option of the group sets the leaf PQ, and some
    options also set ML unless the list contains ML. The option PQR sets the leaf PQ in a separate write."""
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
    """Returns True if the utility accepts the list. In an accepted list, every word is an option in upper or
    lower case, no option occurs twice, and no two options are from the same exclusive group."""
    options = {form: row for row in OPTIONS for form in (row[0], row[0].lower())}
    rows = [options.get(word) for word in entry.split("-")]
    if None in rows or len(set(rows)) < len(rows):
        return False
    groups = [group for _, group, _ in rows if group in GROUPS]
    return len(set(groups)) == len(groups)


PATHS = tuple(f"/VMIC/Options/{leaf}/Value" for leaf in GRAMMAR["leaves"])
# Clearing the options list writes an empty list, and then sets these leaves to false in this order.
CLEARED = PATHS[: GRAMMAR["cleared_leaves"]]
