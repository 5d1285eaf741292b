"""What readelf says of a program or a shared library, of whatever machine."""

import re
import subprocess


def is_elf(path):
    return path.is_file() and path.read_bytes()[:4] == b"\x7fELF"


def readelf(option, file):
    return subprocess.run(["readelf", option, "-W", file], capture_output=True, text=True, check=True).stdout


def sections(file):
    """Each section's type, size and flags, by its name."""
    rows = re.findall(r"^ +\[ *\d+\] (\S+) +(\S+) +[0-9a-f]+ [0-9a-f]+ ([0-9a-f]+) [0-9a-f]+ +([A-Za-z]*) ",
                      readelf("-S", file), re.MULTILINE)
    return {name: (kind, int(size, 16), flags) for name, kind, size, flags in rows}


def allocated_size(file):
    """Bytes of the sections that a start loads from the file: code, data, what the loader reads.
    Without .bss, of which the file holds nothing."""
    return sum(size for kind, size, flags in sections(file).values() if "A" in flags and kind != "NOBITS")


def relocations(file):
    return len(re.findall(r"^[0-9a-f]{8,} +[0-9a-f]+ +R_", readelf("-r", file), re.MULTILINE))


def needed_libraries(file):
    return re.findall(r"\(NEEDED\).*\[(.*)\]", readelf("-d", file))


def symbols(file):
    """The names of all symbols, without their versions."""
    return set(re.findall(r"^ +\d+: .* ([^ @\n]+)(?:@\S*)?(?: \(\d+\))?$", readelf("-s", file), re.MULTILINE))
