"""The lock of a build directory, for the Python tools that configure or build one; see lock.sh."""

import contextlib
import pathlib
import subprocess

LOCKED = pathlib.Path(__file__).resolve().with_name("locked")


@contextlib.contextmanager
def build_lock(folder):
    """Keeps other processes from configuring and building the folder; makes it when it is missing.
    Waits until the lock is free, and prints on standard error for which process."""
    with subprocess.Popen([LOCKED, folder, "cat"], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as holder:
        holder.stdin.write(b"locked\n")
        holder.stdin.flush()
        if not holder.stdout.readline():
            raise OSError(f"{folder} cannot be locked")
        yield  # leaving closes its input, which ends cat and so gives the lock back
