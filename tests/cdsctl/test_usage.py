"""The command line of cdsctl: help, version, and wrong usage."""

import os
import pathlib
import re

import pytest
from harness.program import REPOSITORY

HELP = pathlib.Path(__file__).with_name("help.txt")

COMMANDS = ["list", "get", "set", "clear", "watch", "dump", "load", "diff", "reset", "init"]


def test_help_names_every_command(answer):
    for option in ("--help", "-h"):
        text = answer(option, environment={})
        assert re.findall(r"^  ([a-z]+) ", text, re.M) == COMMANDS
        assert "Usage: cdsctl [OPTIONS] [COMMAND]" in text
        assert set(re.findall(r"--[a-z]+", text)) == {"--help", "--version"}  # not the options of commands


@pytest.mark.parametrize("name", COMMANDS)
def test_every_command_has_help_with_its_operands(answer, name):
    for words in ((name, "--help"), ("--help", name), (name, "x", "y", "-h")):
        text = answer(*words, environment={})
        assert re.search(rf"^Usage: cdsctl {name}[A-Z \[\].]*\[OPTIONS\]$", text, re.M), text
    assert ("--json" in text) == (name in ("list", "get", "watch", "diff"))
    assert ("--type" in text) == (name == "set")


def test_the_help_is_the_recorded_text(answer):
    """To record a changed help text, run RECORD_HELP=1 ./test tests/cdsctl/test_usage.py."""
    texts = [f"$ cdsctl {' '.join(words)}\n{answer(*words, environment={})}"
             for words in (("--help",), *((name, "--help") for name in COMMANDS))]
    if os.environ.get("RECORD_HELP"):
        HELP.write_text("\n".join(texts))
    assert "\n".join(texts) == HELP.read_text()


def test_the_version_is_the_version_of_the_project(answer):
    version = re.search(r'"([\d.]+)"', (REPOSITORY / "app/version.h").read_text())[1]
    assert answer("--version", environment={}) == f"cdsctl {version}\n"


@pytest.mark.parametrize("arguments, said", [
    ((), "a command is needed"),
    (("sett", "/a", "1"), "unknown command sett"),
    (("--nope",), "--nope"),
    (("get",), "usage: cdsctl get PATH..."),
    (("set", "/a"), "usage: cdsctl set PATH VALUE [PATH VALUE]..."),
    (("set", "/a", "1", "/b"), "usage: cdsctl set"),
    (("set", "--tpye", "int", "/a", "1"), "--tpye"),
    (("set", "/a", "1", "--tpye", "int"), "--tpye"),
    (("set", "--type", "float", "/a", "1"), "--type"),
    (("set", "/a", "1", "--type"), "--type"),
    (("clear",), "usage: cdsctl clear PATH..."),
    (("list", "/a", "/b"), "usage: cdsctl list [PREFIX]"),
    (("watch", "/a", "/b"), "usage: cdsctl watch [PREFIX]"),
    (("list", "--type", "int"), "--type"),
    (("--type", "int", "list"), "--type"),
    (("--json", "dump"), "--json"),
    (("set", "--json", "/a", "1"), "--json"),
    (("dump", "x"), "usage: cdsctl dump\n"),
    (("load",), "usage: cdsctl load FILE"),
    (("diff",), "usage: cdsctl diff FILE [FILE]"),
    (("diff", "a", "b", "c"), "usage: cdsctl diff"),
    (("reset", "x"), "usage: cdsctl reset"),
    (("init",), "usage: cdsctl init DIR"),
    (("init", "/dev/null/x", "/dev/null/y"), "usage: cdsctl init DIR"),
    (("load", "/dev/null", "/dev/null"), "usage: cdsctl load FILE"),
    (("set", "/a", "--help", "/b"), "usage: cdsctl set"),
    (("set", "/a", "--"), "usage: cdsctl set"),
    (("init", "-C", "x", "/dev/null/y"), "init takes the meter's folder as DIR, not with -C"),
    (("-C", "x", "init", "/dev/null/y"), "init takes the meter's folder as DIR, not with -C"),
    (("get", "-5"), "-5"),
    (("get", "/a", "--nope"), "--nope"),
    (("list", "-C"), "-C"),
])
def test_wrong_usage_is_reported_and_changes_nothing(meter, error_of, arguments, said):
    text = error_of(2, *arguments)
    assert text.startswith("cdsctl: ") and said in text
    assert re.search(r"\nTry 'cdsctl( [a-z]+)? --help'\.\n$", text)
    assert meter.difference() == ["unchanged"]
