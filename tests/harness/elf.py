"""Uses readelf to read programs and shared libraries for any processor."""

import re
import subprocess


def is_elf(path):
    return path.is_file() and path.read_bytes()[:4] == b"\x7fELF"


def readelf(option, file):
    return subprocess.run(["readelf", option, "-W", file], capture_output=True, text=True, check=True).stdout


def sections(file):
    """Maps the name of each section to its type, size and flags."""
    rows = re.findall(r"^ +\[ *\d+\] (\S+) +(\S+) +[0-9a-f]+ [0-9a-f]+ ([0-9a-f]+) [0-9a-f]+ +([A-Za-z]*) ",
                      readelf("-S", file), re.MULTILINE)
    return {name: (kind, int(size, 16), flags) for name, kind, size, flags in rows}


def allocated_size(file):
    """Returns the total size in bytes of the sections that the loader reads from the file: code, data, and
    data for the loader itself. The size excludes .bss, because .bss takes no space in the file."""
    return sum(size for kind, size, flags in sections(file).values() if "A" in flags and kind != "NOBITS")


def relocations(file):
    return len(re.findall(r"^[0-9a-f]{8,} +[0-9a-f]+ +R_", readelf("-r", file), re.MULTILINE))


def needed_libraries(file):
    return re.findall(r"\(NEEDED\).*\[(.*)\]", readelf("-d", file))


def symbols(file):
    """Returns the names of all symbols, without versions."""
    return set(re.findall(r"^ +\d+: .* ([^ @(\n][^ @\n]*)(?:@\S*)?(?: \(\d+\))?$", readelf("-s", file), re.MULTILINE))
