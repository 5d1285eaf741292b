"""Runs commands where they can change nothing on this machine.

A mutant may delete or overwrite whatever it can reach. Here it sees the machine's files, but all of
them read-only; only /tmp and the build directory are writable, and these are empty file systems in
memory, which go with the sandbox. It sees no other process and no network. Linux namespaces do this,
by way of bubblewrap; root keeps only the rights over files and users that the tests need, and so
cannot mount anything either."""

import os
import subprocess

ROOTS_RIGHTS = ("CAP_CHOWN", "CAP_DAC_OVERRIDE", "CAP_FOWNER", "CAP_FSETID", "CAP_SETGID", "CAP_SETUID")
SIZE = 1 << 30  # bytes of each of the writable file systems

ISOLATED = ("bwrap", "--unshare-pid", "--unshare-net", "--unshare-ipc", "--unshare-uts", "--die-with-parent",
            "--new-session", "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc", "--tmpfs", "/run",
            "--size", str(SIZE), "--tmpfs", "/tmp", "--setenv", "TMPDIR", "/tmp", "--setenv", "HOME", "/tmp",
            "--setenv", "PYTHONDONTWRITEBYTECODE", "1")


def rights():
    if os.geteuid() != 0:
        return ["--unshare-user"]
    return ["--cap-drop", "ALL", *(word for right in ROOTS_RIGHTS for word in ("--cap-add", right))]


def command(folder, build_folder, kept, *words):
    """The command line that runs `words` in the sandbox. Below `folder`, a project, they can read all
    but what was built; of that only the files and (empty) directories `kept`, named from there."""
    within = ["--ro-bind", folder, folder, "--size", SIZE, "--tmpfs", build_folder]
    for name in kept:
        path = build_folder / name
        within += ["--dir", path] if path.is_dir() else ["--ro-bind", path, path]
    return [str(word) for word in (*ISOLATED, *rights(), *within, "--setenv", "BUILD_DIR", build_folder, "--",
                                   *words)]


def why_not():
    """The reason why there can be no sandbox here, or ""."""
    try:
        subprocess.run([*ISOLATED, *rights(), "--", "true"], check=True, capture_output=True, text=True)
    except FileNotFoundError:
        return "bwrap, of the package bubblewrap, is missing"
    except subprocess.CalledProcessError as error:
        return error.stderr.strip() or f"bwrap ends with {error.returncode}"
    return ""
