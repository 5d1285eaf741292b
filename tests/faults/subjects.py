"""Defines the sessions and commands into which the tests inject faults."""

import shutil
import tomllib

from harness import program
from harness.menus import typed
from harness.meter import FACTORY
from injection import Subject

# These keys turn DHCP off and set an address for port 1. They enter a secondary DNS server and then empty
# this setting, so that the save clears its leaf. They enter a serial number and an options list, and save.
SAVE = typed("{PORT}\n" "1\nn\n" "2\n1.1.1.1\n" "0\n"
             "{SECONDARY_DNS}\n1.1.1.2\n" "{SECONDARY_DNS}\n~\n"
             "{INIT}\n" "1\n123456789\n" "2\nWEB\n" "0\n"
             "{SAVE}\ny\n").encode()

# These keys end the program from any screen to which an error can lead. An empty answer leaves the question
# for an enclosure, 0 leaves a menu, and y answers "Exit without saving?".
LEAVE = b"0\n" + b"\n0\ny\n" * 4


RESET = typed("{INIT}\n" "8\ny\n" "0\n").encode()

FACTORY_LEAVES = tomllib.loads(FACTORY.read_text())
WITH_INIT_MENU = (str(program.UTILITY), "-m")

SESSIONS = {
    "save": Subject(WITH_INIT_MENU, FACTORY_LEAVES, SAVE + LEAVE, traced=True),
    "reset": Subject(WITH_INIT_MENU, {**FACTORY_LEAVES, "/VMIC/SerialNumber/Value": "987654321"},
                     RESET + LEAVE, traced=True, factory=FACTORY_LEAVES),
}


def one_replacement(command):
    """Returns the subject for a command that replaces the store once. The only leaf of its meter is "/a"."""
    found = shutil.which(command[0])
    if found is None:
        raise SystemExit(f"error: {command[0]} is not a program")
    return Subject((found, *command[1:]), {"/a": "old"})
