"""The owner, group and mode of the store after a write, and a write where directories cannot be flushed.

tests/faults covers every failing call.
"""

import contextlib
import os
import subprocess

import pytest
import store_client
from harness.program import BUILD, CDSCTL, STEP_LIMIT, command

USER, GROUP, OTHER_GROUP = 12345, 23456, 34567
needs_root = pytest.mark.skipif(os.geteuid() != 0, reason="only root can give files away")


@contextlib.contextmanager
def meter_of(owner, group, mode):
    """Creates a meter with a store of this owner, group and mode. Any user may write to the directory."""
    with store_client.meter_with('"/a" = 1\n') as folder:
        folder.chmod(0o777)
        os.chown(folder / "store.toml", owner, group)
        (folder / "store.toml").chmod(mode)
        yield folder


def owner_group_and_mode_after_write(folder, **user):
    """Writes to the store as the given user. Returns the owner, the group and the mode of the new store file.

    The paths of the program and the meter are relative to the build directory, because the user may not have
    access to the directories above.
    """
    subprocess.run(command(f"./{store_client.CLIENT.name}", "set", "/b", "x"), timeout=STEP_LIMIT, check=True,
                   cwd=BUILD, env={"METER_SIM_DIR": folder.name}, **user)
    status = (folder / "store.toml").stat()
    assert (folder / "store.toml").read_text() == '"/a" = 1\n"/b" = "x"\n'
    return status.st_uid, status.st_gid, status.st_mode & 0o7777


@needs_root
def test_a_write_by_root_keeps_the_owner():
    for mode in (0o600, 0o640, 0o6755):
        with meter_of(USER, GROUP, mode) as folder:
            assert owner_group_and_mode_after_write(folder) == (USER, GROUP, mode)


@needs_root
def test_a_write_by_root_keeps_an_owner_or_a_group_that_is_not_root():
    for owner, group in ((USER, os.getegid()), (os.geteuid(), GROUP)):
        with meter_of(owner, group, 0o640) as folder:
            assert owner_group_and_mode_after_write(folder) == (owner, group, 0o640)


@needs_root
def test_a_write_by_a_member_of_the_group_keeps_the_group():
    with meter_of(USER, GROUP, 0o664) as folder:
        kept = owner_group_and_mode_after_write(folder, user=USER + 1, group=OTHER_GROUP, extra_groups=[GROUP])
        assert kept == (USER + 1, GROUP, 0o664)


@needs_root
def test_a_write_succeeds_without_permission_to_keep_owner_and_group():
    with meter_of(USER, GROUP, 0o666) as folder:
        kept = owner_group_and_mode_after_write(folder, user=USER + 1, group=OTHER_GROUP, extra_groups=[])
        assert kept == (USER + 1, OTHER_GROUP, 0o666)


@needs_root
@store_client.needs_plain_program  # a program with a profile reports that it cannot write its profile
@pytest.mark.parametrize("words", [("set", "/a", "2"), ("load", "-")], ids=" ".join)
def test_the_error_for_a_directory_that_the_user_may_not_write_has_the_reason(words):
    with store_client.meter_with('"/a" = 1\n') as folder:
        folder.chmod(0o755)
        done = subprocess.run(command(f"./{CDSCTL.name}", "-C", folder.name, *words), timeout=STEP_LIMIT, check=False,
                              cwd=BUILD, env={}, user=USER, input='"/a" = 3\n', stderr=subprocess.PIPE, text=True)
        assert (folder / "store.toml").read_text() == '"/a" = 1\n'
    assert done.returncode == 3
    assert done.stderr == f"cdsctl: {folder.name}/store.toml: cannot be written: Permission denied\n"


@store_client.needs_plain_program
def test_nobody_else_can_read_a_private_store_while_it_is_written():
    with store_client.meter_with('"/a" = 1\n') as folder:
        (folder / "store.toml").chmod(0o600)
        status, calls = store_client.run_traced(folder, ("set", "/a", "y"), ("-e", "trace=openat,open"))
    assert status == 0
    created = [call for call in calls if "O_CREAT" in call]
    assert len(created) == 1 and ", 0600)" in created[0], calls


@store_client.needs_plain_program
def test_a_write_succeeds_on_a_file_system_that_cannot_flush_directories():
    with store_client.meter_with('"/a" = 1\n') as folder:
        status, calls = store_client.run_traced(folder, ("set", "/b", "x"),
                                                ("-e", "inject=fsync:error=EINVAL:when=2"))
        assert status == 0
        assert any("EINVAL" in call and "(INJECTED)" in call for call in calls)
        assert (folder / "store.toml").read_text() == '"/a" = 1\n"/b" = "x"\n'
