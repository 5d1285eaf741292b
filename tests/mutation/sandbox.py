"""Runs commands in a sandbox. In the sandbox, a command cannot change anything on this machine.

A mutant may delete or overwrite any file that it can write. In the sandbox, all files of the machine are
read-only. Only /tmp and the build directory are writable. Both are file systems in memory, which disappear
with the sandbox. A mutant cannot see other processes or use the network. The sandbox consists of Linux
namespaces, which bubblewrap creates. If root starts the sandbox, a mutant has only those rights of root over
files and users that the tests need. Therefore a mutant cannot mount anything."""

import os
import subprocess

ROOTS_RIGHTS = ("CAP_CHOWN", "CAP_DAC_OVERRIDE", "CAP_FOWNER", "CAP_FSETID", "CAP_SETGID", "CAP_SETUID")
SIZE = 1 << 30  # the size of each writable file system in bytes

ISOLATED = ("bwrap", "--unshare-pid", "--unshare-net", "--unshare-ipc", "--unshare-uts", "--die-with-parent",
            "--new-session", "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc", "--tmpfs", "/run",
            "--size", str(SIZE), "--tmpfs", "/tmp", "--setenv", "TMPDIR", "/tmp", "--setenv", "HOME", "/tmp",
            "--setenv", "PYTHONDONTWRITEBYTECODE", "1")


def rights():
    if os.geteuid() != 0:
        return ["--unshare-user"]
    return ["--cap-drop", "ALL", *(word for right in ROOTS_RIGHTS for word in ("--cap-add", right))]


def command(folder, build_folder, kept, *words):
    """Returns the command line that runs `words` in the sandbox. The command can read the project in
    `folder`. At the start, `build_folder` contains only the files and directories in `kept`. These files are
    read-only. These directories are empty."""
    within = ["--ro-bind", folder, folder, "--size", SIZE, "--tmpfs", build_folder]
    for name in kept:
        path = build_folder / name
        within += ["--dir", path] if path.is_dir() else ["--ro-bind", path, path]
    return [str(word) for word in (*ISOLATED, *rights(), *within, "--setenv", "BUILD_DIR", build_folder, "--",
                                   *words)]


def why_not():
    """Returns the reason why this system cannot run a sandbox, or "" if the system can."""
    try:
        subprocess.run([*ISOLATED, *rights(), "--", "true"], check=True, capture_output=True, text=True)
    except FileNotFoundError:
        return "bwrap is missing: install the package bubblewrap"
    except subprocess.CalledProcessError as error:
        return error.stderr.strip() or f"the exit status of bwrap is {error.returncode}"
    return ""
