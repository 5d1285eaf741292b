"""The project works in directories with unusual names, or reports that CMake cannot build there."""

import os
import re
import subprocess
import time
import urllib.parse

import pytest
from harness.program import STEP_LIMIT

pytestmark = pytest.mark.host_only

ODD_NAME = "a b:ünï it's $HOME&*?"
UNUSABLE = '#;"\\[]|<>\n'
SCRIPTS = ("run", "test", "watch-session")


def run(folder, *words, limit=STEP_LIMIT, **changes):
    return subprocess.run([folder / words[0], *words[1:]], cwd=folder, env={**os.environ, **changes},
                          stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=limit)


@pytest.mark.parametrize("character", UNUSABLE)
def test_a_directory_that_cmake_cannot_handle_is_reported_first(copy_to, tmp_path, character):
    copy = copy_to(tmp_path / f"x{character}y")
    for script in SCRIPTS:
        begun = time.monotonic()
        done = run(copy, script, PATH="/usr/bin:/bin")
        assert time.monotonic() - begun < 5  # on an idle machine, the script takes less than 0.1 s
        assert done.returncode == 1 and done.stdout == ""
        assert re.fullmatch(r"error: CMake cannot build in a directory whose path contains .*; move this one: .*\n",
                            done.stderr)
        assert character.replace("\n", r"\n") in done.stderr
    assert not (copy / "build").exists()


def test_a_second_build_in_an_odd_directory_compiles_nothing_again(copy_to, tmp_path):
    copy = copy_to(tmp_path / ODD_NAME)
    build = ["/usr/bin/cmake", "--build", "--preset", "host", "--target", "option-tables"]
    for words in (["/usr/bin/cmake", "--preset", "host"], build):
        done = run(copy, *words, limit=10 * STEP_LIMIT)
        assert done.returncode == 0, done.stdout + done.stderr
    assert "no work to do" in run(copy, *build).stdout
    (copy / "docs" / "tools" / "option_tables.cpp").touch()
    (copy / "meterinit" / "option_tokens.h").touch()
    assert "option_tables.cpp.o" in run(copy, *build).stdout


def test_the_page_is_named_by_an_address_that_a_browser_opens(copy_to, tmp_path, plain_folder):
    copy = copy_to(tmp_path / ODD_NAME)
    for name, does in (("dpkg-query", "printf installed"), ("npm", ""), ("cmake", "")):  # these build nothing
        (plain_folder / name).write_text(f"#!/bin/sh\n{does}\n")
        (plain_folder / name).chmod(0o755)
    done = run(copy, "page", PATH=f"{plain_folder}:/usr/bin:/bin")
    assert done.returncode == 0, done.stdout + done.stderr
    address = urllib.parse.urlsplit(done.stdout.splitlines()[-1].strip())
    named = (address.scheme, urllib.parse.unquote(address.path), address.query)
    assert named == ("file", f"{copy}/build/web/meter.html", "")


@pytest.mark.full
def test_the_quick_tests_pass_in_an_odd_directory(copy_to, tmp_path):
    done = run(copy_to(tmp_path / ODD_NAME), "test", "--quick", limit=30 * STEP_LIMIT)
    assert done.returncode == 0, done.stdout + done.stderr
