"""The installed programs and libraries are hardened. The tests read the files and do not run them."""

import json

import hardening
import pytest
from harness.elf import is_elf
from harness.program import BUILD
from tools import output_of, shown_by_other_builds

pytestmark = [shown_by_other_builds]


@pytest.fixture(scope="module")
def installed(tmp_path_factory):
    prefix = tmp_path_factory.mktemp("installed")
    output_of("cmake", "--install", BUILD, "--prefix", prefix)
    files = [path for path in prefix.rglob("*") if is_elf(path) and not path.is_symlink()]
    assert {"meter-settings", "meter-settings-doctor", "cdsctl", "libcds.so", "libcds++.so"} <= {
        path.name for path in files}
    return files


@pytest.fixture(scope="module")
def programs(installed):
    return [path for path in installed if ".so" not in path.name]


def test_every_library_is_hardened(installed):
    for file in installed:
        hardening.check_independent_of_its_address(file)
        hardening.check_imports_are_bound_at_the_start_and_then_read_only(file)
        hardening.check_that_no_stack_can_be_executed(file)
        hardening.check_that_stacks_are_checked(file)


def test_every_program_is_hardened(programs):
    for file in programs:
        hardening.check_hardened(file)


def test_every_source_is_compiled_with_the_highest_level_of_the_compiler():
    commands = [entry["command"] for entry in json.loads((BUILD / "compile_commands.json").read_text())]
    assert len(commands) > 20
    for command in commands:
        assert "-D_FORTIFY_SOURCE=3" in command.split()
        assert "-fstack-protector-strong" in command.split()
