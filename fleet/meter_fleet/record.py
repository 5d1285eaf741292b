"""Writes the transcript of one meter: every sent and received byte except passwords, with the
times.

A transcript has the notation of the dialogue tests, which tests/harness/dialogue.py reads. It
contains the received output, with each sent key in ‹ › at the place where the key was sent. This
notation has no times. Therefore the times are at the end, in one line per piece of data, with the
length of the piece. One transcript contains all sessions of one run with a meter.
"""

from __future__ import annotations

import os
import re
import time
from pathlib import Path

ENTER = 0x0D
ESCAPES = {"\\": "\\\\", "\t": "\\t", "\r": "\\r"}
SECTION = re.compile(r"^\[(?=console|exit|killed|stderr|calls|store)", re.M)


def is_printable(byte: int) -> bool:
    return 0x20 <= byte < 0x7F


def output_text(data: bytes) -> str:
    return "".join(
        ESCAPES.get(one) or (one if one == "\n" or is_printable(ord(one)) else
                             f"\\x{ord(one):02x}") for one in data.decode("latin-1"))


def key_text(byte: int) -> str:
    """Returns the notation of a key that was not echoed."""
    if byte == ENTER:
        return "‹⏎›"
    if byte < 0x20 or byte == 0x7F:
        return f"‹^{chr(byte ^ 0x40)}›"
    return f"‹\\x{byte:02x}›"


def echoed_text(byte: int) -> str:
    return "\\" + chr(byte) if byte in b"\\^" else chr(byte)


class Record:
    """A transcript that is being written. Received output is written to the file only when the next
    key is sent. Until then, the whole echo of a password can come, so that asterisks can replace
    it."""

    def __init__(self, path: Path, name: str) -> None:
        self.path = path
        descriptor = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600)
        self.file = os.fdopen(descriptor, "w", encoding="utf-8")
        self.start = time.monotonic()
        self.times: list[str] = []
        self.key: int | None = None  # the last sent key, as long as its echo may still come
        self.line_begins = True
        self.secrets: list[bytes] = []
        self.output = b""
        began = time.strftime("%Y-%m-%dT%H:%M:%S%z")
        self.file.write(f"meter-fleet worked on {name}, from {began}.\n\nmeter: unknown\n\n"
                        "[console]\n")

    def note_time(self, what: str) -> None:
        self.times.append(f"{time.monotonic() - self.start:10.3f} s  {what}")

    def write(self, text: str) -> None:
        self.file.write(text)
        self.line_begins = text.endswith("\n")

    def write_key(self) -> None:
        """Writes the last sent key. If the output begins with the key's echo, removes the echo,
        because the notation of an echoed key includes the echo."""
        if self.key is None:
            return
        key, self.key = self.key, None
        if is_printable(key) and self.output[:1] == bytes([key]):
            self.output = self.output[1:]
            self.write(f"‹{echoed_text(key)}›")
        else:
            self.write(key_text(key))

    def write_output(self) -> None:
        self.write_key()
        data, self.output = self.output, b""
        for secret in self.secrets:
            data = data.replace(secret, b"*" * len(secret))
        text = output_text(data)
        if text.startswith("[") and not self.line_begins:
            self.write("[")
            text = text[1:]
        if text:
            self.write(SECTION.sub(r"\\x5b", text))

    def sent(self, data: bytes) -> None:
        self.note_time(f"sent {len(data)}")
        for byte in data:
            self.write_output()
            self.key = byte

    def received(self, data: bytes) -> None:
        self.note_time(f"received {len(data)}")
        self.output += data

    def sent_secret(self, secret: bytes) -> None:
        """Notes that a password was sent. Writes neither the password nor its echo."""
        self.write_output()
        self.note_time("sent a password, which is left out")
        if secret:
            self.secrets.append(secret)

    def note(self, text: str) -> None:
        """Adds a line with a remark to the list of times."""
        self.note_time(text)

    def close(self) -> None:
        self.write_output()
        if not self.line_begins:
            self.write("\\\n")
        self.write("[exit 0]\n" + "".join(f"{line}\n" for line in self.times))
        self.file.close()


def open_record(folder: Path, name: str) -> Record:
    """Creates a new transcript in the directory `folder`. Creates the directory if it is
    missing."""
    folder.mkdir(parents=True, exist_ok=True)
    stem = re.sub(r"[^A-Za-z0-9._-]+", "_", name).strip(".") or "meter"
    began = time.strftime("%Y%m%dT%H%M%SZ", time.gmtime())
    for number in range(1, 1000):
        more = f"-{number}" if number > 1 else ""
        try:
            return Record(folder / f"{stem}-{began}{more}.dialogue", name)
        except FileExistsError:
            continue
    raise FileExistsError(f"{folder / stem}-{began} is there already")
