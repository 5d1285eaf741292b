"""The settings that a plan may contain. For each setting, the table `SETTINGS` says where the menus
show the setting and which values the menus can set.

The table has one row per setting. Plans and reports list the settings in the order of the rows.
"""

from __future__ import annotations

import re
from collections.abc import Callable
from dataclasses import dataclass

from meter_fleet.option_groups import OPTION_GROUPS, OPTIONS
from meter_fleet.results import Value

PLACEHOLDER = "YYMMXXXXX"  # the answer "~" replaces the serial number with this text
CLEAR = "~"

METER_FORMS = ("5(35)", "6(36)", "8", "9", "45", "U")
CLASS_AMPS = ("2", "10", "20")
FREQUENCIES = ("50 Hz", "60 Hz")

# Each row has the label of an enclosure type, its code, and the white space after the code in the
# utility's help.
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
    """Checks a value of any setting that is a text. Returns the reason why a plan may not contain
    the value, or "". The utility stores spaces at either end of a text, but the screens do not show
    these spaces. Therefore meter-fleet could never verify a plan with such spaces."""
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
    """A setting of a plan. `menu`: the menu that shows the setting: main, port or init. `label`:
    the label of the setting's line in this menu. `question`: the question that the utility asks
    after the choice of this line. `why_rejected` returns the reason why a plan may not contain a
    value, or "" if the plan may contain the value. `when_missing`: the value, as in a plan, that
    the screen shows if the meter has no value or if the utility could not read the value."""

    name: str
    menu: str
    label: str
    question: str
    why_rejected: Callable[[object], str]
    when_missing: Value = ""
    names: tuple[str, ...] = ()  # for a number, the name of each value; empty for texts
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
    # Deliberate: "Enclossure" is the utility's spelling on the screen.
    Setting("enclosure", "init", "Enclosure Type", "Enter Meter Enclossure Type",
            why_no_enclosure),
)}


def on_menu(menu: str) -> list[Setting]:
    return [one for one in SETTINGS.values() if one.menu == menu]


def as_text(value: Value) -> str:
    """Converts a value of a plan to text. A flag becomes "true" or "false", and a number becomes
    decimal digits."""
    return str(value).lower() if isinstance(value, bool) else str(value)


def as_value(setting: Setting, text: str) -> Value:
    """Converts a text from a screen to a value of a plan. If the setting is a number but the text
    is not a decimal number, returns the text."""
    if setting.name == "dhcp":
        return text == "true"
    if setting.names and text.isascii() and re.fullmatch("0|-?[1-9][0-9]{0,9}", text):
        return int(text)
    return text
