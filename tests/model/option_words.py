"""The options list, stated over the words between its dashes.

A word is what stands between two dashes, or between a dash and an end. The utility looks
for "-" and an option's name anywhere in "-" and the list. No name holds a dash, so that
finds exactly the words that begin with the name; and since no name begins another, each
word is found by one name at most. Hence the two statements of this file: `examine` says
what any list leads to, `acceptable` says which lists are taken, without counting anything.
"""

from dataclasses import dataclass, field

# name, group, leaves below /VMIC/Options: + true, - false; names are found in this order.
OPTIONS = (
    ("1A", "serial", "+Serial/3 -Serial/1 -Serial/2"),
    ("1B", "serial", "+Serial/1 +Serial/2 -Serial/3"),
    ("1C", "serial", "+Serial/1 +Serial/2 +Serial/3"),
    ("2A", "ethernet", "+Ethernet/1 -Ethernet/2 -Ethernet/Wifi"),
    ("2B", "ethernet", "+Ethernet/1 +Ethernet/2 -Ethernet/Wifi"),
    ("2C", "ethernet", "+Ethernet/1 +Ethernet/Wifi -Ethernet/2"),
    ("3A", "modem", "+Modem/Analog -Modem/CellGSM -Modem/CellSprint -Modem/CellVerison"),
    ("3B", "modem", "+Modem/CellGSM -Modem/Analog -Modem/CellSprint -Modem/CellVerison"),
    ("3C", "modem", "+Modem/CellSprint -Modem/Analog -Modem/CellGSM -Modem/CellVerison"),
    ("3D", "modem", "+Modem/CellVerison -Modem/Analog -Modem/CellGSM -Modem/CellSprint"),
    ("4", "", "+ExternAntenna"),
    ("5", "", "+CommRepeater"),
    ("6", "", "+PhoneHomeOnPowerFail"),
    ("7A", "digital", "+IntDIO/6Ch -IntDIO/6ChwPS"),
    ("7B", "digital", "+IntDIO/6Ch +IntDIO/6ChwPS"),
    ("8A", "analog", "+IntAO/0_1ma -IntAO/4_20ma"),
    ("8B", "analog", "+IntAO/4_20ma -IntAO/0_1ma"),
    ("9A", "external", "+ExternIO/8ChDIO -ExternIO/4ChAI -ExternIO/8DIOPlus4AI"),
    ("9B", "external", "+ExternIO/4ChAI -ExternIO/8ChDIO -ExternIO/8DIOPlus4AI"),
    ("9C", "external", "+ExternIO/8DIOPlus4AI -ExternIO/8ChDIO -ExternIO/4ChAI"),
    ("WEB", "", "+Web"),
    ("IEC", "", "+IEC61850"),
    ("DLMS", "", "+DLMS"),
    ("IB", "", "+IB"),
    ("IEEE", "", "+IEEE1588"),
    ("NTP", "", "+NTP"),
    ("PPS", "", "+PPS"),
    ("DLP", "", "+DualLP"),
    ("ML", "", "+ML"),
    ("THP", "", "+3P"),
    ("EAP", "", "+EAP"),
    ("DC", "", "+DC"),
    ("PQ1", "quality", "+PQ1 -PQ2 -PQ3"),
    ("PQ2", "quality", "+PQ2 -PQ1 -PQ3"),
    ("PQ3", "quality", "+PQ1 +PQ2 +PQ3"),
    ("PQR", "ready", ""),
    ("PMU", "", "+PMU"),
    ("MID", "", "+MID"),
)

# group, its leaves when none of its options is installed, the words of its message
GROUPS = {
    "serial": ("-Serial/1 -Serial/2 -Serial/3", "Serial Ports (1A, 1B or 1C)"),
    "ethernet": ("-Ethernet/1 -Ethernet/2 -Ethernet/Wifi", "Ethernet/Wifi Ports (2A, 2B or 2C)"),
    "modem": (
        "-Modem/Analog -Modem/CellGSM -Modem/CellSprint -Modem/CellVerison",
        "Modem (3A, 3B, 3C or 3D)",
    ),
    "digital": ("-IntDIO/6Ch -IntDIO/6ChwPS", "Digital I/O (7A or 7B)"),
    "analog": ("-IntAO/0_1ma -IntAO/4_20ma", "Analog I/O (8A or 8B)"),
    "external": (
        "-ExternIO/8ChDIO -ExternIO/4ChAI -ExternIO/8DIOPlus4AI",
        "External I/O (9A, 9B or 9C)",
    ),
    "quality": ("-PQ1 -PQ2 -PQ3", "Power Quality (PQ1, PQ2 or PQ3)"),
}

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
    if chosen in ("PQ2", "PQ3") and not logging_typed:
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


# What clearing the options writes false, in this order, after the emptied list itself.
CLEARED = tuple(
    f"/VMIC/Options/{leaf}/Value"
    for leaf in (
        "Serial/1 Serial/2 Serial/3 Ethernet/1 Ethernet/2 Ethernet/Wifi Modem/Analog "
        "Modem/CellGSM Modem/CellSprint Modem/CellVerison ExternAntenna CommRepeater "
        "PhoneHomeOnPowerFail IntDIO/6Ch IntDIO/6ChwPS IntAO/0_1ma IntAO/4_20ma "
        "ExternIO/8ChDIO ExternIO/4ChAI ExternIO/8DIOPlus4AI Web IEC61850 DLMS IB IEEE1588 "
        "NTP PPS DualLP ML 3P EAP DC PQ PQ1 PQ2 PQ3 PMU"
    ).split()
)
