"""Runs meter-fleet on simulated meters. Checks the writes to the meter, the results and the command line."""

import asyncio
import json
import re
import shlex
import subprocess

import pytest
from harness.program import BUILD, REPOSITORY, UTILITY
from meter_fleet import plan, session
from meter_fleet.errors import Astray
from meter_fleet.fleet import run
from meter_fleet.keys import Dialog
from meter_fleet.results import Command, as_json, exit_status
from meter_fleet.screens import FORBIDDEN_LINES, Menu
from meter_fleet.session import ORDER
from meter_fleet.settings import SETTINGS

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

INTERFACE = "/Software/System Settings/Network/Interface/1/"
EIGHT = {"dhcp": True, "ip_address": "198.51.100.7", "subnet_mask": "255.255.0.0", "secondary_dns": "",
         "serial_number": "101212346", "options_list": "1A-2C-4-WEB-PQ2", "meter_form": 5, "enclosure": "K1F"}
WRITES = ("set_leaf", "set_leaves", "clear_leaves", "system")


def console_of(meter, *arguments):
    environment = meter.environment()
    variables = [f"{name}={environment[name]}" for name in environment if name.startswith("METER_SIM_")]
    return "run:" + shlex.join(["env", *variables, str(UTILITY), *arguments])


def planned(meter, settings, arguments=("-m",)):
    return plan.meter_of({"name": "m", "console": console_of(meter, *arguments), "settings": settings})


def do(command, meter, settings, tmp_path, arguments=("-m",)):
    return run([planned(meter, settings, arguments)], command, records=tmp_path)[0]


def calls_of(meter, *names):
    calls = [json.loads(line) for line in meter.calls()]
    return [call for call in calls if call["call"] in names]


def test_every_setting_has_its_place_in_the_order_of_editing():
    assert sorted(ORDER) == sorted(SETTINGS)
    assert ORDER[-1] == "options_list"


def test_a_plan_is_applied(meter, tmp_path):
    result = do(Command.APPLY, meter, EIGHT, tmp_path)
    assert (result.result, result.changed, result.messages) == ("changed", True, [])
    assert {one.setting for one in result.diff} == EIGHT.keys()
    assert {name: result.settings[name] for name in EIGHT} == EIGHT
    leaves = meter.leaves()
    assert leaves[INTERFACE + "DHCP Enabled/Value"] is True
    assert leaves[INTERFACE + "IP Address/Value"] == "198.51.100.7"
    assert leaves["/VMC/Comms/EthPort/1/General/IPAddress/Value"] == "198.51.100.7"
    assert "/Software/System Settings/Network/Name Server/2/Value" not in leaves
    assert leaves["/VMC/PrimCfg/Form/Value"] == 5
    assert leaves["/VMIC/Options/PQ2/Value"] is True
    assert len([call for call in calls_of(meter, "system") if "network restart" in call["command"]]) == 1


def test_a_meter_with_the_planned_values_is_only_read(meter, tmp_path):
    do(Command.APPLY, meter, EIGHT, tmp_path)
    meter.trace.unlink()
    result = do(Command.APPLY, meter, EIGHT, tmp_path)
    assert (result.result, result.changed, result.diff) == ("ok", False, [])
    assert calls_of(meter, *WRITES) == []


def test_check_predicts_what_apply_does(meter, tmp_path):
    predicted = do(Command.CHECK, meter, EIGHT, tmp_path)
    assert (predicted.result, calls_of(meter, *WRITES)) == ("differs", [])
    assert predicted.diff == do(Command.APPLY, meter, EIGHT, tmp_path).diff
    assert do(Command.CHECK, meter, EIGHT, tmp_path).result == "ok"


def test_show_prints_a_plan_with_the_values_of_the_meter(meter, tmp_path):
    shown = do(Command.SHOW, meter, {}, tmp_path)
    assert shown.settings.keys() == SETTINGS.keys()
    file = tmp_path / "backup.toml"
    file.write_text(plan.plan_text(planned(meter, {}), shown.settings))
    [again] = plan.read_plans([file])
    assert run([again], Command.CHECK, records=tmp_path)[0].result == "ok"


REMOVED = {"ip_address": "", "default_gateway": "", "primary_dns": "", "secondary_dns": "", "media_type": "",
           "meter_form": "", "class_amps": "", "nominal_frequency": "", "serial_number": "YYMMXXXXX"}


def test_values_that_were_not_edited_can_be_removed(meter, tmp_path):
    result = do(Command.APPLY, meter, REMOVED, tmp_path)
    assert result.result == "changed"
    leaves = meter.leaves()
    assert leaves["/VMIC/SerialNumber/Value"] == "YYMMXXXXX"
    for path in (INTERFACE + "IP Address/Value", INTERFACE + "Default Gateway/Value",
                 INTERFACE + "Media Type/Current Type/Value", "/VMC/PrimCfg/Form/Value",
                 "/VMC/PrimCfg/ClassAmps/Value", "/VMC/PrimCfg/NomFreq/Value",
                 "/Software/System Settings/Network/Name Server/1/Value"):
        assert path not in leaves
    assert do(Command.APPLY, meter, REMOVED, tmp_path).result == "ok"


def test_only_values_that_differ_are_typed(meter, tmp_path):
    settings = {"primary_dns": "192.0.2.53", "enclosure": "R"}
    assert [one.setting for one in do(Command.APPLY, meter, settings, tmp_path).diff] == ["enclosure"]
    [written] = calls_of(meter, "set_leaves")
    assert [leaf["path"] for leaf in written["leaves"]] == ["/VMIC/Enclosure/Value"]


def test_a_media_type_that_the_port_does_not_offer_is_rejected_and_nothing_saved(meter, tmp_path):
    settings = {"media_type": "1000Base-T Full", "primary_dns": "10.0.0.1"}
    results = [do(command, meter, settings, tmp_path) for command in (Command.CHECK, Command.APPLY)]
    assert [result.result for result in results] == ["rejected", "rejected"]
    assert calls_of(meter, *WRITES) == []
    assert exit_status(results) == 2


def test_initialisation_settings_need_a_utility_started_with_m(meter, tmp_path):
    result = do(Command.APPLY, meter, {"enclosure": "R"}, tmp_path, arguments=())
    assert result.result == "rejected"
    assert "without -m" in result.messages[0]
    shown = do(Command.SHOW, meter, {}, tmp_path, arguments=())
    assert (shown.result, "enclosure" in shown.settings) == ("ok", False)


def faulty(meter, text):
    (meter.folder / "faults.toml").write_text(text)


def test_a_failed_write_of_a_mirror_is_unknown_although_settings_were_saved(meter, tmp_path):
    faulty(meter, '[[fault]]\ncall = "set_leaf"\nstatus = 5\n')
    result = do(Command.APPLY, meter, {"ip_address": "198.51.100.7", "primary_dns": "10.0.0.1"}, tmp_path)
    assert result.result == "unknown"
    said = "\n".join(result.messages)
    assert len([call for call in calls_of(meter, "system") if "network restart" in call["command"]]) == 1
    assert "set_leaf failed for" in said
    assert 'the meter shows ip_address = "198.51.100.7", as planned' in said


def test_a_failed_removal_of_a_value_is_noticed(meter, tmp_path):
    """The utility ignores the status of each cleared leaf and reports a successful save."""
    faulty(meter, '[[fault]]\ncall = "clear_leaves"\nstatus = 5\n')
    result = do(Command.APPLY, meter, {"secondary_dns": ""}, tmp_path)
    assert result.result == "unknown"
    assert 'the meter shows secondary_dns = "192.0.2.54", planned is ""' in result.messages


def test_a_failed_save_is_unknown_and_the_values_on_the_meter_are_reported(meter, tmp_path):
    faulty(meter, '[[fault]]\ncall = "set_leaves"\nresult = -1\n')
    result = do(Command.APPLY, meter, EIGHT, tmp_path)
    assert result.result == "unknown"
    assert "the utility says: Error saving settings!" in result.messages
    assert meter.leaves()[INTERFACE + "IP Address/Value"] == "192.0.2.10"


def test_a_store_that_cannot_be_opened_is_unreachable(meter, tmp_path):
    faulty(meter, '[[fault]]\ncall = "pcd_init"\n')
    result = do(Command.APPLY, meter, EIGHT, tmp_path)
    assert result.result == "unreachable"
    assert "can't connect to CDS" in result.messages[0]


def test_the_screens_of_an_unreadable_store_are_not_trusted(meter, tmp_path):
    """The screens show [None] for a value that cannot be read, and also for the empty value in this plan."""
    faulty(meter, '[[fault]]\ncall = "get_leaves"\nresult = -1\n')
    result = do(Command.CHECK, meter, {"primary_dns": ""}, tmp_path)
    assert result.result == "unreachable"


def test_one_failed_read_of_a_value_does_not_mean_that_the_value_is_missing(meter, tmp_path):
    faulty(meter, f'[[fault]]\ncall = "get_leaves"\npath = "{INTERFACE}IP Address/Value"\nstatus = 5\ntimes = 1\n')
    result = do(Command.CHECK, meter, {"ip_address": ""}, tmp_path)
    assert result.result != "ok"


def test_a_bad_console_does_not_delay_the_others(meter, tmp_path):
    good = planned(meter, {"primary_dns": "10.0.0.1"})
    bad = plan.meter_of({"name": "bad", "console": "run:sh -c 'exit 3'"})
    ended = []
    results = run([bad, good], Command.APPLY, records=tmp_path, on_result=lambda one: ended.append(one.name))
    assert [one.result for one in results] == ["unreachable", "changed"]
    assert ended == ["m", "bad"]
    assert json.loads(as_json(results[0]))["settings"] == {}


# -- single steps --

def menus(monkeypatch, *texts):
    """Returns a session whose console shows one main menu after another. Each text is the primary DNS server
    on one of these menus."""
    shown = [Menu("main", {}, {"primary_dns": text}) for text in texts]

    async def go_to(session, kind):
        return shown.pop(0)

    async def redraw(session):
        return None

    monkeypatch.setattr(session, "go_to", go_to)
    monkeypatch.setattr(session, "redraw", redraw)
    return session.Session(Dialog(link=None), expected={"primary_dns": "1.2.3.4"})


def test_a_wrong_value_on_one_screen_is_read_again(monkeypatch):
    found = asyncio.run(session.look_at(menus(monkeypatch, "1.2.3.5", "1.2.3.4"), "main"))
    assert found.values == {"primary_dns": "1.2.3.4"}


def test_a_value_that_somebody_changed_ends_the_session(monkeypatch):
    with pytest.raises(Astray, match="primary_dns was '1.2.3.4' and is now '1.2.3.5'"):
        asyncio.run(session.look_at(menus(monkeypatch, "1.2.3.5", "1.2.3.5"), "main"))


@pytest.mark.parametrize("label", FORBIDDEN_LINES)
def test_a_line_that_resets_or_clears_is_never_chosen(label):
    with pytest.raises(ValueError):
        asyncio.run(session.choose(session.Session(Dialog(link=None)), Menu("main", {label: 4}, {}), label))


# -- the command line --

METER_FLEET = REPOSITORY / "fleet" / "meter-fleet"


def command_line(*words):
    return subprocess.run([METER_FLEET, *map(str, words)], capture_output=True, text=True, timeout=60, check=False)


def plan_file(meter, tmp_path, settings):
    path = tmp_path / "plan.toml"
    path.write_text(plan.plan_text(planned(meter, settings), settings))
    return path


def test_the_exit_status_and_the_objects(meter, tmp_path):
    path = plan_file(meter, tmp_path, {"primary_dns": "10.0.0.1"})
    for command, result, status in (("check", "differs", 1), ("apply", "changed", 0), ("apply", "ok", 0)):
        done = command_line(command, path, "--json", "--records", tmp_path / "records")
        assert (done.returncode, done.stderr) == (status, "")
        reported = json.loads(done.stdout)
        assert reported.keys() == {"name", "result", "changed", "diff", "settings", "messages", "seconds", "record"}
        assert reported["result"] == result
        assert not (BUILD / "meter-fleet-records").exists()


def test_plain_lines(meter, tmp_path):
    path = plan_file(meter, tmp_path, {"primary_dns": "10.0.0.1"})
    done = command_line("check", path, "--records", tmp_path)
    assert re.fullmatch(r'm: differs \(\d+\.\d s\)\n    primary_dns: "192.0.2.53" -> "10.0.0.1"\n', done.stdout)


def test_a_rejected_plan_opens_no_console(meter, tmp_path):
    path = plan_file(meter, tmp_path, {"primary_dns": "10.0.0.1"})
    path.write_text(path.read_text().replace("10.0.0.1", "10.0.0.1.9"))
    done = command_line("apply", path, "--json", "--records", tmp_path / "records")
    assert done.returncode == 2
    assert done.stderr.startswith(f'{path}:5: primary_dns = "10.0.0.1.9": has more than four numbers')
    assert json.loads(done.stdout)["result"] == "rejected"
    assert meter.calls() == []
    assert not (tmp_path / "records").exists()


def test_the_option_only_selects_meters(meter, tmp_path):
    path = plan_file(meter, tmp_path, {"primary_dns": "10.0.0.1"})
    assert command_line("check", path, "--only", "x*", "--records", tmp_path).returncode == 2
    assert command_line("check", path, "--only", "x*", "--only", "[lm]", "--records", tmp_path).returncode == 1


def test_wrong_usage_is_status_2():
    assert command_line("apply").returncode == 2
    assert command_line("apply", "x.toml", "--jobs", "0").returncode == 2
    assert command_line("--version").stdout.startswith("meter-fleet ")
