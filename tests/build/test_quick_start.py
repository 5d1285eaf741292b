"""Checks the quick start of the integrator's guide. Runs its commands, except the first, which installs
packages."""

import os
import re
import shlex

import hardening
import pytest
from harness.program import REPOSITORY, RUN_WITH
from tools import check_that_it_runs, check_that_the_doctor_runs, installed_library, shown_by_other_builds, output_of

GUIDE = (REPOSITORY / "docs" / "integrator.md").read_text(encoding="utf-8")
COMMANDS = re.findall(r"^    (.*)$", GUIDE.split("## Quick start")[1].split("\n## ")[0], re.MULTILINE)


def packages_in_lists():
    lists = (REPOSITORY / "packages" / name for name in ("run", "test"))
    return {line for path in lists for line in path.read_text().splitlines() if not line.startswith("#")}


def test_it_has_five_commands_and_the_first_installs_known_packages():
    assert len(COMMANDS) == 5
    assert COMMANDS[0].startswith("apt-get install ")
    assert set(COMMANDS[0].split()[2:]) <= packages_in_lists()


def here(command, places):
    """Returns the command with the directories of this test instead of the guide's directories."""
    for guide, place in places.items():
        command = re.sub(rf"(?<=[ =]){re.escape(guide)}(?=[ /]|$)", shlex.quote(str(place)), command)
    return command


@pytest.mark.full
@pytest.mark.builds
@shown_by_other_builds
@pytest.mark.skipif(not RUN_WITH, reason="it builds for the meter")
def test_the_other_commands_build_programs_for_the_meter(plain_folder, meter):
    library = installed_library(plain_folder / "installed")
    places = {"/path/to/library": library, "/path/to/staging": plain_folder / "staging", "b": plain_folder / "b"}
    environment = {name: value for name, value in os.environ.items() if name not in ("MAKEFLAGS", "DESTDIR")}
    if ":" in str(REPOSITORY):
        environment["CMAKE_GENERATOR"] = "Ninja"  # make rejects a path with a colon
    outputs = [output_of("sh", "-c", here(command, places), cwd=REPOSITORY, env=environment)
               for command in COMMANDS[1:]]
    assert re.search(r": version .*\nBuild date: ", outputs[2])
    assert not (REPOSITORY / "b").exists()
    installed = plain_folder / "staging" / "usr" / "sbin"
    assert sorted(path.name for path in installed.iterdir()) == ["meter-settings", "meter-settings-doctor"]
    for program in installed.iterdir():
        hardening.check_hardened(program)
    check_that_it_runs(installed / "meter-settings", library / "lib", meter)
    check_that_the_doctor_runs(installed / "meter-settings-doctor", library / "lib", meter)
