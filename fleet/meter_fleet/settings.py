"""The settings of a plan: where the menus show each setting, and which values the menus can set.

The table has one row per setting, in the order in which plans and reports list them.
"""

from __future__ import annotations

import re
from collections.abc import Callable
from dataclasses import dataclass

from meter_fleet.option_groups import OPTION_GROUPS, OPTIONS
from meter_fleet.results import Value

PLACEHOLDER = "YYMMXXXXX"  # the answer "~" replaces a serial number with this text
CLEAR = "~"

METER_FORMS = ("5(35)", "6(36)", "8", "9", "45", "U")
CLASS_AMPS = ("2", "10", "20")
FREQUENCIES = ("50 Hz", "60 Hz")

# The label and the code of each enclosure type, and the spaces after the code in the utility's
# help.
ENCLOSURES = (
    ("S Base", "S", " \t"),
    ("A Base", "A", " \t"),
    ("Switchboard", "R", " \t"),
    ("IEC Meter", "I", " \t"),
    ("19 inch Rack Meter", "RK", "\t"),
    ("K1 Tall Retrofit", "K1", "  "),
    ("K1 Front Retrofit", "K1F", " "),
    ("K2 Retrofit", "K2", "  "),
    ("K10 Retrofit", "K10", " "),
    ("KS Retrofit", "KS", "  "),
    ("Type Q Retrofit", "Q", " \t"),
    ("Type Q4 Retrofit", "Q4", "  "),
    ("Type TD Retrofit", "TD", "  "),
    ("Type G1 Retrofit", "G1", "  "),
    ("Type G2 Retrofit", "G2", "  "),
    ("Type G3 Retrofit", "G3", "  "),
    ("Type G4 Retrofit", "G4", "  "),
    ("Type G5 Retrofit", "G5", "  "),
    ("Type G6 Retrofit", "G6", "  "),
    ("Type W Retrofit", "W", " \t\n"),
)
ENCLOSURE_CODES = tuple(code for _, code, _ in ENCLOSURES)

NO_CLEARING = "a plan does not clear the options list"


def why_no_flag(value: object) -> str:
    return "" if isinstance(value, bool) else "must be true or false"


def why_no_text(value: object) -> str:
    """Checks the rules for every text. The utility stores spaces at the beginning and the end of a
    text, but its screens do not show them, so a plan with such spaces could never be verified."""
    if not isinstance(value, str):
        return "must be a string"
    if not all(" " <= one <= "~" for one in value):
        return "may hold printable ASCII characters only"
    if value != value.strip(" "):
        return "has spaces at an end, which would be stored"
    return ""


def why_no_address(value: object) -> str:
    if reason := why_no_text(value):
        return reason
    assert isinstance(value, str)
    parts = value.split(".")
    if len(parts) > 4 and why_no_address(".".join(parts[:4])) == "":
        return "has more than four numbers, all of which would be stored"
    if len(parts) != 4 or not all(re.fullmatch("[0-9]{1,3}", part) for part in parts):
        return "must be four numbers with dots between them"
    if any(int(part) > 255 for part in parts):
        return "has a number above 255"
    return ""


def why_no_address_or_none(value: object) -> str:
    return "" if value == "" else why_no_address(value)


def why_no_mask(value: object) -> str:
    if value == "":
        return "cannot be removed: the utility puts 255.255.255.0 in its place"
    return why_no_address(value)


def why_no_media_type(value: object) -> str:
    if reason := why_no_text(value):
        return reason
    assert isinstance(value, str)
    if ";" in value:
        return "may not hold a semicolon, which separates media types"
    if value in ("[Auto-negotiate]", "[None]"):
        return 'is how the screen shows no media type: write "" for auto-negotiation'
    return ""


def why_no_serial_number(value: object) -> str:
    if value == PLACEHOLDER:
        return ""
    if value == "":
        return f'cannot be removed: the utility puts "{PLACEHOLDER}" in its place'
    if reason := why_no_text(value):
        return reason
    assert isinstance(value, str)
    if not re.fullmatch("[0-9]{5,9}", value):
        return "must be digits: two of the year, two of the week, up to five of the model"
    if int(value[:2]) < 9:
        return "has a year below 09"
    if not 1 <= int(value[2:4]) <= 52:
        return "has a week that is not 01 to 52"
    if int(value[4:]) == 0:
        return "has a model number of zero"
    return ""


def why_no_options_list(value: object) -> str:
    if value == "":
        return NO_CLEARING
    if reason := why_no_text(value):
        return reason
    assert isinstance(value, str)
    pieces = value.split("-")
    if "" in pieces:
        return "has a dash with no option next to it"
    for piece in pieces:
        if piece.upper() not in OPTIONS or piece not in (piece.upper(), piece.lower()):
            return f"{piece} is not a valid option"
    chosen = [piece.upper() for piece in pieces]
    for piece in chosen:
        if chosen.count(piece) > 1:
            return f"{piece} is there twice"
    for name, group in OPTION_GROUPS.items():
        if len(members := [piece for piece in chosen if piece in group]) > 1:
            return f"has {' and '.join(members)}: only one option of the group {name} is allowed"
    return ""


def why_no_index(value: object, names: tuple[str, ...]) -> str:
    if value == "" and isinstance(value, str):
        return ""
    if isinstance(value, bool) or not isinstance(value, int):
        return f"must be a number from 0 to {len(names) - 1}"
    return "" if 0 <= value < len(names) else f"must be from 0 to {len(names) - 1}"


def why_no_enclosure(value: object) -> str:
    if value == "":
        return "cannot be removed: the menu of the enclosure does not empty it"
    if reason := why_no_text(value):
        return reason
    return "" if value in ENCLOSURE_CODES else f"must be one of {', '.join(ENCLOSURE_CODES)}"


@dataclass(frozen=True)
class Setting:
    """`menu`: main, port or init. `label`: the label of the setting's line in this menu.
    `question`: the utility's question after this choice. `why_rejected` returns the reason why a
    plan may not contain a value, or "". `when_missing`: the value, as in a plan, that the screen
    shows if the meter has no value or the utility could not read it."""

    name: str
    menu: str
    label: str
    question: str
    why_rejected: Callable[[object], str]
    when_missing: Value = ""
    names: tuple[str, ...] = ()  # the names of a number's values; empty for texts
    infix: str = ""  # the text between a number and its name on the screen


SETTINGS = {one.name: one for one in (
    Setting("dhcp", "port", "Dynamic Addressing (DHCP)", "Enable DHCP? (y/n)", why_no_flag, True),
    Setting("ip_address", "port", "IP Address", "Enter IP Address", why_no_address_or_none),
    Setting("subnet_mask", "port", "Subnet Mask", "Enter Subnet Mask", why_no_mask),
    Setting("default_gateway", "port", "Default Gateway", "Enter Default Gateway",
            why_no_address_or_none),
    Setting("media_type", "port", "Media Type", "Select an option", why_no_media_type),
    Setting("primary_dns", "main", "DNS Server (Primary)", "Enter Primary DNS Server",
            why_no_address_or_none),
    Setting("secondary_dns", "main", "DNS Server (Secondary)", "Enter Secondary DNS Server",
            why_no_address_or_none),
    Setting("serial_number", "init", "Serial Number", "Enter Serial Number (YYMMXXXXX)",
            why_no_serial_number),
    Setting("options_list", "init", "Options List", "Enter Options List", why_no_options_list),
    Setting("meter_form", "init", "Meter Form", "Enter Meter Form",
            lambda value: why_no_index(value, METER_FORMS), names=METER_FORMS, infix=" = Form "),
    Setting("class_amps", "init", "Meter Class Amps", "Enter Meter Class Amps",
            lambda value: why_no_index(value, CLASS_AMPS), names=CLASS_AMPS,
            infix=" = Class Amps "),
    Setting("nominal_frequency", "init", "Meter Frequency", "Enter Meter Frequency",
            lambda value: why_no_index(value, FREQUENCIES), names=FREQUENCIES, infix=" = "),
    # "Enclossure" is the spelling on the screen. It is kept on purpose.
    Setting("enclosure", "init", "Enclosure Type", "Enter Meter Enclossure Type",
            why_no_enclosure),
)}


def on_menu(menu: str) -> list[Setting]:
    return [one for one in SETTINGS.values() if one.menu == menu]


def as_text(value: Value) -> str:
    """Returns the text for a value of a plan: "true" or "false" for a flag, decimal digits for a
    number."""
    return str(value).lower() if isinstance(value, bool) else str(value)


def as_value(setting: Setting, text: str) -> Value:
    """Converts a shown text to a value of a plan. A text that is not a valid number stays a
    text."""
    if setting.name == "dhcp":
        return text == "true"
    if setting.names and text.isascii() and re.fullmatch("0|-?[1-9][0-9]{0,9}", text):
        return int(text)
    return text
