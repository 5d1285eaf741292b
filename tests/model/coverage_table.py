"""Prints the coverage of a differential run. Each line counts one item: a message that a session can show, a
question, one end of a question, a kind of fault, or another event. A count of zero means that no session of
the run reached the item."""

from collections import Counter

import option_words

MESSAGES = (
    "Warning: couldn't read network settings!",
    "Warning: couldn't read interface settings!",
    "Warning: couldn't read Velmora II settings!",
    "Error: can't connect to CDS",
    "Error: Invalid selection",
    "Error: invalid address",
    "Error: invalid response",
    "Error: invalid selection",
    "\nTimed out.",
    "\n\nTimed out.",
    "Restoring defaults: please wait...",
    "Passwords reset to defaults.",
    "Settings reset to defaults.",
    "set_leaf failed for /VMC/Comms/EthPort/1/General/IPAddress/Value",
    "set_leaf failed for /VMC/Comms/EthPort/1/General/SubnetMask/Value",
    "set_leaf failed for /VMC/Comms/EthPort/1/General/DefaultGateway/Value",
    b"set_leaf failed for \x93/VMC/Comms/EthPort/1/General/DHCP/Value",
    "Error while setting Velmora II Options list in cds.",
    "Velmora II Options list set in CDS",
    "Velmora II ML Config sent",
    "Updating the Model Number",
    "Meter must be reset for changed options to take effect.",
    "Error saving settings!",
    "Settings saved.",
    "Invalid Year (YY) entry must be 09->99",
    "Invalid Week of year (WW) must be 1->52",
    "Invalid Model number XXXXX must be > 0",
    "Error: Invalid Serial number",
    "Invalid. Meter Form must be 0->5",
    "Invalid. Meter Class Amps must be 0->2",
    "Invalid. Meter Frequency must be 0 or 1",
    " IS INVALID!!!",
    "Below are the Meter Forms",
    "Below are the Meter Class Amps",
    "Below are the Meter Frequencies",
    "Below are the Meter Enclosure Types",
    "\nNothing entered; no change.Error: Invalid Enclosure type",
    "is NOT a valid enclosure type.",
    "Found valid match.",
    "Enter the Velmora II Options List including ONLY",
    "\nError: Extra '-' at the beginning of the options list.",
    "Could be an error, totalChars=",
    "is NOT a valid option.",
    "\nCheck the entry.",
    *(f"Error: Enter only one option for {words}" for _, words in option_words.GROUPS.values()),
    "Velmora II Options list cleared.",
    "Error while setting default options for Velmora II.",
    "[None]",
    "[Auto-negotiate]",
    "Exit without saving",
    "YYMMXXXXX    ",
)

QUESTIONS = (
    "main menu",
    "port menu",
    "init menu",
    "Enter Primary DNS Server",
    "Enter Secondary DNS Server",
    "Reset all passwords ? (y/n)",
    "Exit without saving? (y/n)",
    "Save & apply all settings? (y/n)",
    "Enable DHCP? (y/n)",
    "Enter IP Address",
    "Enter Subnet Mask",
    "Enter Default Gateway",
    "Available media types:",
    "Enter Serial Number (YYMMXXXXX)",
    "Enter Options List",
    "Enter Meter Form",
    "Enter Meter Class Amps",
    "Enter Meter Frequency",
    "Enter Meter Enclossure Type",
    "Clear Velmora II Options List? (y/n)",
    "Reset all to Factory Defaults? (y/n)",
)
ENDS = ("time-out", "interrupted")
FAULTS = tuple(
    f"fault with {key}: {call}"
    for call in ("pcd_init", "get_leaves", "set_leaf", "set_leaves", "clear_leaves")
    for key in ("path", "result", "status", "after", "times")
    if (call, key) != ("pcd_init", "path")  # pcd_init has no path, so such a fault never applies
)
EVENTS = (
    "start: connected", "start: connected, -m", "start: no connection", "start: usage",
    "start: version", "end: left", "end: script ended", "line ended by Enter",
    "line ended by Ctrl-D", "line ended by end", "backspace", "backspace on an empty line",
    "key ignored", "key ignored, above 127", "time-out", "time-out with text typed",
    "interrupted", "interrupted with text typed", "factory reset: reconnected",
    "fault: several ready for one call",
    "save: failed by result", "save: failed by status", "save: leaves cleared",
    "save: clearing failed", "save: batch of a former save written",
    "save: batch written without its list",
    "save: instead of Velmora II Options list set in CDS",
    "save: instead of Velmora II ML Config sent",
    "media type: automatic", "media type: named", "media type: empty name", "media type: rejected",
    "options: accepted", "options: accepted, over 72", "options: emptied", "options: emptied, edited",
    "options: rejected by count", "options: rejected by count, no complaint",
    "options: rejected by group alone", "serial: accepted", "serial: placeholder",
)  # fmt: skip

EXPECTED = (
    *(f"asked: {question}" for question in QUESTIONS),
    *(f"{question}: {end}" for question in QUESTIONS for end in ENDS),
    *FAULTS,
    *EVENTS,
)


def messages_in(outcome):
    found = Counter()
    for message in MESSAGES:
        text = message if isinstance(message, bytes) else message.encode()
        if count := outcome.stdout.count(text):
            found[f"shown: {message!r}"] = count
    return found


def show(reached):
    names = dict.fromkeys([f"shown: {message!r}" for message in MESSAGES])
    names |= dict.fromkeys(EXPECTED) | dict.fromkeys(sorted(reached))
    for name in names:
        print(f"{reached[name]:9}  {name}" + ("" if reached[name] else "   NOT REACHED"))
