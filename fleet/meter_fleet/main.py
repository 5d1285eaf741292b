"""The command line."""

from __future__ import annotations

from collections.abc import Sequence


def main(arguments: Sequence[str]) -> int:
    """Runs the command line and returns the exit status."""
    raise NotImplementedError(arguments)
