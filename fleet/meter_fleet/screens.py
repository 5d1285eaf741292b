"""The grammar of everything that the utility shows. Any other output is an error.

The output of a session is a sequence of exchanges. An exchange consists of any number of messages
and a prompt. A prompt is a menu or a question. After the prompt comes the echo of the typed keys,
up to the line end that ends the exchange.

The caller must remove carriage returns first, because the grammar does not contain them. Each
character of a text is one byte, from 0 to 255.
"""

from __future__ import annotations

import re
from collections.abc import Iterable
from dataclasses import dataclass

from meter_fleet.settings import (CLASS_AMPS, ENCLOSURES, FREQUENCIES, METER_FORMS, SETTINGS,
                                  Setting, on_menu)

SCREEN_WIDTH = 78
CHOOSE = "Select an option ==>  "

PORT_LINE = "Ethernet Port 1 Settings"
PASSWORDS_LINE = "Reset all passwords to Factory Defaults"
INIT_LINE = "Velmora II Initialization (Serial and Options List)"
SAVE_LINE = "Save & apply all settings"
CLEAR_LINE = "Clear Velmora II Options List"
FACTORY_LINE = "Reset to Factory Defaults"
EXIT = "Exit"
EXIT_UNSAVED = "Exit without saving"
BACK = "Exit to previous menu"

# The menu lines that meter-fleet never chooses.
FORBIDDEN_LINES = (PASSWORDS_LINE, CLEAR_LINE, FACTORY_LINE)

SAVE_QUESTION = "Save & apply all settings? (y/n)"
LEAVE_QUESTION = "Exit without saving? (y/n)"


@dataclass(frozen=True)
class Menu:
    """A complete menu. `choices` maps the label of each line to its number. `values` maps the name
    of each setting to its text. The text is "" if there is no value, and "true" or "false" for a
    flag."""

    kind: str  # main, port or init
    choices: dict[str, int]
    values: dict[str, str]


@dataclass(frozen=True)
class Question:
    """`media_types`: the offered media types, in order, if the question asks for the media type.
    The tuple is empty for any other question."""

    text: str
    media_types: tuple[str, ...] = ()


@dataclass(frozen=True)
class Damaged:
    """A prompt that could be read only in part. `is_menu`: True if the prompt belongs to a menu."""

    is_menu: bool


Prompt = Menu | Question | Damaged


@dataclass(frozen=True)
class Message:
    name: str
    text: str


@dataclass(frozen=True)
class Exchange:
    """The messages before a prompt, and the prompt. `end`: the position in the text where the
    prompt ends."""

    messages: tuple[Message, ...]
    prompt: Menu | Question
    end: int


# -- menus --

RULE = "-" * SCREEN_WIDTH


def frame(title: str) -> str:
    """Returns a pattern for the title of a menu between two lines of dashes. The title is centred
    between dashes. If the number of these dashes is odd, the right side has one dash more."""
    dashes = SCREEN_WIDTH - 2 - len(title)
    left = dashes // 2
    return re.escape(f"{RULE}\n{'-' * left} {title} {'-' * (dashes - left)}\n{RULE}\n\n")


def choice(number: str, label: str) -> str:
    return rf"{number}\.  {re.escape(f'{label:<73}')}\n"


def value_line(number: str, label: str, value: str) -> str:
    """Returns a pattern for a line with a value. The utility pads the value to 38 columns and does
    not shorten longer values. Therefore a value with fewer than 38 characters has lost a byte."""
    return rf"{number}  {re.escape(f'{label:<30}')}  :  {value}\n"


def setting_line(number: int, setting: Setting) -> str:
    return value_line(rf" {number}\.", setting.label, rf"(?P<{setting.name}>[^\n]{{38,}})")


FLAG = f"(?:{'Enabled':<38}|{'Disabled':<38})"
MAIN, PORT, INIT = on_menu("main"), on_menu("port"), on_menu("init")

MAIN_MENU = (
    frame("Velmora II Settings") + choice(" 1", PORT_LINE) + r"\n"
    + "".join(setting_line(number, one) for number, one in enumerate(MAIN, 2)) + r"\n"
    + choice(" 4", PASSWORDS_LINE) + r"\n"
    + rf"(?P<main_init>{choice(' 5', INIT_LINE)}\n)?"
    # The number of this line is 6 after a start with -m, otherwise 5.
    + rf"(?P<main_save>{choice('(?(main_init) 6| 5)', SAVE_LINE)}\n)?"
    + rf"(?(main_save){choice(' 0', EXIT_UNSAVED)}|{choice(' 0', EXIT)})\n")

PORT_MENU = (
    frame("Network Settings: Ethernet Port 1")
    + value_line(r" 1\.", PORT[0].label, f"(?P<dhcp>{FLAG})") + r"\n"
    + "".join(setting_line(number, one) for number, one in enumerate(PORT[1:], 2)) + r"\n"
    + value_line("   ", "MAC Address", r"[^\n]{38,}") + value_line("   ", "Link Status", FLAG)
    + r"\n" + choice(" 0", BACK) + r"\n")

INIT_MENU = (
    frame("Velmora II Settings")
    + "".join(setting_line(number, one) for number, one in enumerate(INIT, 1)) + r"\n"
    + choice(" 7", CLEAR_LINE) + r"\n" + choice(" 8", FACTORY_LINE) + r"\n"
    + choice(" 0", BACK) + r"\n")

ANY_MENU = re.compile(
    rf"(?:(?P<main>{MAIN_MENU})|(?P<port>{PORT_MENU})|(?P<init>{INIT_MENU})){re.escape(CHOOSE)}")

CHOICE_OF = re.compile(r"^ (\d)\.  (.+?)(?: +$|  +:  )", re.M)

NOTHING = {"[None]": ""}
SHOWN_AS = {"dhcp": {"Enabled": "true", "Disabled": "false"},
            "media_type": {"[Auto-negotiate]": ""}}
INVALID = " IS INVALID!!!"


def decimal_value(text: str) -> int:
    """Converts a text to a number in the same way as the C function `atoi`."""
    match = re.match(r"[ \t\n\v\f\r]*([+-]?[0-9]+)", text)
    return int(match[1]) if match else 0


def index_text(setting: Setting, shown: str) -> str | None:
    """Takes a number that the screen shows together with its name. Returns the number as text, or
    None if the name belongs to another number."""
    invalid = shown.endswith(INVALID)
    text = shown.removesuffix(INVALID) if invalid else shown.rpartition(setting.infix)[0]
    number = decimal_value(text)
    if text == "" or invalid != (not 0 <= number < len(setting.names)):
        return None
    return text if invalid or shown == text + setting.infix + setting.names[number] else None


def shown_text(setting: Setting, field: str) -> str | None:
    """Returns the text of a shown value, or None if the screen never shows such a value. Removes
    all spaces at the end, because the screen does not distinguish padding from spaces of the
    value."""
    shown = field.rstrip(" ")
    if shown in (known := SHOWN_AS.get(setting.name, NOTHING)):
        return known[shown]
    if shown == "":
        return None
    return index_text(setting, shown) if setting.names else shown


def read_menu(match: re.Match[str]) -> Menu | None:
    kind = next(one for one in ("main", "port", "init") if match[one] is not None)
    values = {}
    for setting in on_menu(kind):
        text = shown_text(setting, match[setting.name])
        if text is None:
            return None
        values[setting.name] = text
    choices = {label: int(number) for number, label in CHOICE_OF.findall(match[0])}
    return Menu(kind, choices, values)


# -- questions --

def column_help(lines: Iterable[str]) -> str:
    return re.escape("".join(f"{line}\n" for line in lines))


def index_help(heading: str, column: str, rows: Iterable[str]) -> str:
    return column_help([f"Below are the {heading} and the corresponding value that has to be "
                        "entered.\n", f"{column}    VALUE TO BE ENTERED", *rows, ""])


FORM_HELP = index_help("Meter Forms", "METER FORM", [
    f"{label}  ------------>  {index}" for label, index in
    zip(("  5(35)", "  6(36)", "    8  ", "    9  ", "   45  ", "    U  "),
        range(len(METER_FORMS)))])
AMPS_HELP = index_help("Meter Class Amps", "METER CLASS AMPS", [
    f"{name:>8}    -------------->   {index}" for index, name in enumerate(CLASS_AMPS)])
FREQUENCY_HELP = index_help("Meter Frequencies", "METER FREQUENCY", [
    f"     {name}  -------------->  {index}" for index, name in enumerate(FREQUENCIES)])
ENCLOSURE_HELP = column_help([
    "Below are the Meter Enclosure Types; Enter the abbreviated string.\n",
    "ENCLOSURE TYPE      VALUE TO BE ENTERED", "-----------------   -------------------",
    *(f"{label:<20}---> {code}{tail}" for label, code, tail in ENCLOSURES)])
# The list of options in the utility's help. It differs from the options that the utility accepts.
OPTIONS_HELP = column_help([
    "Enter the Velmora II Options List including ONLY options which are installed in this unit.",
    "You MUST enter dashes between options but any order is accepted. IF AN OPTION IS NOT PRESENT, "
    "DO NOT ENTER A VALUE.",
    "Sample options string with ALL options enabled "
    "1C-2B-4-5-WEB-IEC-IB-IEEE-NTP-PPS-DLP-ML-THP-EAP-DC-PQ3-PMU",
    "where:", "",
    "1x   = 2 characters for the Serial port options",
    "       1A = Single Serial: RS-232",
    "       1B = Dual Serial: RS-232/485",
    "       1C = Triple Serial: (2)RS-232/485, (1)RS-232",
    "2x   = 2 characters for the Ethernet/Wifi options",
    "       2A = Single Ethernet Port",
    "       2B = Dual Ethernet Port",
    "       2C = Single Ethernet & WIFI Port",
    "5    = 1 char for Communication Repeater",
    "WEB  = WEB Server",
    "MID  = MID meter",
    "IEC  = IEC61850 Protocol",
    "DLMS = DLMS Protocol",
    "IB   = IRIG-B Time Sync",
    "IEEE = IEEE 1599 Time Sync",
    "NTP  = NTP Time Sync",
    "PPS  = Pulse Per Second Time Sync",
    "DLP  = Dual Load Profile",
    "ML   = Measurement Logging (Auto set with PQ2 or PQ3)",
    "PQx  = Select 1 for Power Quality Options",
    "       PQR = Power Quality Ready",
    "       PQ1 = PQ Logging, High Speed RMS, Power Availability, EN50160, CBEMA, ITIC",
    "       PQ2 = PQ Capture, Waveform capture, Harmonic Recording, Flicker",
    "       PQ3 = PQ Expert, PQ Logging and PQ Capture",
    "PMU  = PMU(30 frames/sec)",
    ""])

HELP = {"meter_form": FORM_HELP, "class_amps": AMPS_HELP, "nominal_frequency": FREQUENCY_HELP,
        "enclosure": ENCLOSURE_HELP, "options_list": OPTIONS_HELP}

MEDIA_QUESTION = SETTINGS["media_type"].question
MEDIA_TYPES = (r"\nAvailable media types:\n\n0\) Auto-negotiate \(recommended\)\n"
               r"(?P<types>(?:\d+\) [^\n]*\n)*)"
               rf"\n{MEDIA_QUESTION} \(0-(?P<count>\d+)\) ==>  : ")

OTHER_QUESTIONS = (SAVE_QUESTION, LEAVE_QUESTION, "Reset all passwords ? (y/n)",
                   "Clear Velmora II Options List? (y/n)", "Reset all to Factory Defaults? (y/n)")
QUESTION_TEXTS = (*(one.question for one in SETTINGS.values() if one.name != "media_type"),
                  *OTHER_QUESTIONS)
PLAIN_QUESTION = "(?P<text>" + "|".join(map(re.escape, QUESTION_TEXTS)) + "): "
ANY_HELP = "(?:" + "|".join(HELP.values()) + ")?"
ANY_QUESTION = re.compile(rf"{ANY_HELP}{PLAIN_QUESTION}|{MEDIA_TYPES}")

# Maps each question to the help that the utility prints before it. The question for the enclosure
# may also come without help.
HELP_BEFORE = {SETTINGS[name].question: re.compile(text) for name, text in HELP.items()}
MAY_LACK_HELP = SETTINGS["enclosure"].question


def read_media_question(match: re.Match[str]) -> Question | None:
    types = match["types"].split("\n")[:-1]
    names = tuple(one.partition(") ")[2] for one in types)
    numbered = types == [f"{number}) {name}" for number, name in enumerate(names, 1)]
    complete = numbered and int(match["count"]) == len(names)
    return Question(MEDIA_QUESTION, names) if complete else None


def read_question(match: re.Match[str]) -> Question | None:
    text = match["text"]
    if text is None:
        return read_media_question(match)
    help_text = match[0].removesuffix(f"{text}: ")
    expected = HELP_BEFORE.get(text)
    if expected is None:
        return Question(text) if help_text == "" else None
    if expected.fullmatch(help_text) or help_text == "" and text == MAY_LACK_HELP:
        return Question(text)
    return None


# -- messages --

ONLY_ONE = "\nError: Enter only one option for "
MESSAGES = {
    "invalid_selection": "\nError: Invalid selection\n\n",
    "options_timed_out": "\nTimed out.\n",
    "extra_dash": "\nError: Extra '-' at the beginning of the options list.",
    "extra_dash_in_list": "\nError: Extra '-' at the beginning of the list.",
    "length_mismatch": "\nLength mismatch between entered list and created list.",
    "group_serial": ONLY_ONE + "Serial Ports (1A, 1B or 1C)",
    "group_ethernet": ONLY_ONE + "Ethernet/Wifi Ports (2A, 2B or 2C)",
    "group_modem": ONLY_ONE + "Modem (3A, 3B, 3C or 3D)",
    "group_digital": ONLY_ONE + "Digital I/O (7A or 7B)",
    "group_analog": ONLY_ONE + "Analog I/O (8A or 8B)",
    "group_external": ONLY_ONE + "External I/O (9A, 9B or 9C)",
    "group_power_quality": ONLY_ONE + "Power Quality (PQ1, PQ2 or PQ3)",
    "check_entry": "\nCheck the entry.\n",
    "nothing_entered": "\nNothing entered; no change.Error: Invalid Enclosure type\n",
    "timed_out": "Timed out.\n",
    "invalid_address": "Error: invalid address\n",
    "invalid_response": "Error: invalid response\n",
    "invalid_media_type": "Error: invalid selection\n",
    "invalid_year": "Invalid Year (YY) entry must be 09->99\n",
    "invalid_week": "Invalid Week of year (WW) must be 1->52\n",
    "invalid_model": "Invalid Model number XXXXX must be > 0\n",
    "invalid_serial": "Error: Invalid Serial number\n",
    "invalid_form": "Invalid. Meter Form must be 0->5\n",
    "invalid_amps": "Invalid. Meter Class Amps must be 0->2\n",
    "invalid_frequency": "Invalid. Meter Frequency must be 0 or 1\n",
    "found": "Found valid match.\n",
    "options_cleared": "Velmora II Options list cleared.\n",
    "options_not_cleared": "Error while setting default options for Velmora II.\n",
    "restoring": "Restoring defaults: please wait...\n",
    "passwords_reset": "Passwords reset to defaults.\n",
    "factory_reset": "Settings reset to defaults.\n",
    "no_connection": "Error: can't connect to CDS\n",
    "network_unread": "Warning: couldn't read network settings!\n",
    "port_unread": "Warning: couldn't read interface settings!\n",
    "init_unread": "Warning: couldn't read Velmora II settings!\n",
    "options_set": "Velmora II Options list set in CDS\n",
    "options_not_set": "Error while setting Velmora II Options list in cds.\n",
    "logs_sent": "Velmora II ML Config sent\n",
    "updating_model": "Updating the Model Number\n",
    "reset_needed": "Meter must be reset for changed options to take effect.\n",
    "not_saved": "Error saving settings!\n",
    "saved": "Settings saved.\n",
}
MESSAGE_PATTERNS = {
    "option_count": r"Could be an error, totalChars=\d+, validChars=\d+\n",
    "not_an_option": r"\nError: [^\n]* is NOT a valid option\.",
    "not_an_enclosure": r"Error: [^\n]* is NOT a valid enclosure type\.\n",
    # Deliberate: the utility prints the byte 0x93 before the path of the DHCP leaf.
    "leaf_not_set": "set_leaf failed for \x93?/VMC/Comms/EthPort/1/General/"
                    "(?:DHCP|IPAddress|SubnetMask|DefaultGateway)/Value\n",
}
ANY_MESSAGE = re.compile("|".join(
    f"(?P<{name}>{pattern})" for name, pattern in
    ({name: re.escape(text) for name, text in MESSAGES.items()} | MESSAGE_PATTERNS).items()))

UNREAD = ("network_unread", "port_unread", "init_unread")
NOT_ASKED_FOR = ("passwords_reset", "options_cleared", "options_not_cleared", "factory_reset")


# -- exchanges --

def read_prompt(text: str, start: int) -> tuple[Menu | Question, int] | None:
    """Returns the prompt that begins at `start`, and the position of its end. Returns None if no
    complete prompt begins at `start`. A menu begins with two line ends."""
    if text.startswith("\n\n", start) and (match := ANY_MENU.match(text, start + 2)):
        menu = read_menu(match)
        return (menu, match.end()) if menu else None
    if match := ANY_QUESTION.match(text, start):
        question = read_question(match)
        return (question, match.end()) if question else None
    return None


def read_exchange(text: str) -> Exchange | None:
    """Returns the exchange at the beginning of `text`. Returns None if the exchange is incomplete
    or not in the grammar."""
    messages: list[Message] = []
    place = 0
    while True:
        if found := read_prompt(text, place):
            return Exchange(tuple(messages), *found)
        message = ANY_MESSAGE.match(text, place)
        if not message:
            return None
        assert message.lastgroup
        messages.append(Message(message.lastgroup, message[0].strip("\n")))
        place = message.end()


ANY_MEDIA_QUESTION = re.compile(MEDIA_TYPES)
LAST_QUESTION = re.compile(rf"(?:^|\n){PLAIN_QUESTION}(?P<typed>[^\n]*)$")
LAST_CHOICE = re.compile(rf"(?:^|\n){re.escape(CHOOSE)}(?P<typed>[^\n]*)$")


def read_damaged(text: str) -> tuple[Prompt, int] | None:
    """Finds the last prompt in a text that is not in the grammar. Returns the prompt and the
    position of its end, or None. Only echoes of keys may follow the prompt. A menu is found if all
    of its lines are in the grammar. If only the last line of a menu is in the grammar, the prompt
    is `Damaged`. A question is found if its own line is in the grammar."""
    for pattern in (ANY_MENU, ANY_MEDIA_QUESTION):
        for match in pattern.finditer(text):
            whole = read_menu(match) if pattern is ANY_MENU else read_media_question(match)
            if whole and "\n" not in text[match.end():]:
                return whole, match.end()
    if found := LAST_CHOICE.search(text):
        return Damaged(is_menu=True), found.start("typed")
    if found := LAST_QUESTION.search(text):
        return Question(found["text"]), found.start("typed")
    return None
