"""Tests that the compiler rejects mistakes in the program's tables."""

import subprocess

import pytest

from harness.program import REPOSITORY

pytestmark = [pytest.mark.host_only, pytest.mark.builds]

TOKENS = "meterinit/option_tokens.h"
SETTINGS = "settings/setting_leaves.h"
COMMANDS = "console/command.h"
TOKEN_2C = '    {"2C",   OptionGroup::ethernet,      leaves("Ethernet/1", "Ethernet/Wifi")},\n'

MISTAKES = {
    "a leaf that is not in the table":
        (TOKENS, '"Ethernet/1", "Ethernet/Wifi"', '"Ethernet/1", "Ethernet/Wi-Fi"', "name_is_not_in_table"),
    "a token that begins another one":
        (TOKENS, '{"6",  ', '{"5G", ', "no_token_begins_another"),
    "members of a group that are not neighbours":
        (TOKENS, TOKEN_2C, TOKEN_2C + TOKEN_2C.replace("ethernet", "serial").replace("2C", "2D"),
         "members_are_neighbours"),
    "a leaf of another group":
        (TOKENS, '"Ethernet/1", "Ethernet/Wifi"', '"Ethernet/1", "Web"', "leaves_are_in_their_groups"),
    "a leaf that no token sets":
        (TOKENS, '    {"PMU",  OptionGroup::single,        leaves("PMU")},\n', "", "every_leaf_is_set"),
    "a group without a message":
        (TOKENS, "    count, // not a group", "    radio,\n    count, // not a group", "each_group_has_its_message"),
    "group messages in another order":
        (TOKENS, '{OptionGroup::modem,         "', '{OptionGroup::serial,        "', "each_group_has_its_message"),
    "no leaf MID":
        (TOKENS, '{"MID",                  OptionGroup::single}', '{"MED",                  OptionGroup::single}',
         '"MID"'),
    "a flag for a leaf that is a string":
        (SETTINGS, "&InterfaceSettings::ip_address", "&InterfaceSettings::dhcp", "members_match_types"),
    "commands in another order":
        (COMMANDS, "{Command::remove_downloads, ", "{Command::restart_network,  ", "each_command_has_its_line"),
    "a command without a line":
        (COMMANDS, "    restart_network,\n", "    restart_network,\n    one_more,\n", "each_command_has_its_line"),
}


def compile_with(change, tmp_path):
    """Compiles a changed copy of a header. Returns the compiler's exit status and output."""
    name, old, new, _ = change
    text = (REPOSITORY / name).read_text()
    assert text.count(old) == 1, f"{name}: {old}"
    header = tmp_path / "changed.h"
    header.write_text(text.replace(old, new).replace("#pragma once\n", ""))
    return subprocess.run(["g++", "-std=c++17", "-fsyntax-only", f"-I{REPOSITORY}", "-xc++", str(header)],
                          capture_output=True, text=True)


@pytest.mark.parametrize("name", (TOKENS, SETTINGS, COMMANDS))
def test_the_tables_compile(name, tmp_path):
    result = compile_with((name, "#pragma once\n", "#pragma once\n", ""), tmp_path)
    assert result.returncode == 0, result.stderr


@pytest.mark.parametrize("mistake", MISTAKES)
def test_a_mistake_does_not_compile(mistake, tmp_path):
    result = compile_with(MISTAKES[mistake], tmp_path)
    assert result.returncode != 0
    assert MISTAKES[mistake][3] in result.stderr
