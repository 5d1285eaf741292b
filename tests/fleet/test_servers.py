"""Tests the servers of fleet_servers. Each server must let an ordinary client use a meter's console."""

import pexpect
import pytest
from fleet_rig import FleetMeter
from fleet_servers import (over_a_slow_line, raw_terminal_server, serial_port, shell_command, ssh_server,
                           telnet_server)

pytestmark = [pytest.mark.host_only, pytest.mark.fleet]


def check_that_a_person_can_use(child, has_login=True):
    try:
        if has_login:
            child.expect("login: ")
            child.send("tech\r")
            child.expect("Password: ")
            child.send("secret\r")
        child.expect_exact("meter# ")
        child.send("meter-settings\r")
        child.expect_exact("==>  ")
        child.send("0\r")
        child.expect_exact("meter# ")
    finally:
        child.close(force=True)


def client(*words, **options):
    return pexpect.spawn(words[0], list(words[1:]), timeout=30, **options)


def test_ssh(folder):
    meter = FleetMeter(folder / "meter")
    with ssh_server(folder / "ssh", shell_command(meter)) as (console, environment):
        user, _, port = console.removeprefix("ssh:").rpartition(":")
        check_that_a_person_can_use(client("ssh", "-tt", "-p", port, user, env=environment), has_login=False)


def test_a_serial_line(folder):
    command = shell_command(FleetMeter(folder / "meter"), "tech", "secret")
    with serial_port(folder, command) as device:
        check_that_a_person_can_use(client("socat", "-,raw,echo=0", f"{device},raw,echo=0"))


def test_a_terminal_server_without_telnet(folder):
    command = shell_command(FleetMeter(folder / "meter"), "tech", "secret")
    with raw_terminal_server(folder, command) as console:
        check_that_a_person_can_use(client("socat", "-,raw,echo=0", console.replace("telnet", "TCP")))


def test_a_telnet_terminal_server_on_a_slow_line(folder):
    command = over_a_slow_line(folder / "line", shell_command(FleetMeter(folder / "meter"), "tech", "secret"))
    with serial_port(folder, command) as device, telnet_server(folder, device) as console:
        check_that_a_person_can_use(client("socat", "-,raw,echo=0", console.replace("telnet", "TCP")))
