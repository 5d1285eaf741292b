"""Locks a build directory, for Python tools that configure or build in this directory (see lock.sh)."""

import contextlib
import pathlib
import subprocess

LOCKED = pathlib.Path(__file__).resolve().with_name("locked")


@contextlib.contextmanager
def build_lock(folder):
    """Holds the lock of the directory during a `with` statement. Creates the directory if it is missing.
    If another process holds the lock, prints on standard error which process it is, and waits."""
    with subprocess.Popen([LOCKED, folder, "cat"], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as holder:
        holder.stdin.write(b"locked\n")
        holder.stdin.flush()
        if not holder.stdout.readline():
            raise OSError(f"{folder} cannot be locked")
        yield  # at the end, Popen closes the input of cat, so cat exits and the lock is released
