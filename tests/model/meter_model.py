"""An executable reference model of the settings utility. The model predicts the screens of a session, its
library calls and commands, and the files after the session. `play` is a pure function of the session and of
the typed keys.

A session is a dict with these keys, which are also the keys of a saved JSON file:

  arguments  the arguments of the program
  home       the variable METER_SIM_DIR: "set" (the default), "empty" or "unset"
  store      the store: a dict of leaves, the text of the file, or null for no file
  factory    the factory file: a dict of leaves, the text of the file, or null for no file
  faults     the faults: a list of dicts, or the text of the file
  jffs       the file names in the downloads directory, or null for no directory
  script     the typed keys and the other ends of waits for a key (see `waits_of`)

The input of a session is a callable. Its arguments are the name of a question and the number of numbered
answers that the question offers. The callable returns the event that ends the wait for a key: a key (0 to
255), END, TIME_OUT or INTERRUPTED. After the last event, the callable raises ScriptEnded, which ends the
session immediately.
"""

import re
from collections import Counter
from dataclasses import dataclass, field
from functools import partial

import option_words
import simulated_meter
from simulated_meter import SimulatedMeter

END = -1
TIME_OUT = "time-out"
INTERRUPTED = "interrupted"

ANSWERED, TIMED_OUT, REJECTED = 1, 0, -1

EXIT_SCRIPT_ENDED = 97
REASON = None  # replaces a line on standard error whose text the model does not predict
BUILD_STAMP = b"\0"  # replaces the date and time of the build


class ScriptEnded(Exception):
    """The script has no more input."""


@dataclass
class Outcome:
    stdout: bytes
    stderr: list  # the lines of standard error, or REASON for a line with any text
    status: int
    trace: list
    store: object  # in the format of `store` in a session
    rewritten: bool  # True if the library has written the store's file, so that its keys are sorted
    downloads: object  # in the format of `jffs` in a session
    waits: list  # for each wait: (True for the first wait of a line, keys read so far, bytes shown so far)
    tally: Counter  # counts each item of coverage_table.py


@dataclass
class Text:
    text: str = ""
    changed: bool = False

    def enter(self, text):
        self.text, self.changed = text, True

    def load(self, status, element, strings_only=True):
        if self.changed:
            return
        usable = status == 1 and (isinstance(element, str) or not strings_only)
        self.text = as_text(element) if usable else ""


@dataclass
class Flag:
    value: bool = False
    changed: bool = False

    def load(self, status, element, otherwise):
        if not self.changed:
            usable = status == 1 and isinstance(element, bool)
            self.value = element if usable else otherwise


@dataclass
class Record:
    """The settings that the utility holds in memory."""

    primary_dns: Text = field(default_factory=Text)
    secondary_dns: Text = field(default_factory=Text)
    dhcp: Flag = field(default_factory=Flag)
    ip_address: Text = field(default_factory=Text)
    subnet_mask: Text = field(default_factory=Text)
    default_gateway: Text = field(default_factory=Text)
    mac_address: Text = field(default_factory=Text)
    link_enabled: Flag = field(default_factory=Flag)
    supported_media_types: Text = field(default_factory=Text)
    media_type: Text = field(default_factory=Text)
    serial_number: Text = field(default_factory=Text)
    options_list: Text = field(default_factory=Text)
    meter_form: Text = field(default_factory=Text)
    class_amps: Text = field(default_factory=Text)
    nominal_frequency: Text = field(default_factory=Text)
    enclosure: Text = field(default_factory=Text)

    def changed(self, names):
        return any(getattr(self, name).changed for name in names)


INIT_TEXTS = (
    "serial_number", "options_list", "meter_form", "class_amps", "nominal_frequency", "enclosure",
)  # fmt: skip
NUMBERS = ("meter_form", "class_amps", "nominal_frequency")
DNS = {"primary_dns": "Primary", "secondary_dns": "Secondary"}
TRACKED = (
    *DNS, "dhcp", "ip_address", "subnet_mask", "default_gateway",
    "media_type", *INIT_TEXTS,
)  # fmt: skip

NETWORK = "/Software/System Settings/Network/"
PORT = NETWORK + "Interface/1/"
GENERAL = "/VMC/Comms/EthPort/1/General/"
LEAVES = {
    "primary_dns": NETWORK + "Name Server/1/Value",
    "secondary_dns": NETWORK + "Name Server/2/Value",
    "dhcp": PORT + "DHCP Enabled/Value",
    "ip_address": PORT + "IP Address/Value",
    "subnet_mask": PORT + "Subnet Mask/Value",
    "default_gateway": PORT + "Default Gateway/Value",
    "mac_address": PORT + "MAC Address/Value",
    "link_enabled": PORT + "Link Enabled/Value",
    "supported_media_types": PORT + "Media Type/Supported Types/Value",
    "media_type": PORT + "Media Type/Current Type/Value",
    "serial_number": "/VMIC/SerialNumber/Value",
    "options_list": "/VMIC/OptionsList/Value",
    "meter_form": "/VMC/PrimCfg/Form/Value",
    "class_amps": "/VMC/PrimCfg/ClassAmps/Value",
    "nominal_frequency": "/VMC/PrimCfg/NomFreq/Value",
    "enclosure": "/VMIC/Enclosure/Value",
}
AT_ONCE = {
    "dhcp": GENERAL + "DHCP/Value",
    "ip_address": GENERAL + "IPAddress/Value",
    "subnet_mask": GENERAL + "SubnetMask/Value",
    "default_gateway": GENERAL + "DefaultGateway/Value",
}
PORT_LEAVES = (
    "dhcp", "ip_address", "subnet_mask", "default_gateway", "mac_address", "link_enabled",
    "supported_media_types", "media_type",
)  # fmt: skip
SERVICE = "/VMF/UpdateService/"

# For each setting with a number: the text that the menu shows between the number and its name, and all names.
NUMBER_NAMES = {
    "meter_form": (" = Form ", ("5(35)", "6(36)", "8", "9", "45", "U")),
    "class_amps": (" = Class Amps ", ("2", "10", "20")),
    "nominal_frequency": (" = ", ("50 Hz", "60 Hz")),
}
NUMBER_ENTRIES = {
    "meter_form": (
        """\
Below are the Meter Forms and the corresponding value that has to be entered.

METER FORM    VALUE TO BE ENTERED
  5(35)  ------------>  0
  6(36)  ------------>  1
    8    ------------>  2
    9    ------------>  3
   45    ------------>  4
    U    ------------>  5

""",
        "Enter Meter Form",
        "Invalid. Meter Form must be 0->5",
    ),
    "class_amps": (
        """\
Below are the Meter Class Amps and the corresponding value that has to be entered.

METER CLASS AMPS    VALUE TO BE ENTERED
       2    -------------->   0
      10    -------------->   1
      20    -------------->   2

""",
        "Enter Meter Class Amps",
        "Invalid. Meter Class Amps must be 0->2",
    ),
    "nominal_frequency": (
        """\
Below are the Meter Frequencies and the corresponding value that has to be entered.

METER FREQUENCY    VALUE TO BE ENTERED
     50 Hz  -------------->  0
     60 Hz  -------------->  1

""",
        "Enter Meter Frequency",
        "Invalid. Meter Frequency must be 0 or 1",
    ),
}

ENCLOSURES = tuple("S A R I RK K1 K1F K2 K10 KS Q Q4 TD G1 G2 G3 G4 G5 G6 W".split())
ENCLOSURE_HELP = (
    "Below are the Meter Enclosure Types; Enter the abbreviated string.\n"
    "\n"
    "ENCLOSURE TYPE      VALUE TO BE ENTERED\n"
    "-----------------   -------------------\n"
    "S Base              ---> S \t\n"
    "A Base              ---> A \t\n"
    "Switchboard         ---> R \t\n"
    "IEC Meter           ---> I \t\n"
    "19 inch Rack Meter  ---> RK\t\n"
    "K1 Tall Retrofit    ---> K1  \n"
    "K1 Front Retrofit   ---> K1F \n"
    "K2 Retrofit         ---> K2  \n"
    "K10 Retrofit        ---> K10 \n"
    "KS Retrofit         ---> KS  \n"
    "Type Q Retrofit     ---> Q \t\n"
    "Type Q4 Retrofit    ---> Q4  \n"
    "Type TD Retrofit    ---> TD  \n"
    "Type G1 Retrofit    ---> G1  \n"
    "Type G2 Retrofit    ---> G2  \n"
    "Type G3 Retrofit    ---> G3  \n"
    "Type G4 Retrofit    ---> G4  \n"
    "Type G5 Retrofit    ---> G5  \n"
    "Type G6 Retrofit    ---> G6  \n"
    "Type W Retrofit     ---> W \t\n"
    "\n"
)

OPTIONS_HELP = """\
Enter the Velmora II Options List including ONLY options which are installed in this unit.
You MUST enter dashes between options but any order is accepted. \
IF AN OPTION IS NOT PRESENT, DO NOT ENTER A VALUE.
Sample options string with ALL options enabled \
1C-2B-4-5-WEB-IEC-IB-IEEE-NTP-PPS-DLP-ML-THP-EAP-DC-PQ3-PMU
where:

1x   = 2 characters for the Serial port options
       1A = Single Serial: RS-232
       1B = Dual Serial: RS-232/485
       1C = Triple Serial: (2)RS-232/485, (1)RS-232
2x   = 2 characters for the Ethernet/Wifi options
       2A = Single Ethernet Port
       2B = Dual Ethernet Port
       2C = Single Ethernet & WIFI Port
5    = 1 char for Communication Repeater
WEB  = WEB Server
MID  = MID meter
IEC  = IEC61850 Protocol
DLMS = DLMS Protocol
IB   = IRIG-B Time Sync
IEEE = IEEE 1599 Time Sync
NTP  = NTP Time Sync
PPS  = Pulse Per Second Time Sync
DLP  = Dual Load Profile
ML   = Measurement Logging (Auto set with PQ2 or PQ3)
PQx  = Select 1 for Power Quality Options
       PQR = Power Quality Ready
       PQ1 = PQ Logging, High Speed RMS, Power Availability, EN50160, CBEMA, ITIC
       PQ2 = PQ Capture, Waveform capture, Harmonic Recording, Flicker
       PQ3 = PQ Expert, PQ Logging and PQ Capture
PMU  = PMU(30 frames/sec)

"""

USAGE = """\
Usage: %s [<number_of_interfaces> | -v | -m]

\t<number_of_interfaces>: Number of ethernet interfaces (default: 2)
\t-v: print version info. to stdout and exit
\t-m: view menu for Velmora II Initialisation

"""
NO_CONNECTION = "Error: can't connect to CDS"

# --- texts and numbers

# Numbers in the syntax of C's scanf: spaces, an optional sign, and digits. Like scanf, the patterns never
# backtrack. A sign counts toward the width of a number.
ANY_NUMBER = r" *+([+-]?\d++)"
TWO_PLACES = r" *+((?>[+-]\d|\d{1,2}+))"
FIVE_PLACES = r" *+((?>[+-]\d{1,4}+|\d{1,5}+))"
SCAN_NUMBER = re.compile(ANY_NUMBER, re.ASCII)
SCAN_ADDRESS = re.compile(r"\.".join([ANY_NUMBER] * 4), re.ASCII)
SCAN_SERIAL = re.compile(TWO_PLACES + TWO_PLACES + FIVE_PLACES, re.ASCII)
CHOICE = re.compile(r"\s*([+-]?\d+)\n?", re.ASCII)
LEADING_NUMBER = re.compile(r"\s*([+-]?\d+)", re.ASCII)


def unsigned(digits):
    number = int(digits)
    return number if 0 <= number < 2**32 else 2**32 - 1


def scanned(pattern, answer):
    """Returns the unsigned numbers in the answer, or None if the answer does not match the pattern."""
    match = pattern.match(answer)
    return [unsigned(digits) for digits in match.groups()] if match else None


def chosen(answer):
    """Returns the number if the whole answer is a number, otherwise None."""
    match = CHOICE.fullmatch(answer)
    return int(match[1]) if match else None


def leading_number(text):
    match = LEADING_NUMBER.match(text)
    return max(-(2**31), min(int(match[1]), 2**31 - 1)) if match else 0


def as_text(element):
    if isinstance(element, bool):
        return "true" if element else "false"
    return str(element)


def padded(text, width):
    """Pads the text on the right to this many bytes."""
    return text + " " * (width - len(text.encode()))


class Console:
    """The input and output of the program."""

    def __init__(self, source, tally):
        self.source = source
        self.tally = tally
        self.shown = bytearray()
        self.waits = []
        self.keys_read = 0

    def write(self, text):
        self.shown += text.encode()

    def line(self, text):
        self.write(text + "\n")

    def read(self, question, offered=0):
        """Reads a line. Returns ANSWERED, TIMED_OUT or REJECTED, and the typed text."""
        typed = ""
        self.tally["asked: " + question] += 1
        first = True
        while True:
            self.waits.append((first, self.keys_read, len(self.shown)))
            first = False
            event = self.source(question, offered)
            if event in (TIME_OUT, INTERRUPTED):
                self.write("\n")
                self.tally[f"{event} with text typed" if typed else event] += 1
                self.tally[f"{question}: {event}"] += 1
                return (TIMED_OUT if event == TIME_OUT else REJECTED), typed
            self.keys_read += event != END
            if event in (10, 4, END):
                self.shown.append(event & 0xFF)
                self.tally["line ended by " + {10: "Enter", 4: "Ctrl-D", END: "end"}[event]] += 1
                return ANSWERED, typed
            if event in (8, 127):
                self.shown += bytes((event, 32, event))
                self.tally["backspace" if typed else "backspace on an empty line"] += 1
                typed = typed[:-1]
            elif 32 <= event < 127:
                self.shown.append(event)
                typed += chr(event)
            else:
                self.tally["key ignored, above 127" if event > 127 else "key ignored"] += 1

    def ask(self, question, offered=0):
        self.write(question + ": ")
        return self.read(question.strip().splitlines()[0], offered)

    def yes_no(self, question):
        """Asks a question. Returns ANSWERED, TIMED_OUT or REJECTED, and True if the answer is yes. An empty
        answer is REJECTED."""
        result, answer = self.ask(question)
        if result == ANSWERED and not answer:
            self.tally[question + ": empty"] += 1
            return REJECTED, False
        yes = result == ANSWERED and answer[0] in "yY"
        if result == ANSWERED:
            self.tally[question + (": yes" if yes else ": no")] += 1
        return result, yes

    def menu(self, where, title, sections, exit_label):
        """Shows a menu and reads the choice. `sections` is a list of pairs (numbered, lines). Each line is a
        pair (label, value). Returns the chosen number, or REJECTED."""
        dashes = 78 - 2 - len(title.encode())
        left, right = dashes // 2, dashes - dashes // 2
        if dashes < 0:  # a title that does not fit has a full line of dashes on each side
            left = right = 78
        self.write("\n\n" + "-" * 78 + "\n")
        self.line(f"{'-' * left} {title} {'-' * right}")
        self.write("-" * 78 + "\n\n")
        count = 0
        for numbered, lines in sections:
            for label, value in lines:
                count += numbered
                front = f"{count:2d}.  " if numbered else "     "
                columns = f"{padded(label, 30)}  :  {padded(value, 38)}"
                self.line(front + (columns if value else padded(label, 73)))
            self.write("\n")
        if exit_label:
            self.write(f" 0.  {padded(exit_label, 73)}\n\n")
        self.write("Select an option ==>  ")
        result, answer = self.read(where, count)
        if result != ANSWERED:
            return REJECTED
        number = chosen(answer)
        if number is not None and (0 if exit_label else 1) <= number <= count:
            self.tally[f"{where}: {number}"] += 1
            return number
        self.write("\nError: Invalid selection\n\n")
        self.tally[f"{where}: invalid selection"] += 1
        return REJECTED


class Utility:
    """One run of the utility, from the connection to the exit."""

    def __init__(self, meter, console, init_menu, tally):
        self.meter = meter
        self.console = console
        self.init_menu = init_menu
        self.tally = tally
        self.record = Record()
        self.batch = []  # the batch of option leaves: tuples (path, value, flag)
        self.options_pending = False

    def any_changed(self):
        return self.record.changed(TRACKED)

    def load(self, names, warning, strings_only=True):
        """Reads leaves. A loaded value never replaces a value that the technician has entered."""
        result, statuses, elements = self.meter.get([LEAVES[name] for name in names])
        if result != 0:
            self.console.line(warning)
            return
        for name, status, element in zip(names, statuses, elements):
            value = getattr(self.record, name)
            if isinstance(value, Flag):
                value.load(status, element, otherwise=name == "dhcp")
            else:
                value.load(status, element, name not in NUMBERS)

    def shown(self, name, empty="[None]"):
        return getattr(self.record, name).text or empty

    # --- main menu

    def run(self):
        while True:
            items = self.main_items()
            choice = self.main_menu(items)
            if choice > 0:
                [line for group in items for line in group][choice - 1][2]()
            elif choice == 0 and (not self.any_changed()
                                  or self.console.yes_no("Exit without saving? (y/n)")[1]):
                return

    def main_items(self):
        """Returns the items of the menu in groups. An item is a tuple: label, value, function to call."""
        self.load(DNS, "Warning: couldn't read network settings!")
        items = [
            [("Ethernet Port 1 Settings", "", self.port_menu)],
            [(f"DNS Server ({which})", self.shown(name),
              partial(self.enter_address, f"Enter {which} DNS Server", name))
             for name, which in DNS.items()],
            [("Reset all passwords to Factory Defaults", "", self.reset_passwords)],
        ]
        if self.init_menu:
            items.append([("Velmora II Initialization (Serial and Options List)", "",
                           self.run_init_menu)])
        if self.any_changed():
            items.append([("Save & apply all settings", "", self.save)])
        return items

    def main_menu(self, items):
        return self.console.menu(
            "main menu",
            "Velmora II Settings",
            [(True, [line[:2] for line in group]) for group in items],
            "Exit without saving" if self.any_changed() else "Exit",
        )

    def reset_passwords(self):
        if self.console.yes_no("Reset all passwords ? (y/n)")[1]:
            self.console.line("Restoring defaults: please wait...")
            self.meter.system(simulated_meter.PASSWORD_RESET)
            self.console.line("Passwords reset to defaults.")

    def enter_address(self, question, name):
        """Returns False if the answer timed out or was rejected, otherwise True."""
        target = getattr(self.record, name)
        result, answer = self.console.ask(question)
        if result == TIMED_OUT:
            self.console.line("Timed out.")
            return False
        numbers = scanned(SCAN_ADDRESS, answer) if result == ANSWERED else None
        if numbers and max(numbers) <= 255:
            target.enter(answer)
            self.tally[question + ": accepted"] += 1
        elif result == ANSWERED and not numbers and answer.startswith("~"):
            target.text = ""
            self.tally[question + ": emptied" + (", edited" if target.changed else "")] += 1
        else:
            self.console.line("Error: invalid address")
            self.tally[question + (": number above 255" if numbers else ": rejected")] += 1
            return False
        return True

    # --- port menu

    def port_menu(self):
        actions = {
            1: self.enter_dhcp,
            2: lambda: self.enter_address("Enter IP Address", "ip_address"),
            3: self.enter_mask,
            4: lambda: self.enter_address("Enter Default Gateway", "default_gateway"),
            5: self.choose_media,
        }
        while True:
            self.load(PORT_LEAVES, "Warning: couldn't read interface settings!")
            state = {True: "Enabled", False: "Disabled"}
            choice = self.console.menu(
                "port menu",
                "Network Settings: Ethernet Port 1",
                [
                    (True, [("Dynamic Addressing (DHCP)", state[self.record.dhcp.value])]),
                    (
                        True,
                        [
                            ("IP Address", self.shown("ip_address")),
                            ("Subnet Mask", self.shown("subnet_mask")),
                            ("Default Gateway", self.shown("default_gateway")),
                            ("Media Type", self.shown("media_type", "[Auto-negotiate]")),
                        ],
                    ),
                    (
                        False,
                        [
                            ("MAC Address", self.shown("mac_address")),
                            ("Link Status", state[self.record.link_enabled.value]),
                        ],
                    ),
                ],
                "Exit to previous menu",
            )
            if choice == 0:
                return
            if choice in actions:
                actions[choice]()

    def enter_dhcp(self):
        result, yes = self.console.yes_no("Enable DHCP? (y/n)")
        if result == ANSWERED:
            self.record.dhcp = Flag(yes, True)
        else:
            self.console.line("Timed out." if result == TIMED_OUT else "Error: invalid response")

    def enter_mask(self):
        taken = self.enter_address("Enter Subnet Mask", "subnet_mask")
        if taken and not self.record.subnet_mask.text:
            self.record.subnet_mask.enter("255.255.255.0")

    def choose_media(self):
        types = self.record.supported_media_types.text.split(";")
        if not types[-1]:  # an empty text after the last separator is not a media type
            types.pop()
        offered = "".join(f"{number}) {name}\n" for number, name in enumerate(types, 1))
        result, answer = self.console.ask(
            "\nAvailable media types:\n\n0) Auto-negotiate (recommended)\n"
            f"{offered}\nSelect an option (0-{len(types)}) ==>  ",
            len(types),
        )
        if result == TIMED_OUT:
            self.console.line("Timed out.")
            return
        number = chosen(answer) if result == ANSWERED else None
        if number is None or not 0 <= number <= len(types):
            self.console.line("Error: invalid selection")
            self.tally["media type: rejected"] += 1
            return
        self.record.media_type.enter(types[number - 1] if number else "")
        self.tally["media type: " + ("named" if self.record.media_type.text else
                                     "empty name" if number else "automatic")] += 1  # fmt: skip

    # --- saving

    def save(self):
        if not self.console.yes_no("Save & apply all settings? (y/n)")[1]:
            return
        if self.any_changed() and not self.write_changes():
            self.console.line("Error saving settings!")
            return
        self.console.line("Settings saved.")
        self.meter.system(simulated_meter.REMOVE_DOWNLOADS)
        self.meter.system(simulated_meter.NETWORK_RESTART)

    def write_changes(self):
        """Returns False if the save failed. The changed flags then stay set."""
        to_set, to_clear = self.collect()
        if to_set and not self.write_batches(to_set):
            return False
        if to_clear:
            self.tally["save: leaves cleared"] += 1
            if self.meter.clear(to_clear) != 0:
                self.tally["save: clearing failed"] += 1
                return False
        if self.record.changed(INIT_TEXTS):
            self.console.line("Updating the Model Number")
            self.meter.system(simulated_meter.MODEL_UPDATE)
            self.console.line("Meter must be reset for changed options to take effect.")
        for name in TRACKED:
            getattr(self.record, name).changed = False
        return True

    def collect(self):
        to_set, to_clear = [], []
        for name in TRACKED:
            value = getattr(self.record, name)
            if not value.changed:
                continue
            if isinstance(value, Text) and not value.text:
                to_clear.append(LEAVES[name])
                continue
            if name in NUMBERS:
                element = leading_number(value.text)
            else:
                element = value.value if isinstance(value, Flag) else value.text
            to_set.append((LEAVES[name], element, 1))
            if name in AT_ONCE:
                self.write_immediately(AT_ONCE[name], element)
            if name == "options_list":
                self.options_pending = True
        if any(path in (LEAVES[name] for name in NUMBERS) for path, _, _ in to_set):
            to_set.append((SERVICE + "SetPrimCfg/Value", True, 1))
        return to_set, to_clear

    def write_immediately(self, path, element):
        if isinstance(element, bool):
            element = int(element)
        result, status = self.meter.set_one(path, element)
        if result != 0 or status != 1:
            # Deliberate: the message for the DHCP leaf has a stray byte, like the message of the utility.
            self.console.write("set_leaf failed for ")
            if path == AT_ONCE["dhcp"]:
                self.console.shown.append(0x93)
            self.console.line(path)
            self.tally[f"save: {path} failed by " + ("result" if result else "status")] += 1

    def write_batches(self, to_set):
        result, statuses = self.meter.set(to_set, "Console")
        if result != 0:
            self.tally["save: failed by result"] += 1
            return False
        good = all(status == 1 for status in statuses)
        if not good:
            self.tally["save: failed by status"] += 1
        if self.options_pending:
            if self.batch and self.batch[0][2] == 0:
                self.tally["save: batch of a former save written"] += 1
            if "/VMIC/OptionsList/Value" not in (path for path, _, _ in to_set):
                self.tally["save: batch written without its list"] += 1
            self.add_triggers("OptionsUpdate/Value", "OptionChange/DualLP/Value")
            good &= self.write_options("Velmora II Options list set in CDS")
            self.meter.sleep(1)
            self.batch = []
            self.add_triggers("SetMeasLog/1/Value", "SetMeasLog/2/Value")
            good &= self.write_options("Velmora II ML Config sent")
            self.options_pending = False
        return good

    def add_triggers(self, *names):
        self.batch += [(SERVICE + name, True, 0) for name in names]

    def write_options(self, message):
        good = self.meter.set(self.batch, "")[0] == 0
        failure = "Error while setting Velmora II Options list in cds."
        self.console.line(message if good else failure)
        if not good:
            self.tally[f"save: instead of {message}"] += 1
        return good

    # --- initialisation menu

    def run_init_menu(self):
        while True:
            self.load(INIT_TEXTS, "Warning: couldn't read Velmora II settings!")
            choice = self.console.menu(
                "init menu",
                "Velmora II Settings",
                [
                    (
                        True,
                        [
                            ("Serial Number", self.shown("serial_number")),
                            ("Options List", self.shown("options_list")),
                            ("Meter Form", self.number_shown("meter_form")),
                            ("Meter Class Amps", self.number_shown("class_amps")),
                            ("Meter Frequency", self.number_shown("nominal_frequency")),
                            ("Enclosure Type", self.shown("enclosure")),
                        ],
                    ),
                    (True, [("Clear Velmora II Options List", "")]),
                    (True, [("Reset to Factory Defaults", "")]),
                ],
                "Exit to previous menu",
            )
            if choice == 1:
                self.enter_serial()
            elif choice == 2:
                self.enter_options()
            elif choice in (3, 4, 5):
                self.enter_number(NUMBERS[choice - 3])
            elif choice == 6:
                self.enter_enclosure()
            elif choice == 7:
                self.clear_options()
            elif choice == 0 or (choice == 8 and not self.factory_reset()):
                return

    def number_shown(self, name):
        text = getattr(self.record, name).text
        if not text:
            return "[None]"
        words, names = NUMBER_NAMES[name]
        number = leading_number(text)
        if 0 <= number < len(names):
            return text + words + names[number]
        self.tally[f"{name}: shown as invalid"] += 1
        return text + " IS INVALID!!!"

    def enter_serial(self):
        serial = self.record.serial_number
        result, answer = self.console.ask("Enter Serial Number (YYMMXXXXX)")
        if result == TIMED_OUT:
            self.console.line("Timed out.")
            return
        numbers = scanned(SCAN_SERIAL, answer) if result == ANSWERED else None
        if numbers:
            year, week, model = numbers
            if not 9 <= year <= 99:
                self.console.line("Invalid Year (YY) entry must be 09->99")
            elif not 1 <= week <= 52:
                self.console.line("Invalid Week of year (WW) must be 1->52")
            elif model == 0:
                self.console.line("Invalid Model number XXXXX must be > 0")
            else:
                serial.enter(answer)
                self.tally["serial: accepted"] += 1
                return
        elif result == ANSWERED and answer.startswith("~"):
            serial.enter("YYMMXXXXX")
            self.tally["serial: placeholder"] += 1
            return
        self.console.line("Error: Invalid Serial number")

    def enter_number(self, name):
        target = getattr(self.record, name)
        help_text, question, refusal = NUMBER_ENTRIES[name]
        self.console.write(help_text)
        result, answer = self.console.ask(question)
        if result == TIMED_OUT:
            self.console.line("Timed out.")
        if result != ANSWERED:
            return
        numbers = scanned(SCAN_NUMBER, answer)
        if numbers and numbers[0] < len(NUMBER_NAMES[name][1]):
            target.enter(answer)
            self.tally[name + ": accepted"] += 1
        elif numbers:
            self.console.line(refusal)
        elif answer.startswith("~"):
            target.text = ""
            self.tally[name + ": emptied" + (", edited" if target.changed else "")] += 1
        else:
            self.tally[name + ": no number"] += 1

    def enter_enclosure(self):
        self.console.write(ENCLOSURE_HELP)
        while True:
            result, answer = self.console.ask("Enter Meter Enclossure Type")
            if result == TIMED_OUT:
                self.console.line("Timed out.")
                return
            if result == ANSWERED and not answer:
                self.console.write("\nNothing entered; no change.")
                self.console.line("Error: Invalid Enclosure type")
                return
            if result == ANSWERED and answer in ENCLOSURES:
                self.console.line("Found valid match.")
                self.record.enclosure.enter(answer)
                self.tally["enclosure: " + answer] += 1
                return
            if result == ANSWERED:
                self.console.line(f"Error: {answer} is NOT a valid enclosure type.")

    def enter_options(self):
        options = self.record.options_list
        self.console.write(OPTIONS_HELP)
        result, entry = self.console.ask("Enter Options List")
        if result == TIMED_OUT:
            self.console.line("\nTimed out.")
            return
        if result == REJECTED:
            return
        if entry.startswith("~"):
            options.text = ""
            self.tally["options: emptied" + (", edited" if options.changed else "")] += 1
            return
        if entry.startswith("-"):
            self.console.write("\nError: Extra '-' at the beginning of the options list.")
            return
        finding = option_words.examine(entry)
        self.batch = [(path, value, 1) for path, value in finding.batch]
        for message in finding.messages:
            self.console.write(message)
        if finding.accepted:
            options.enter(entry)
            self.tally["options: accepted" + (", over 72" if len(entry) > 72 else "")] += 1
            return
        if finding.total != finding.found:
            self.console.line(
                f"Could be an error, totalChars={finding.total}, validChars={finding.found}"
            )
            for word in finding.complaints:
                self.console.write(f"\nError: {word} is NOT a valid option.")
            self.tally["options: rejected by count" + ("" if finding.complaints else
                                                      ", no complaint")] += 1  # fmt: skip
        else:
            self.tally["options: rejected by group alone"] += 1
        self.console.line("\nCheck the entry.")

    def clear_options(self):
        if not self.console.yes_no("Clear Velmora II Options List? (y/n)")[1]:
            return
        cleared = [("/VMIC/OptionsList/Value", "", 1)]
        cleared += [(path, False, 1) for path in option_words.CLEARED]
        good = self.meter.set(cleared, "")[0] == 0
        self.console.line(
            "Velmora II Options list cleared."
            if good
            else "Error while setting default options for Velmora II."
        )

    def factory_reset(self):
        """Returns False if the connection to the store failed after the reset, otherwise True."""
        if not self.console.yes_no("Reset all to Factory Defaults? (y/n)")[1]:
            return True
        self.meter.close()
        self.console.line("Restoring defaults: please wait...")
        self.meter.system(simulated_meter.FACTORY_RESET)
        self.console.line("Settings reset to defaults.")
        if self.meter.init():
            self.tally["factory reset: reconnected"] += 1
            return True
        self.console.line(NO_CONNECTION)
        return False


def play(session, source, program="meter-settings"):
    """Returns the outcome of the session with the input `source`. `program` is argv[0] of the utility."""
    tally = Counter()
    meter = SimulatedMeter(session, tally)
    console = Console(source, tally)
    errors = []
    status = run(session["arguments"], program, meter, console, errors, tally)
    stderr = [REASON] * meter.reasons + errors
    return Outcome(
        bytes(console.shown), stderr, status, meter.trace, meter.store, meter.rewritten,
        meter.downloads, console.waits, tally,
    )  # fmt: skip


def run(arguments, program, meter, console, errors, tally):
    if len(arguments) > 1:
        errors += (USAGE % program).splitlines()
        tally["start: usage"] += 1
        return 1
    if arguments == ["-v"]:
        console.write(f"{program}: version 0.0.1\nBuild date: ")
        console.shown += BUILD_STAMP
        console.write("\n$Revision: 1.3 $\n\n")
        tally["start: version"] += 1
        return 0
    if not meter.init():
        errors.append(NO_CONNECTION)
        tally["start: no connection"] += 1
        return 1
    tally["start: connected" + (", -m" if arguments == ["-m"] else "")] += 1
    try:
        Utility(meter, console, arguments == ["-m"], tally).run()
    except ScriptEnded:
        tally["end: script ended"] += 1
        return EXIT_SCRIPT_ENDED
    meter.close()
    tally["end: left"] += 1
    return 0


# --- scripts

WAIT_LETTERS = {END: "k", TIME_OUT: "t", INTERRUPTED: "i"}


def waits_of(script):
    """Converts a script to a list of events. A script is a list of texts and waits. Each character of a text
    is a key (0 to 255). A wait is {"wait": "time-out" | "interrupted" | "end", "times": n}."""
    events = []
    for item in script:
        if isinstance(item, str):
            events += item.encode("latin-1")
        else:
            kind = END if item["wait"] == "end" else item["wait"]
            events += [kind] * item.get("times", 1)
    return events


def script_of(events):
    """Converts events to a script. Each typed line is a separate text in the script."""
    script = []
    for event in events:
        if isinstance(event, int) and event != END:
            if not script or not isinstance(script[-1], str) or script[-1].endswith("\n"):
                script.append("")
            script[-1] += chr(event)
        else:
            kind = "end" if event == END else event
            if not script or not isinstance(script[-1], dict) or script[-1]["wait"] != kind:
                script.append({"wait": kind, "times": 0})
            script[-1]["times"] += 1
    return script


def keys_and_waits(events):
    """Returns the bytes of standard input, and a text with one letter for each wait."""
    keys = bytes(event for event in events if isinstance(event, int) and event != END)
    return keys, "".join(WAIT_LETTERS.get(event, "k") for event in events)


def scripted(events):
    """Returns an input for `play` with these events. The input behaves like the utility's standard input if
    the keys are in a file: time-outs and interruptions keep their places, and any other wait ends with the
    next key, or with END after the last key."""
    keys = iter([event for event in events if isinstance(event, int) and event != END])
    remaining = iter(events)

    def source(_question, _offered):
        for event in remaining:
            return event if event in (TIME_OUT, INTERRUPTED) else next(keys, END)
        raise ScriptEnded

    return source
