"""Edits of a store on a file system whose time stamps are whole seconds.

The tests mount a real file system, ext2 with inodes of 128 bytes. Only the utility sees this mount.
"""

import os
import re
import subprocess
import time
import tomllib

import pytest
from harness import menus, piped
from harness.program import UTILITY, command

PROMPT = b"==>  "
MOUNT = 'mount -o loop "$METER_SIM_DIR/../image" "$METER_SIM_DIR"'
OWN_MOUNTS = ("unshare", "--mount")


def make_image(meter):
    image = meter.top / "image"
    image.touch()
    os.truncate(image, 1 << 20)
    subprocess.run(["mkfs.ext2", "-q", "-I", "128", image], check=True, capture_output=True)


def why_not_mounted(meter):
    tried = subprocess.run([*OWN_MOUNTS, "sh", "-ec", MOUNT], env=meter.environment(), check=False,
                           capture_output=True, text=True)
    return tried.stderr.strip()


@pytest.fixture
def session(meter):
    """Starts the utility on the mounted file system. Yields the utility's process at the first menu, and the
    path by which the test reaches the store."""
    make_image(meter)
    if reason := why_not_mounted(meter):
        pytest.skip(f"this system cannot mount a file system image: {reason}")
    copy = 'cp "$METER_SIM_DIR/../store.toml" "$METER_SIM_DIR"'
    (meter.folder / "store.toml").rename(meter.top / "store.toml")
    process = subprocess.Popen(
        [*OWN_MOUNTS, "sh", "-ec", f'{MOUNT}; {copy}; exec "$@"', "sh", *command(UTILITY)],
        env=meter.environment(), stdin=subprocess.PIPE, stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL)
    piped.read_until(process, PROMPT)
    yield process, f"/proc/{process.pid}/root{meter.folder}/store.toml"
    piped.end(process)
    (meter.top / "store.toml").rename(meter.folder / "store.toml")


def typed(process, keys):
    process.stdin.write(keys)
    process.stdin.flush()
    return piped.read_until(process, PROMPT)


def edit_in_place(store, address):
    """Changes the address of the first name server in place. The file must keep its length."""
    with open(store, "r+b") as file:
        text = file.read()
        file.seek(0)
        file.write(re.sub(rb'(Server/1/Value" = )"[^"]*"', rb'\1"%s"' % address, text))
    assert len(text) == os.path.getsize(store)


def wait_for_next_second():
    time.sleep(1 - time.time() % 1 + 0.02)


def servers(store):
    with open(store, "rb") as file:
        leaves = tomllib.load(file)
    return [leaves[f"/Software/System Settings/Network/Name Server/{n}/Value"] for n in (1, 2)]


def test_an_edit_in_the_second_of_the_last_read_is_noticed_and_kept(session):
    process, store = session
    for attempt in range(3):
        first, second = b"192.0.2.6%d" % attempt, b"192.0.2.7%d" % attempt
        wait_for_next_second()
        edit_in_place(store, first)
        time.sleep(0.2)  # longer than one step of the clock for file times
        assert first in typed(process, b"9\n")
        edit_in_place(store, second)
        assert second in typed(process, b"9\n")
    typed(process, b"%d\n10.0.0.2\n" % menus.SECONDARY_DNS)
    assert b"Settings saved." in typed(process, b"%d\ny\n" % menus.SAVE_WITHOUT_INIT)
    assert servers(store) == ["192.0.2.72", "10.0.0.2"]
