"""Finds the line number of each key in a TOML text. tomllib does not report line numbers."""

from __future__ import annotations

import re

Key = tuple[str | int, ...]

BARE = r"[A-Za-z0-9_-]+"
QUOTED = r"""\"(?:[^"\\]|\\.)*\"|'[^']*'"""
PART = re.compile(rf"\s*({BARE}|{QUOTED})\s*")
MULTILINE = re.compile(r"\"{3}|'{3}")


def parts_of(text: str, end: str) -> list[str] | None:
    """Reads a dotted key at the beginning of `text`. Returns the parts of the key, or None if
    `text` does not begin with a dotted key and `end`."""
    parts = []
    place = 0
    while match := PART.match(text, place):
        part = match[1]
        parts.append(part[1:-1] if part[0] in "\"'" else part)
        place = match.end()
        if text.startswith(end, place):
            return parts
        if text[place:place + 1] != ".":
            return None
        place += 1
    return None


class Places:
    """Collects the line numbers of keys. `lines` maps each key to its line number. In a key, the
    name of an array of tables is followed by the number of the table in this array."""

    def __init__(self) -> None:
        self.lines: dict[Key, int] = {}
        self.counts: dict[Key, int] = {}
        self.table: Key = ()

    def full_key(self, parts: list[str]) -> Key:
        """Returns the key of a table. In this key, the name of each array is followed by the number
        of the last table in this array."""
        key: Key = ()
        for part in parts:
            key += (part,)
            if key in self.counts:
                key += (self.counts[key] - 1,)
        return key

    def take_header(self, parts: list[str], is_array: bool, number: int) -> None:
        if is_array:
            array = (*self.full_key(parts[:-1]), parts[-1])
            self.counts[array] = self.counts.get(array, 0) + 1
            self.table = (*array, self.counts[array] - 1)
        else:
            self.table = self.full_key(parts)
        self.lines.setdefault(self.table, number)

    def take_line(self, line: str, number: int) -> None:
        text = line.strip()
        if text.startswith("[["):
            if parts := parts_of(text[2:], "]]"):
                self.take_header(parts, True, number)
        elif text.startswith("["):
            if parts := parts_of(text[1:], "]"):
                self.take_header(parts, False, number)
        elif parts := parts_of(text, "="):
            for count in range(1, len(parts) + 1):
                self.lines.setdefault((*self.table, *parts[:count]), number)


def key_lines(text: str) -> dict[Key, int]:
    """Maps each key and table of a valid TOML text to its line number. Lists the key of an inline
    table or an array, but not the keys inside the inline table or array."""
    places = Places()
    closing = ""  # the quotes that end a multi-line string; "" outside such a string
    for number, line in enumerate(text.split("\n"), 1):
        if not closing:
            places.take_line(line, number)
        for mark in MULTILINE.findall(line):
            if closing in ("", mark):
                closing = "" if closing else mark
    return places.lines


def line_of(lines: dict[Key, int], key: Key) -> int:
    """Returns the line number of the key. If `lines` does not contain the key, returns the line
    number of the nearest table that contains the key."""
    while key not in lines and key:
        key = key[:-1]
    return lines.get(key, 1)
