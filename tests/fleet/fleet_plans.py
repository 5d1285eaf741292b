"""Generates random plans, and the stores of the planned meters.

Settings have the same names and types as in a plan."""

import random

import option_words
from fleet_rig import FACTORY_LEAVES

NETWORK = "/Software/System Settings/Network/"
PORT = NETWORK + "Interface/1/"
SUPPORTED = PORT + "Media Type/Supported Types/Value"

# Maps each setting to the path of its leaf.
LEAVES = {
    "dhcp": PORT + "DHCP Enabled/Value",
    "ip_address": PORT + "IP Address/Value",
    "subnet_mask": PORT + "Subnet Mask/Value",
    "default_gateway": PORT + "Default Gateway/Value",
    "media_type": PORT + "Media Type/Current Type/Value",
    "primary_dns": NETWORK + "Name Server/1/Value",
    "secondary_dns": NETWORK + "Name Server/2/Value",
    "serial_number": "/VMIC/SerialNumber/Value",
    "options_list": "/VMIC/OptionsList/Value",
    "meter_form": "/VMC/PrimCfg/Form/Value",
    "class_amps": "/VMC/PrimCfg/ClassAmps/Value",
    "nominal_frequency": "/VMC/PrimCfg/NomFreq/Value",
    "enclosure": "/VMIC/Enclosure/Value",
}
ADDRESSES = ("ip_address", "subnet_mask", "default_gateway", "primary_dns", "secondary_dns")
NUMBERS = {"meter_form": 5, "class_amps": 2, "nominal_frequency": 1}  # the highest value of each number
REMOVABLE = ("ip_address", "default_gateway", "primary_dns", "secondary_dns")
ENCLOSURES = "S A R I RK K1 K1F K2 K10 KS Q Q4 TD G1 G2 G3 G4 G5 G6 W".split()
MEDIA_TYPES = ("10Base-T Half", "10Base-T Full", "100Base-TX Half", "100Base-TX Full", "1000Base-T")


def as_text(element):
    if isinstance(element, bool):
        return "true" if element else "false"
    return str(element)


def read_setting(leaves, setting):
    """Returns the value that the utility shows, with the type of a plan. If the setting is a number but a
    plan cannot contain the leaf's value, returns the value as text."""
    leaf = leaves.get(LEAVES[setting])
    if setting == "dhcp":  # the utility treats a missing leaf, or a leaf of another type, as on
        return leaf if isinstance(leaf, bool) else True
    if setting in NUMBERS:
        text = "" if leaf is None else as_text(leaf)
        return int(text) if text.isdigit() and str(int(text)) == text else text
    return leaf if isinstance(leaf, str) else ""


def read_settings(leaves):
    return {setting: read_setting(leaves, setting) for setting in LEAVES}


# --- values


def address(rng):
    return ".".join(str(rng.choice((0, 1, 10, 99, 192, 254, 255, rng.randrange(256)))) for _ in range(4))


def options_list(rng):
    """Returns a random options list that the utility accepts. The options are in random order. Each option is
    in upper or lower case."""
    chosen, groups = [], set()
    for name, group, _ in rng.sample(option_words.OPTIONS, rng.randrange(1, 20)):
        if group not in groups or group not in option_words.GROUPS:
            chosen.append(name if rng.random() < 0.9 else name.lower())
            groups.add(group)
    assert option_words.acceptable("-".join(chosen))
    return "-".join(chosen)


def serial_number(rng):
    return f"{rng.randrange(9, 100):02}{rng.randrange(1, 53):02}{rng.randrange(1, 100000):05}"


def supported_types(leaves):
    text = leaves.get(SUPPORTED, "")
    return [part for part in text.split(";") if part] if isinstance(text, str) else []


def value(rng, setting, leaves):
    """Returns a random value that can be entered in the meter's menus."""
    if setting == "dhcp":
        return rng.random() < 0.5
    if setting in REMOVABLE and rng.random() < 0.1:
        return ""
    if setting in ADDRESSES:
        return address(rng)
    if setting in NUMBERS:
        return rng.randrange(NUMBERS[setting] + 1)
    if setting == "media_type":
        return rng.choice(["", *supported_types(leaves)])
    return {"serial_number": serial_number, "options_list": options_list,
            "enclosure": lambda rng: rng.choice(ENCLOSURES)}[setting](rng)  # fmt: skip


def nearby(rng, setting, present):
    """Returns a value that differs from `present` in at most one character, or None if such a value is not
    found."""
    if setting not in (*ADDRESSES, "serial_number") or not isinstance(present, str) or len(present) < 7:
        return None
    place = rng.randrange(len(present) - 1, len(present) - 3, -1)
    if not present[place].isdigit():
        return None
    changed = present[:place] + rng.choice("123456789") + present[place + 1 :]
    parts = changed.split(".")
    return changed if len(parts) == 1 or all(int(part) <= 255 for part in parts) else None


# --- stores


def strange(rng, setting):
    """Returns an unusual value for a leaf, or None if the leaf must be absent. No text ends with a space,
    because the screens do not show a space at the end."""
    return rng.choice((None, None, "", "[none]", 5, True, "x" * rng.randrange(1, 60), "0.0.0.0 and more",
                       "3x", "-1", "99", "a : b", "Enabled", "==>  x"))


def store(rng):
    leaves = dict(FACTORY_LEAVES)
    if rng.random() < 0.2:
        leaves[SUPPORTED] = ";".join(rng.sample(MEDIA_TYPES, rng.randrange(len(MEDIA_TYPES) + 1)))
    for setting, path in LEAVES.items():
        draw = rng.random()
        if draw < 0.5:
            leaves[path] = value(rng, setting, leaves)
        elif draw < 0.55:
            leaves[path] = strange(rng, setting)
    return {path: leaf for path, leaf in leaves.items() if leaf is not None}


# --- plans


def settings(rng, leaves):
    """Returns the settings of a plan for a meter with these leaves. The meter already has about half of the
    planned values."""
    named = [setting for setting in LEAVES if rng.random() < rng.choice((0.15, 0.6, 1))]
    chosen = {}
    for setting in named:
        present = read_setting(leaves, setting)
        wanted = present if rng.random() < 0.45 and can_plan(setting, present, leaves) else None
        if wanted is None and rng.random() < 0.2:
            wanted = nearby(rng, setting, present)
        chosen[setting] = wanted if wanted is not None else value(rng, setting, leaves)
    return chosen or {"dhcp": rng.random() < 0.5}


def can_plan(setting, wanted, leaves):
    """Returns True if a plan may contain this value for this meter. Returns False for any value that
    meter-fleet rejects, because a rejected plan would prevent the work on all meters of a run."""
    if setting == "dhcp":
        return isinstance(wanted, bool)
    if setting in NUMBERS:
        return isinstance(wanted, int) and wanted <= NUMBERS[setting]
    if setting in ADDRESSES:
        return is_address(wanted) or (wanted == "" and setting in REMOVABLE)
    if setting == "media_type":
        return wanted in ("", *supported_types(leaves))
    if setting == "serial_number":
        return len(wanted) == 9 and wanted.isdigit() and wanted != "0" * 9 and is_serial(wanted)
    if setting == "options_list":
        return option_words.acceptable(wanted)
    return wanted in ENCLOSURES


def is_address(text):
    parts = text.split(".")
    return len(parts) == 4 and all(part.isdigit() and str(int(part)) == part and int(part) < 256 for part in parts)


def is_serial(text):
    return int(text[:2]) >= 9 and 1 <= int(text[2:4]) <= 52 and int(text[4:]) > 0


def generate(seed, number):
    """Returns a random generator for further use, the leaves of a meter, and the planned settings of this
    meter."""
    rng = random.Random(f"{seed}/{number}")
    leaves = store(rng)
    return rng, leaves, settings(rng, leaves)
