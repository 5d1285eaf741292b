"""Tests of the doctor's findings about the commands of the meter and about the machine."""

import os
import platform

import pytest
from doctor import ON_ODD_LIBRARY, report
from harness.program import BUILD, RUN_WITH

NAMES = ("sernetpwreset.sh", "fw_reset.sh", "vmkeys", "rm", "sh")


@pytest.fixture
def examined(tmp_path):
    """Returns a function that runs the doctor with the given PATH. The client library's system() reports that
    a shell is available."""
    store = tmp_path / "store"
    store.write_text("")

    def examine(path):
        environment = {**os.environ, "ODD_STORE": str(store), "ODD_LIBRARY": ""}
        environment.pop("PATH")
        if path is not None:
            environment["PATH"] = path
        return report(environment, program=ON_ODD_LIBRARY)

    return examine


def commands(found):
    return [(finding["result"], finding["message"]) for finding in found.findings
            if finding["check"] == "commands"]


def make(folder, mode):
    folder.mkdir(exist_ok=True)
    for name in NAMES:
        (folder / name).write_text("")
        (folder / name).chmod(mode)
    return folder


def test_the_doctor_searches_every_command_of_the_utility(examined, plain_folder):
    folder = make(plain_folder / "a b'c", 0o755)
    found = commands(examined(f"/nonexistent:{folder}"))
    for name in NAMES:
        assert ("ok", f'command {name}: "{folder}/{name}"') in found
    assert len(found) == len(NAMES) + 1
    network = [message for _, message in found if message.startswith("command /etc/init.d/network")]
    assert len(network) == 1


def test_a_command_that_is_not_executable_is_reported(examined, plain_folder):
    folder = make(plain_folder / "bin", 0o644)
    found = commands(examined(f"{folder}:/nonexistent"))
    assert ("wrong", f'command vmkeys is not executable: "{folder}/vmkeys"') in found


def test_an_executable_command_later_in_the_path_is_preferred(examined, plain_folder):
    first, second = make(plain_folder / "first", 0o644), make(plain_folder / "second", 0o755)
    found = commands(examined(f"{first}:{second}:/nonexistent"))
    assert ("ok", f'command vmkeys: "{second}/vmkeys"') in found


def test_a_directory_with_a_commands_name_is_not_a_command(examined, plain_folder):
    (plain_folder / "vmkeys").mkdir()
    assert ("wrong", "command vmkeys is missing") in commands(examined(str(plain_folder)))


def test_an_empty_entry_of_the_path_is_the_current_directory(examined, tmp_path, monkeypatch):
    make(tmp_path / "here", 0o755)
    monkeypatch.chdir(tmp_path / "here")
    assert ("ok", 'command vmkeys: "./vmkeys"') in commands(examined("/nonexistent:"))


def test_without_a_path_nothing_is_found(examined):
    assert ("wrong", "command vmkeys is missing") in commands(examined(None))


def examined_downloads(tmp_path, downloads):
    store = tmp_path / "store"
    store.write_text("")
    environment = {**os.environ, "ODD_STORE": str(store), "ODD_LIBRARY": "", "ODD_DOWNLOADS": str(downloads)}
    return [(finding["result"], finding["message"]) for finding in report(environment, program=ON_ODD_LIBRARY).findings
            if finding["check"] == "downloads"]


def test_the_directory_of_downloads_is_examined(tmp_path):
    directory, file = tmp_path / "directory", tmp_path / "file"
    directory.mkdir()
    file.write_text("")
    file.chmod(0o755)
    unusable = [("wrong", "/jffs/downloads is not a directory that can be changed")]
    assert examined_downloads(tmp_path, directory) == [("ok", "/jffs/downloads exists")]
    assert examined_downloads(tmp_path, file) == unusable
    assert examined_downloads(tmp_path, tmp_path / "none") == [("note", "/jffs/downloads is missing")]
    assert examined_downloads(tmp_path, "/proc/self") == unusable  # even root cannot write to /proc/self


def test_the_machine_is_described(meter):
    found = report(meter.environment()).of("ok", "System")
    if RUN_WITH:
        assert {"the byte order is big-endian", "long has 32 bits", "char is unsigned"} <= set(found)
    else:
        assert {"the byte order is little-endian", "long has 64 bits", "char is signed"} <= set(found)
        assert f"the page size is {os.sysconf('SC_PAGESIZE')} bytes" in found
        assert f"the C library is glibc {platform.libc_ver()[1]}" in found
    assert [message for message in found if message.startswith("the C++ library of the build is libstdc++ 1")
            or "is not libstdc++" in message]
    assert [message for message in found if "/libc" in message and message.endswith(" is loaded")]
    if RUN_WITH:
        library = f"{BUILD}/simulator/libcds.so".encode().decode("latin-1")  # JSON escapes each byte
        assert f"{library} is loaded" in found
