"""Checks the result and the effect of each command on one meter with a good line."""

import json
import re

import fleet_verdict
import pytest
from fleet_plans import LEAVES, read_settings
from fleet_rig import FACTORY_LEAVES, FleetMeter, play, plan_text, run_fleet
from harness.program import REPOSITORY

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

FACTORY_SETTINGS = read_settings(FACTORY_LEAVES)
EVERYTHING_ELSE = {
    "dhcp": True, "ip_address": "198.51.100.20", "subnet_mask": "255.255.0.0", "default_gateway": "198.51.100.1",
    "media_type": "10Base-T Full", "primary_dns": "198.51.100.53", "secondary_dns": "198.51.100.54",
    "serial_number": "101212346", "options_list": "1A-2C-4-WEB-PQ2", "meter_form": 5, "class_amps": 0,
    "nominal_frequency": 0, "enclosure": "K1F",
}  # fmt: skip
MEMBERS = {"name", "result", "changed", "diff", "settings", "messages", "seconds", "record"}


def one(command, folder, meter, settings, *arguments, **options):
    """Runs a command on one meter and checks the result. Returns the exit status and the result."""
    done, results = play(command, folder, [(meter, settings)], *arguments, **options)
    result = results[meter.name]
    assert result.keys() == MEMBERS
    assert fleet_verdict.problems(meter, settings, result) == []
    return done.returncode, result


@pytest.mark.parametrize("settings", [FACTORY_SETTINGS, {"dhcp": False}, {"enclosure": "S"}],
                         ids=["all", "network", "identity"])
@pytest.mark.parametrize("command", ["check", "apply"])
def test_a_meter_with_the_planned_values_does_not_change(command, settings, folder):
    meter = FleetMeter(folder / "same")
    status, result = one(command, folder, meter, settings)
    assert (status, result["result"], result["changed"], result["diff"]) == (0, "ok", False, [])
    assert meter.leaves() == FACTORY_LEAVES
    assert not fleet_verdict.writes(meter.calls()) and not fleet_verdict.commands(meter.calls())


def test_a_plan_is_applied_and_verified_in_a_new_session(folder):
    meter = FleetMeter(folder / "other")
    status, result = one("apply", folder, meter, EVERYTHING_ELSE)
    assert (status, result["result"], result["changed"]) == (0, "changed", True)
    assert {entry["setting"]: (entry["before"], entry["after"]) for entry in result["diff"]} == {
        key: (FACTORY_SETTINGS[key], EVERYTHING_ELSE[key]) for key in EVERYTHING_ELSE}
    assert result["settings"] == EVERYTHING_ELSE
    calls = [call["call"] for call in meter.calls()]
    assert calls.count("pcd_init") == calls.count("pcd_close") >= 2
    last_write = max(place for place, call in enumerate(calls) if call.startswith(("set_", "clear_")))
    after = calls[last_write:]
    assert after.count("pcd_init") == after.count("pcd_close") - 1 >= 1
    reads = [tuple(call["paths"]) for call in meter.calls()[last_write:] if call["call"] == "get_leaves"]
    assert {path for paths in reads for path in paths} >= set(LEAVES.values())
    assert len([line for line in fleet_verdict.commands(meter.calls()) if "network restart" in line]) == 1


def test_check_changes_nothing_and_predicts_the_apply(folder):
    meter = FleetMeter(folder / "other")
    status, result = one("check", folder, meter, EVERYTHING_ELSE)
    assert (status, result["result"], result["changed"]) == (1, "differs", True)
    assert {entry["setting"] for entry in result["diff"]} == EVERYTHING_ELSE.keys()
    assert meter.leaves() == FACTORY_LEAVES


@pytest.mark.parametrize("setting", EVERYTHING_ELSE)
def test_each_setting_alone(setting, folder):
    meter = FleetMeter(folder / setting)
    _, result = one("apply", folder, meter, {setting: EVERYTHING_ELSE[setting]})
    assert result["result"] == "changed"
    assert fleet_verdict.changed_settings(FACTORY_LEAVES, meter.leaves()) == {setting}


@pytest.mark.parametrize("setting", ["ip_address", "default_gateway", "primary_dns", "secondary_dns", "media_type"])
def test_a_value_is_removed(setting, folder):
    meter = FleetMeter(folder / setting)
    _, result = one("apply", folder, meter, {setting: ""})
    assert result["result"] == "changed"
    assert LEAVES[setting] not in meter.leaves()


def test_a_media_type_that_the_meter_does_not_offer_changes_nothing(folder):
    meter = FleetMeter(folder / "media")
    done, results = play("apply", folder, [(meter, {"media_type": "1000Base-T"})])
    assert (done.returncode, results["media"]["result"]) == (2, "rejected")
    assert "1000Base-T" in " ".join(results["media"]["messages"])
    assert meter.leaves() == FACTORY_LEAVES


REJECTED = {
    "subnet_mask": ("", "255.255.0", "10.1.1.1.9"),
    "ip_address": ("10.1.1.1.9", "256.1.1.1", "10.0.0.1 ", " 10.0.0.1", "10.0.0.1abc", "-1.2.3.4", "~", 5),
    "dhcp": ("yes", 1),
    "serial_number": ("", "089912345", "095312345", "091200000", "091212345678", "0912345 ", 91512345),
    "options_list": ("", "1A-1C", "WEB-WEB", "Web", "WEB-", "WEB--NTP", "-WEB", "XYZ", "~"),
    "meter_form": (6, -1, "3", True),
    "class_amps": (3,),
    "nominal_frequency": (2,),
    "enclosure": ("", "rk", "K1 ", "X"),
    "mac_address": ("02:00:5E:10:00:02",),
    "reset_passwords": (True,),
}


@pytest.mark.parametrize("setting", REJECTED)
def test_an_impossible_plan_is_rejected_before_any_console_is_opened(setting, folder):
    for value in REJECTED[setting]:
        meter = FleetMeter(folder / f"meter-{REJECTED[setting].index(value)}")
        path = folder / "plan.toml"
        path.write_text(plan_text([(meter.name, meter.console, {setting: value})]))
        done = run_fleet("apply", path, "--json", "--records", folder / "records")
        assert done.returncode == 2, (value, done.stdout)
        assert f"{path}:5" in done.stderr, (value, done.stderr)
        assert not meter.trace.exists(), value
        assert all(json.loads(line)["result"] == "rejected" for line in done.stdout.splitlines())


def test_two_meters_with_the_same_name_are_rejected(folder):
    meter = FleetMeter(folder / "twice")
    path = folder / "plan.toml"
    path.write_text(plan_text([("twice", meter.console, {"dhcp": True})] * 2))
    done = run_fleet("apply", path, "--records", folder / "records")
    assert done.returncode == 2 and "twice" in done.stderr and f"{path}:" in done.stderr
    assert not meter.trace.exists()


def test_the_option_only_selects_meters(folder):
    meters = [FleetMeter(folder / name) for name in ("east-1", "east-2", "west-1")]
    done, results = play("check", folder, [(meter, {"dhcp": False}) for meter in meters], "--only", "east-*")
    assert results.keys() == {"east-1", "east-2"}
    assert done.returncode == 0 and not meters[2].trace.exists()


def test_a_console_that_does_not_exist_is_unreachable(folder):
    path = folder / "plan.toml"
    consoles = ["run:/nonexistent/program", "run:/bin/false", "telnet:127.0.0.1:1", "serial:/nonexistent",
                "run:/bin/echo nothing that is known"]
    path.write_text(plan_text([(f"m{i}", console, {"dhcp": True}) for i, console in enumerate(consoles)]))
    done = run_fleet("apply", path, "--json", "--records", folder / "records")
    results = [json.loads(line) for line in done.stdout.splitlines()]
    assert {result["result"] for result in results} == {"unreachable"}, done.stdout
    assert len(results) == len(consoles) and done.returncode == 3
    assert all(result["messages"] for result in results)


def test_a_meter_without_a_connection_to_its_store_is_unreachable(folder):
    meter = FleetMeter(folder / "broken", faults='[[fault]]\ncall = "pcd_init"\n')
    _, result = one("apply", folder, meter, {"dhcp": True})
    assert result["result"] == "unreachable"


def test_the_worst_result_is_the_exit_status(folder):
    good = FleetMeter(folder / "good")
    bad = FleetMeter(folder / "bad", faults='[[fault]]\ncall = "set_leaves"\nresult = -1\n')
    done, results = play("apply", folder, [(good, {"dhcp": True}), (bad, {"dhcp": True})])
    assert {name: result["result"] for name, result in results.items()} == {"good": "changed", "bad": "unknown"}
    assert done.returncode == 4


def test_the_save_is_found_in_a_menu_without_an_initialisation_line(folder):
    """Without -m, item 5 of the main menu saves. With -m, item 5 opens the initialisation menu."""
    meter = FleetMeter(folder / "plain", arguments=())
    _, result = one("apply", folder, meter, {"primary_dns": "198.51.100.53"})
    assert result["result"] == "changed"


def test_a_setting_that_the_menus_of_this_start_do_not_have_changes_nothing(folder):
    meter = FleetMeter(folder / "plain", arguments=())
    _, result = one("apply", folder, meter, {"primary_dns": "198.51.100.53", "enclosure": "RK"})
    assert result["result"] == "rejected"
    assert "-m" in " ".join(result["messages"])
    assert meter.leaves() == FACTORY_LEAVES


@pytest.mark.parametrize("command", ["show", "check", "apply"])
def test_help_and_version(command):
    assert "PLAN" in run_fleet(command, "--help").stdout
    assert run_fleet("--version").stdout.startswith("meter-fleet ")
    assert run_fleet(command).returncode == 2
    assert run_fleet(command, "/nonexistent/plan.toml").returncode == 2


def test_the_man_page_has_every_option():
    text = (REPOSITORY / "docs" / "man" / "meter-fleet.1").read_text()
    in_page = {"-" + option for option in re.findall(r"^\.It Fl (-[a-z]+)", text, re.M)}
    in_help = set(re.findall(r"--[a-z]+", run_fleet("apply", "--help").stdout + run_fleet("--help").stdout))
    assert in_page == in_help
    in_list = set(re.findall(r"^\.It Cm (\w+)", text, re.M))
    assert in_list == {"show", "check", "apply"}
