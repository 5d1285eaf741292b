"""The transcript of one meter: every byte sent and received with its time."""

from __future__ import annotations

from pathlib import Path


class Record:
    """A transcript that is being written, with mode 0600, in the notation of the dialogue tests."""

    path: Path

    def sent(self, data: bytes) -> None:
        raise NotImplementedError

    def received(self, data: bytes) -> None:
        raise NotImplementedError

    def sent_secret(self, secret: bytes) -> None:
        """A password: neither it nor an echo of it is written."""
        raise NotImplementedError

    def note(self, text: str) -> None:
        """What happened apart from bytes."""
        raise NotImplementedError

    def close(self) -> None:
        raise NotImplementedError


def open_record(folder: Path, name: str) -> Record:
    """A new file in `folder`, which is made when it is missing."""
    raise NotImplementedError
