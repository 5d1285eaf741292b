"""Tests that each check of fleet_verdict finds the error that it looks for."""

import json
import random

import fleet_plans
import fleet_verdict
import option_words
import pytest
from fleet_rig import FACTORY_LEAVES, FleetMeter
from harness import piped

pytestmark = [pytest.mark.host_only, pytest.mark.slow]


def driven(folder, keys, faults=""):
    """Returns a meter after a session in which these keys were typed without waiting for a screen."""
    meter = FleetMeter(folder / "meter", faults=faults)
    done = piped.run(meter.command, {**meter.environment, "PATH": "/usr/bin:/bin"}, keys)
    assert done.returncode == 0
    return meter


def result(kind, **members):
    return {"result": kind, "messages": ["it is so"], "settings": {}, **members}


def problems(meter, planned, kind, **members):
    return "\n".join(fleet_verdict.problems(meter, planned, result(kind, **members)))


@pytest.mark.parametrize("kind", ["ok", "changed"])
def test_a_wrong_store(kind, folder):
    meter = driven(folder, b"0\n")
    assert f"{kind}, but dhcp is False instead of True" in problems(meter, {"dhcp": True}, kind)
    assert problems(meter, {"dhcp": False}, kind) == ""


def test_a_setting_that_was_not_planned(folder):
    meter = driven(folder, b"2\n10.1.1.1\n3\n10.2.2.2\n6\ny\n0\n")
    planned = {"primary_dns": "10.1.1.1"}
    assert "Name Server/2/Value became '10.2.2.2'" in problems(meter, planned, "changed")
    assert problems(meter, planned | {"secondary_dns": "10.2.2.2"}, "changed") == ""


def test_writes_although_nothing_should_change(folder):
    meter = driven(folder, b"2\n192.0.2.53\n6\ny\n0\n")
    settings = {"primary_dns": "192.0.2.53"}
    for kind in ("ok", "differs", "unreachable"):
        assert "1 writes, 2 commands" in problems(meter, settings, kind)
    assert problems(meter, settings, "changed") == ""


@pytest.mark.parametrize("keys, what", [(b"4\ny\n0\n", "sernetpwreset.sh"), (b"5\n8\ny\n0\n0\n", "fw_reset.sh"),
                                        (b"5\n7\ny\n0\n0\n", "options cleared")])
def test_menu_items_that_must_never_be_chosen(keys, what, folder):
    meter = driven(folder, keys)
    assert f"forbidden: {what}" in problems(meter, {}, "unknown")


def test_option_leaves_of_another_list(folder):
    """The utility rejects the second list but keeps the option leaves of this list, so the save writes these
    leaves."""
    settings = {"options_list": "1A-WEB"}
    meter = driven(folder, b"5\n2\n1A-WEB\n2\n1C-NTP-XYZ\n0\n6\ny\n0\n")
    assert meter.leaves()["/VMIC/OptionsList/Value"] == "1A-WEB"
    assert "/VMIC/Options/NTP/Value differs from the options list" in problems(meter, settings, "changed")


def test_a_mirror_that_was_not_written(folder):
    meter = driven(folder, b"1\n2\n10.1.1.1\n0\n6\ny\n0\n", '[[fault]]\ncall = "set_leaf"\nresult = -1\n')
    assert "the mirror of ip_address" in problems(meter, {"ip_address": "10.1.1.1"}, "changed")


def test_a_wrong_report(folder):
    meter = driven(folder, b"0\n")
    assert "the report says class_amps is 1, the store 2" in problems(meter, {}, "ok", settings={"class_amps": 1})
    assert "unknown without a message" in problems(meter, {}, "unknown", messages=[])


def test_keys_while_a_command_runs(folder):
    meter = driven(folder, b"0\n")
    (meter.folder / "sessions").mkdir()
    (meter.folder / "sessions" / "0.jsonl").write_text('{"event": "key", "early": "command"}\n')
    assert "1 keys were typed while a command was running" in problems(meter, {}, "unknown")


def test_keys_before_a_screen_was_complete(folder):
    meter = driven(folder, b"0\n")
    (meter.folder / "sessions").mkdir()
    events = [{"event": "key", "early": why} for why in ("screen", "screen that it did not ask for", "")]
    (meter.folder / "sessions" / "0.jsonl").write_text("".join(f"{json.dumps(event)}\n" for event in events))
    assert "1 keys were typed before a screen was complete" in problems(meter, {}, "unknown")


def test_generated_plans_are_reproducible_and_possible():
    counted = {"same": 0, "other": 0}
    for number in range(300):
        _, leaves, settings = fleet_plans.generate(1, number)
        assert fleet_plans.generate(1, number)[1:] == (leaves, settings)
        assert settings
        for key, wanted in settings.items():
            assert fleet_plans.can_plan(key, wanted, leaves), (number, key, wanted)
            held = fleet_plans.read_setting(leaves, key)
            counted["same" if fleet_verdict.same(held, wanted) else "other"] += 1
    assert min(counted.values()) > 300


def test_generated_values_are_accepted_by_the_utility(folder):
    """Types generated serial numbers and options lists. The utility must save them."""
    rng = random.Random(1)
    for number in range(20):
        entered = {key: fleet_plans.value(rng, key, FACTORY_LEAVES) for key in ("serial_number", "options_list")}
        assert option_words.acceptable(entered["options_list"])
        keys = f"5\n1\n{entered['serial_number']}\n2\n{entered['options_list']}\n0\n6\ny\n0\n".encode()
        assert fleet_verdict.is_as_planned(driven(folder / str(number), keys).leaves(), entered)
