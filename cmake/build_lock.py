"""The lock of a build directory, for Python tools that configure or build in it (see lock.sh)."""

import contextlib
import pathlib
import subprocess

LOCKED = pathlib.Path(__file__).resolve().with_name("locked")


@contextlib.contextmanager
def build_lock(folder):
    """Takes the lock of the directory, and creates the directory if it is missing.
    While it waits, it prints on standard error which process holds the lock."""
    with subprocess.Popen([LOCKED, folder, "cat"], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as holder:
        holder.stdin.write(b"locked\n")
        holder.stdin.flush()
        if not holder.stdout.readline():
            raise OSError(f"{folder} cannot be locked")
        yield  # afterwards, the input of cat is closed; cat then exits, which releases the lock
