"""Tests of the command line: the usage text, the version text, and the effect of each argument."""

import re

import pytest
from harness.menus import INIT
from harness.piped import run
from harness.program import BUILD, UTILITY, command

USAGE = (
    "Usage: {0} [<number_of_interfaces> | -v | -m]\n"
    "\n"
    "\t<number_of_interfaces>: Number of ethernet interfaces (default: 2)\n"
    "\t-v: print version info. to stdout and exit\n"
    "\t-m: view menu for Velmora II Initialisation\n"
    "\n"
)


def without_meter(meter):
    return {key: value for key, value in meter.environment().items() if key != "METER_SIM_DIR"}


@pytest.mark.parametrize("arguments", [("-v", "-m"), ("4", "abc"), ("-m", "-m"), ("", ""), ("1", "2", "3")])
def test_more_than_one_argument_prints_the_usage(meter, arguments):
    answer = run(command(UTILITY, *arguments), meter.environment())
    assert answer.returncode == 1
    assert answer.stderr.decode() == USAGE.format(UTILITY)
    assert answer.stdout == b""
    assert meter.calls() == []


def test_the_usage_contains_the_name_of_the_call(meter):
    answer = run(command("./meter-settings", "1", "2"), meter.environment(), cwd=BUILD)
    assert answer.stderr.decode() == USAGE.format("./meter-settings")


@pytest.mark.parametrize("name, folder", [(str(UTILITY), None), ("./meter-settings", BUILD)])
def test_version_needs_no_meter(meter, name, folder):
    answer = run(command(name, "-v"), without_meter(meter), cwd=folder)
    assert answer.returncode == 0
    assert answer.stderr == b""
    form = (re.escape(name) + r": version 0\.0\.1\n"
            r"Build date: (Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [ 123]\d 2\d{3} "
            r"[0-2]\d:[0-5]\d:[0-6]\d\n"
            r"\$Revision: 1\.3 \$\n\n")
    assert re.fullmatch(form, answer.stdout.decode())
    assert meter.calls() == []


@pytest.mark.parametrize("argument", [
    "4", "abc", "1", "0", "-1", "", "-M", "-mm", "-m ", "-V", "-vm", "--version", "-", "--help"])
def test_any_other_argument_has_no_effect(meter, argument):
    plain = run(command(UTILITY), meter.environment(), f"{INIT}\n0\n".encode())
    calls = meter.calls()
    meter.trace.unlink()
    answer = run(command(UTILITY, argument), meter.environment(), f"{INIT}\n0\n".encode())
    assert (answer.returncode, answer.stdout, answer.stderr) == (0, plain.stdout, b"")
    assert b"Error: Invalid selection" in plain.stdout  # only a start with -m shows an item with this number
    assert meter.calls() == calls


def test_the_option_m_adds_one_item(meter):
    plain = run(command(UTILITY), meter.environment(), b"0\n")
    answer = run(command(UTILITY, "-m"), meter.environment(), b"0\n")
    line = b" %d.  %-73s\n\n" % (INIT, b"Velmora II Initialization (Serial and Options List)")
    assert answer.stdout.replace(line, b"") == plain.stdout
    assert answer.stdout != plain.stdout


def assert_no_connection(answer):
    assert answer.returncode == 1
    assert answer.stdout == b""
    assert answer.stderr.endswith(b"\nError: can't connect to CDS\n")


@pytest.mark.parametrize("argument", [(), ("-m",), ("4",)])
def test_without_a_meter_there_is_no_connection(meter, argument):
    assert_no_connection(run(command(UTILITY, *argument), without_meter(meter), b"0\n"))


def test_with_an_unreadable_store_there_is_no_connection(meter):
    (meter.folder / "store.toml").write_text("no TOML\n")
    assert_no_connection(run(command(UTILITY), meter.environment(), b"0\n"))
