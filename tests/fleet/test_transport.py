"""Tests the bytes of the telnet protocol, and the end of a connection."""

import asyncio

import pytest
from meter_fleet.errors import Hopeless, Interrupted, LinkLost
from meter_fleet.plan import parse_console
from meter_fleet.record import open_record
from meter_fleet.transport import DO, DONT, IAC, SB, SE, WILL, WONT, Stop, Telnet, open_link

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

BINARY, ECHO, TERMINAL_TYPE = 0, 1, 24


def telnet():
    answers = []
    return Telnet(answers.append), answers


def test_a_port_without_telnet_gets_no_command_and_no_other_bytes():
    line, answers = telnet()
    assert line.decode(b"login: ") == b"login: "
    assert line.encode(b"x\r") == b"x\r"
    assert answers == []


@pytest.mark.parametrize("verb, option, answer", [
    (WILL, ECHO, DO), (DO, ECHO, WONT), (WILL, TERMINAL_TYPE, DONT), (DO, TERMINAL_TYPE, WONT), (DO, BINARY, WILL)])
def test_an_offer_is_answered_once(verb, option, answer):
    line, answers = telnet()
    for byte in bytes([IAC, verb, option] * 2):
        assert line.decode(bytes([byte])) == b""
    assert answers == [bytes([IAC, answer, option])]


def test_commands_are_removed_and_escaped_bytes_are_kept():
    line, _ = telnet()
    data = b"a" + bytes([IAC, SB, TERMINAL_TYPE, 1, IAC, SE]) + b"b" + bytes([IAC, IAC]) + b"c\r\0d\0"
    assert b"".join(line.decode(bytes([byte])) for byte in data) == b"ab\xffc\rd\0"


def test_a_carriage_return_is_followed_by_a_zero_unless_the_line_is_binary():
    line, _ = telnet()
    line.decode(bytes([IAC, WILL, ECHO]))
    assert line.encode(b"\r") == b"\r\0"
    line.decode(bytes([IAC, DO, BINARY]))
    assert line.encode(b"\r") == b"\r"


def on_link(tmp_path, console, work):
    async def run():
        record = open_record(tmp_path, "m")
        stop = Stop()
        try:
            link = await open_link(parse_console(console), record, stop)
            try:
                return await work(link, stop)
            finally:
                await link.close()
        finally:
            record.close()

    return asyncio.run(run())


def test_all_bytes_are_received_before_the_end_is_reported(tmp_path):
    async def work(link, _):
        data = b""
        try:
            while True:
                data += await link.receive(5)
        except LinkLost:
            return data

    assert on_link(tmp_path, "run:printf 'one\\ntwo'", work) == b"one\ntwo"


def test_a_request_to_stop_interrupts_a_wait(tmp_path):
    async def work(link, stop):
        asyncio.get_running_loop().call_later(0.05, stop.ask)
        with pytest.raises(Interrupted):
            await link.receive(30)
        link.leaving = True
        assert await link.receive(0) == b""

    on_link(tmp_path, "run:sleep 30", work)


def test_the_connection_ends_if_the_console_does_not_stop_writing(tmp_path):
    async def work(link, _):
        with pytest.raises(LinkLost, match="does not stop writing"):
            while True:
                await link.receive(5)

    on_link(tmp_path, "run:yes", work)


@pytest.mark.parametrize("console, error", [("serial:/dev/no-such-port", Hopeless), ("telnet:127.0.0.1:1", LinkLost)])
def test_a_console_that_does_not_exist(console, error, tmp_path):
    with pytest.raises(error):
        on_link(tmp_path, console, None)
