"""The programs and libraries are hardened: read off the files as they are installed."""

import json
import re

import pytest
from harness.elf import is_elf, readelf, symbols
from harness.program import BUILD
from tools import shown_by_other_builds, told_by

pytestmark = [shown_by_other_builds]

CHECKED_CALLS = {"__printf_chk", "__fprintf_chk", "__snprintf_chk"}


@pytest.fixture(scope="module")
def installed(tmp_path_factory):
    prefix = tmp_path_factory.mktemp("installed")
    told_by("cmake", "--install", BUILD, "--prefix", prefix)
    files = [path for path in prefix.rglob("*") if is_elf(path) and not path.is_symlink()]
    assert {"meter-settings", "cdsctl", "libcds.so", "libcds++.so"} <= {path.name for path in files}
    return files


@pytest.fixture(scope="module")
def programs(installed):
    return [path for path in installed if ".so" not in path.name]


def segment(file, name):
    return re.search(rf"^ +{name} +(.*)$", readelf("-l", file), re.MULTILINE)[1].split()


def test_every_program_and_library_is_position_independent(installed):
    for file in installed:
        assert re.search(r"Type: +DYN ", readelf("-h", file)), file
        assert "TEXTREL" not in readelf("-d", file), file


def test_every_program_is_loaded_at_a_random_address(programs):
    for file in programs:
        assert re.search(r"\(FLAGS_1\).*\bPIE\b", readelf("-d", file)), file


def test_all_imports_are_bound_at_the_start_and_then_read_only(installed):
    for file in installed:
        assert re.search(r"\(FLAGS_1\).*\bNOW\b", readelf("-d", file)), file
        start, size = (int(word, 16) for word in segment(file, "GNU_RELRO")[1:5:3])
        assert size > 0
        table = re.search(r"^ +\[ *\d+\] \.got +\S+ +([0-9a-f]+)", readelf("-S", file), re.MULTILINE)
        assert start <= int(table[1], 16) < start + size, file


def test_no_stack_can_be_executed(installed):
    for file in installed:
        assert segment(file, "GNU_STACK")[-2] == "RW", file


def test_stacks_and_library_calls_are_checked(installed, programs):
    for file in installed:
        assert "__stack_chk_fail" in symbols(file), file
    for file in programs:
        assert symbols(file) & CHECKED_CALLS, file


def test_every_source_is_compiled_with_the_highest_level_that_the_compiler_has():
    commands = [entry["command"] for entry in json.loads((BUILD / "compile_commands.json").read_text())]
    assert len(commands) > 20
    for command in commands:
        assert "-D_FORTIFY_SOURCE=3" in command.split()
        assert "-fstack-protector-strong" in command.split()
