"""Runs meter-fleet on real consoles: OpenSSH, serial devices, terminal servers, and a 9,600 baud line."""

import json
import shlex

import fleet_verdict
import pytest
from fleet_plans import read_settings
from fleet_rig import FACTORY_LEAVES, FleetMeter, plan_text, run_fleet
from fleet_servers import (environment_with_password, over_a_slow_line, raw_terminal_server, serial_port,
                           shell_command, ssh_server, telnet_server)

pytestmark = [pytest.mark.host_only, pytest.mark.fleet]

EIGHT = {"ip_address": "198.51.100.20", "subnet_mask": "255.255.0.0", "default_gateway": "198.51.100.1",
         "primary_dns": "198.51.100.53", "secondary_dns": "", "serial_number": "101212346", "meter_form": 5,
         "enclosure": "K1F"}  # fmt: skip
PASSWORD = "a-pass word"
LOGIN = """[defaults]
login = { user = "tech", password_env = "FLEET_TEST_PASSWORD", prompt = '[$#] $' }
"""


def on_console(command, folder, console, settings, environment=None, defaults=LOGIN):
    path = folder / "plan.toml"
    path.write_text(plan_text([("meter", console, settings)], defaults))
    done = run_fleet(command, path, "--json", "--records", folder / "records",
                     env=environment or environment_with_password(PASSWORD))
    assert done.stdout, done.stderr
    return json.loads(done.stdout)


def check_a_console(folder, meter, console, environment=None, defaults=LOGIN):
    """Applies the same eight values twice. The first run must change the meter, and the second run must write
    nothing. Returns both results."""
    first = on_console("apply", folder, console, EIGHT, environment, defaults)
    assert first["result"] == "changed", first
    assert {key: read_settings(meter.leaves())[key] for key in EIGHT} == EIGHT
    assert fleet_verdict.problems(meter, EIGHT, first) == []
    before = len(fleet_verdict.writes(meter.calls()))
    again = on_console("apply", folder, console, EIGHT, environment, defaults)
    assert again["result"] == "ok", again
    assert len(fleet_verdict.writes(meter.calls())) == before
    calls = [call["call"] for call in meter.calls()]
    assert calls.count("pcd_init") == calls.count("pcd_close")
    return first, again


def check_that_no_password_is_in_the_records(folder):
    for path in (folder / "records").rglob("*"):
        if path.is_file():
            assert path.stat().st_mode & 0o777 == 0o600
            text = path.read_text(encoding="utf-8")
            assert PASSWORD not in text and "pass word" not in text and "a-pass" not in text
            # The transcript must not contain the password as single keys either. Therefore the signs around
            # the keys are removed before the comparison.
            assert PASSWORD not in "".join(character for character in text if character not in "‹›⏎\n")


def test_ssh(folder):
    meter = FleetMeter(folder / "meter")
    with ssh_server(folder / "ssh", shell_command(meter)) as (console, environment):
        check_a_console(folder, meter, console, environment, defaults="")


def test_ssh_to_a_shell_with_a_separate_login(folder):
    meter = FleetMeter(folder / "meter")
    with ssh_server(folder / "ssh", shell_command(meter, "tech", PASSWORD)) as (console, environment):
        check_a_console(folder, meter, console, environment | {"FLEET_TEST_PASSWORD": PASSWORD})
    check_that_no_password_is_in_the_records(folder)


def test_a_serial_line_with_a_login(folder):
    meter = FleetMeter(folder / "meter")
    with serial_port(folder, shell_command(meter, "tech", PASSWORD)) as device:
        check_a_console(folder, meter, f"serial:{device}?baud=115200")
    check_that_no_password_is_in_the_records(folder)


def test_a_serial_line_at_9600_baud(folder):
    meter = FleetMeter(folder / "meter")
    command = over_a_slow_line(folder / "line", shell_command(meter, "tech", PASSWORD))
    with serial_port(folder, command) as device:
        check_a_console(folder, meter, f"serial:{device}")
    check_that_no_password_is_in_the_records(folder)


def test_a_terminal_server_without_telnet(folder):
    meter = FleetMeter(folder / "meter")
    with raw_terminal_server(folder, shell_command(meter, "tech", PASSWORD)) as console:
        check_a_console(folder, meter, console)
    check_that_no_password_is_in_the_records(folder)


def test_a_telnet_terminal_server_at_9600_baud(folder):
    meter = FleetMeter(folder / "meter")
    command = over_a_slow_line(folder / "line", shell_command(meter, "tech", PASSWORD))
    with serial_port(folder, command) as device, telnet_server(folder, device) as console:
        check_a_console(folder, meter, console)
    check_that_no_password_is_in_the_records(folder)


def test_a_command_that_leads_to_a_shell(folder):
    meter = FleetMeter(folder / "meter")
    console = "shell:" + shlex.join(shell_command(meter))
    check_a_console(folder, meter, console, defaults="")


def test_a_command_that_leads_to_a_login(folder):
    meter = FleetMeter(folder / "meter")
    console = "shell:" + shlex.join(shell_command(meter, "tech", "secret"))
    environment = environment_with_password("secret")
    first, _ = check_a_console(folder, meter, console, environment)
    assert "secret" not in json.dumps(first["messages"])


@pytest.mark.parametrize("password", ["wrong", None])
def test_a_wrong_or_missing_password_is_unreachable(password, folder):
    meter = FleetMeter(folder / "meter")
    console = "shell:" + shlex.join(shell_command(meter, "tech", "secret"))
    result = on_console("apply", folder, console, EIGHT, environment_with_password(password))
    assert result["result"] in ("unreachable", "rejected"), result
    assert result["messages"] and "wrong" not in " ".join(result["messages"]).split()
    assert meter.leaves() == FACTORY_LEAVES


def test_a_network_setting_needs_no_initialisation_menu(folder):
    """meter-fleet starts the utility with -m only if a planned setting needs -m."""
    meter = FleetMeter(folder / "meter")
    console = "shell:" + shlex.join(shell_command(meter))
    on_console("apply", folder, console, {"ip_address": "198.51.100.20"}, defaults="")
    reads = [call["paths"] for call in meter.calls() if call["call"] == "get_leaves"]
    assert not [paths for paths in reads if "/VMIC/SerialNumber/Value" in paths]


def test_the_program_of_a_plan_is_typed_at_the_shell(folder):
    meter = FleetMeter(folder / "meter")
    console = "shell:" + shlex.join(shell_command(meter))
    program = '[defaults]\nprogram = "env A=1 ./meter-settings"\n'
    result = on_console("apply", folder, console, EIGHT, defaults=program)
    assert result["result"] == "changed", result
