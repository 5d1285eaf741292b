"""A session reports that it cannot read or write its meter's directory, and a later save succeeds.

The full disk and the read-only disk are real mounts. Only the program can see them, because it has its own
mount namespace. The tests do not use permission bits, because permission bits have no effect on root.
"""

import errno
import os
import pathlib
import resource
import subprocess
import tomllib

import injection
import pytest
from harness import piped
from harness.menus import SAVE_WITHOUT_INIT
from harness.meter import FACTORY, toml_text
from harness.program import UTILITY, command, why_not_traced

GENERAL = "/VMC/Comms/EthPort/1/General/IPAddress/Value"
TO_SAVE = {
    "/Software/System Settings/Network/Name Server/1/Value": "10.0.0.1",
    "/Software/System Settings/Network/Interface/1/IP Address/Value": "10.0.0.2",
    GENERAL: "10.0.0.2",
}
FACTORY_LEAVES = tomllib.loads(FACTORY.read_text())
PROMPT = b"==>  "


# Each of the next six functions makes the directory unusable for the process, and returns a function that
# makes the directory usable again.

def fill_disk(process, folder):
    ballast = seen_by(process, folder / "ballast")
    with pytest.raises(OSError) as failure, open(ballast, "wb", buffering=0) as file:
        while True:
            file.write(bytes(4096))
    assert failure.value.errno == errno.ENOSPC
    return ballast.unlink


def make_read_only(process, folder):
    remount(process, folder, "ro")
    return lambda: remount(process, folder, "rw")


def take_store_away(_, folder):
    (folder / "store.toml").rename(folder.parent / "away")
    return lambda: (folder.parent / "away").rename(folder / "store.toml")


def take_folder_away(_, folder):
    folder.rename(folder.parent / "away")
    return lambda: (folder.parent / "away").rename(folder)


def limit_file_size(process, _):
    return limit(process, resource.RLIMIT_FSIZE, 1000)


def outgrow_memory(process, folder):
    put_back = take_store_away(process, folder)
    (folder / "store.toml").touch()
    os.truncate(folder / "store.toml", 200 * 2**20)  # a sparse file takes no disk space
    limit(process, resource.RLIMIT_AS, 100 * 2**20)
    return put_back


def limit(process, what, most):
    former = resource.prlimit(process.pid, what)
    resource.prlimit(process.pid, what, (most, former[1]))
    return lambda: resource.prlimit(process.pid, what, former)


def seen_by(process, path):
    return pathlib.Path(f"/proc/{process.pid}/root{path}")


def remount(process, folder, how):
    subprocess.run(["nsenter", "--target", str(process.pid), "--user", "--mount",
                    "--preserve-credentials", "mount", "-o", f"remount,bind,{how}", str(folder)],
                   check=True)


# Commands that mount a file system before the program starts.
SMALL_DISK = ('mount -t tmpfs -o size=16k tmpfs "$METER_SIM_DIR"; '
              'cp "$METER_SIM_DIR/../store.toml" "$METER_SIM_DIR"')
SEPARATE_DISK = 'mount --bind "$METER_SIM_DIR" "$METER_SIM_DIR"'


def start(folder, mounted):
    prefix = []
    if mounted:
        own = ["unshare", "--map-root-user", "--mount"]
        if subprocess.run([*own, "true"], capture_output=True, check=False).returncode != 0:
            pytest.skip("this system does not permit mount namespaces")
        prefix = [*own, "sh", "-ec", mounted + '; exec "$@"', "sh"]
    return subprocess.Popen([*prefix, *command(UTILITY)], stdin=subprocess.PIPE,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            env={**os.environ, "METER_SIM_DIR": str(folder)})


def typed(process, keys):
    """Types the keys. Returns the output up to the next prompt of a menu."""
    process.stdin.write(keys)
    process.stdin.flush()
    return piped.read_until(process, PROMPT)


@pytest.mark.parametrize("spoil, mounted, can_read", [
    (fill_disk, SMALL_DISK, True),
    (make_read_only, SEPARATE_DISK, True),
    (take_store_away, None, False),
    (take_folder_away, None, False),
    (limit_file_size, None, True),
    pytest.param(outgrow_memory, None, False, marks=pytest.mark.skipif(
        bool(why_not_traced(UTILITY)), reason="this build needs more memory than the limit of the test")),
], ids=["full disk", "read-only disk", "no store", "no directory", "limited files", "huge store"])
def test_a_save_that_fails_because_of_the_directory_is_reported_and_can_be_repeated(spoil, mounted, can_read):
    old = toml_text(FACTORY_LEAVES).encode()
    new = toml_text({**FACTORY_LEAVES, **TO_SAVE}).encode()
    with injection.Place() as place:
        folder = place.make_meter({"store.toml": old}) / "meter"
        (folder.parent / "store.toml").write_bytes(old)
        process = start(folder, mounted)
        try:
            piped.read_until(process, PROMPT)
            for keys in (b"2\n10.0.0.1\n", b"1\n", b"2\n10.0.0.2\n", b"0\n"):
                typed(process, keys)

            restore = spoil(process, folder)
            output = typed(process, b"%d\ny\n" % SAVE_WITHOUT_INIT)
            assert f"set_leaf failed for {GENERAL}\nError saving settings!\n".encode() in output
            assert b"Settings saved." not in output and b"Save & apply" in output
            assert (b"Warning: couldn't read network settings!\n" in output) == (not can_read)
            restore()
            assert injection.files_of(seen_by(process, folder)) == {"store.toml": old}

            output = typed(process, b"%d\ny\n" % SAVE_WITHOUT_INIT)
            assert b"Settings saved.\n" in output and b"failed" not in output
            assert b"Error" not in output and b"Warning" not in output
            assert injection.files_of(seen_by(process, folder)) == {"store.toml": new}
            _, errors = process.communicate(b"0\n", timeout=piped.STEP_LIMIT)
            assert (process.returncode, errors) == (0, b"")
        finally:
            process.kill()
            process.wait()
