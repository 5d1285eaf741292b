"""The manual pages are well formed and describe all options and commands of the programs."""

import datetime
import re
import subprocess

import pytest
from harness.program import BUILD, CDSCTL, REPOSITORY, STEP_LIMIT, UTILITY, command

pytestmark = pytest.mark.host_only

PAGES = sorted((REPOSITORY / "docs" / "man").iterdir())


def page(name):
    return (REPOSITORY / "docs" / "man" / name).read_text()


def output_of(*words):
    done = subprocess.run(command(*words), env={}, capture_output=True, text=True, timeout=STEP_LIMIT)
    return done.stdout + done.stderr


def options_of_help(*words):
    """Returns the options in a help text, such as "-C" and "--json"."""
    listed = output_of(CDSCTL, *words, "--help").split("\nOptions:\n")[1].split("\n\n")[0]
    return set(re.findall(r"(?<![\w-])--?[A-Za-z]+", "\n".join(line[:30] for line in listed.splitlines())))


def commands_of_help():
    return set(re.findall(r"^  ([a-z]+) ", output_of(CDSCTL, "--help").split("\nCommands:\n")[1], re.M))


def flags_of(text):
    """Returns the options in a page's markup. For example, ".Fl C" is "-C" and ".Fl -json" is "--json"."""
    return {"-" + flag for flag in re.findall(r"\bFl (-?\w+)", text)}


def test_there_are_pages():
    assert [file.name for file in PAGES] == [
        "cdsctl.1", "meter-fleet.1", "meter-session.1", "meter-settings-doctor.8", "meter-settings.8",
        "store.toml.5"]


@pytest.mark.parametrize("file", PAGES, ids=lambda file: file.name)
def test_a_page_is_well_formed(file):
    done = subprocess.run(["mandoc", "-T", "lint", str(file)], capture_output=True, text=True, timeout=STEP_LIMIT)
    # mandoc reports references to pages that are not installed, but such references are allowed.
    said = [line for line in done.stdout.splitlines() if "STYLE: referenced manual not found" not in line]
    assert said == []


@pytest.mark.parametrize("file", PAGES, ids=lambda file: file.name)
def test_a_page_has_a_date_and_a_name_and_refers_to_existing_pages(file):
    name, section = file.name.rsplit(".", 1)
    text = file.read_text()
    datetime.datetime.strptime(re.match(r"\.Dd (\w+ \d+, \d{4})\n", text)[1], "%B %d, %Y")
    assert f"\n.Dt {name.upper()} {section}\n" in text
    own = {file.name for file in PAGES}
    for other, its_section in re.findall(r"^\.Xr (\S+) (\d)", text, re.M):
        assert f"{other}.{its_section}" in own | {"flock.2", "tmux.1"}


def test_every_command_is_in_the_help_and_on_the_page():
    text = page("cdsctl.1")
    in_list = set(re.findall(r"^\.It Cm (\w+)", text, re.M))
    in_synopsis = set(re.findall(r"^\.Cm (\w+)", text.split(".Sh SYNOPSIS")[1].split(".Sh ")[0], re.M))
    assert commands_of_help() == in_list == in_synopsis
    assert len(in_list) > 5


def test_every_option_is_in_the_help_and_on_the_page():
    text = page("cdsctl.1")
    in_list = flags_of("\n".join(re.findall(r"^\.It (Fl .*)", text, re.M)))
    in_help = options_of_help().union(*(options_of_help(name) for name in commands_of_help()))
    assert in_help == in_list
    assert flags_of(text) == in_list


def test_the_synopsis_gives_each_command_its_own_options():
    synopsis = page("cdsctl.1").split(".Sh SYNOPSIS")[1].split(".Sh ")[0]
    for form in synopsis.split("\n.Nm\n")[1:]:
        name = re.search(r"^\.Cm (\w+)", form, re.M)[1]
        own = options_of_help(name) - {"-h", "--help", "--version"}
        assert flags_of(form) == own - ({"-C"} if name == "init" else set()), name


def test_the_options_of_the_utility_are_in_the_usage_and_on_the_page():
    usage = set(re.findall(r"^\t(-\w):", output_of(UTILITY, "1", "2"), re.M))
    text = page("meter-settings.8")
    assert usage == {"-m", "-v"}
    assert flags_of("\n".join(re.findall(r"^\.It (Fl .*)", text, re.M))) == usage
    assert flags_of(text.split(".Sh SYNOPSIS")[1].split(".Sh ")[0]) == usage


def test_the_options_of_the_doctor_are_in_the_help_and_on_the_page():
    usage = set(re.findall(r"^  (--[\w-]+)", output_of(BUILD / "meter-settings-doctor", "--help"), re.M))
    text = page("meter-settings-doctor.8")
    listed = {"-" + flag for flag in re.findall(r"^\.It Fl (-[\w-]+)", text, re.M)}
    assert usage == listed
    assert len(usage) == 4


def test_every_command_that_the_utility_runs_is_on_its_page():
    source = (REPOSITORY / "simulator" / "platform.cpp").read_text()
    text = page("meter-settings.8")
    lines = re.findall(r'^    \{ "([^"]+)"', source, re.M)
    assert len(lines) == 5
    for line in lines:
        word = line.removeprefix("rm -rf ").split()[0]
        assert f".It Pa {word}" in text
