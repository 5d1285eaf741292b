"""How a screen reaches the terminal."""

import re

import pytest
from harness.program import UTILITY, command, why_not_traced
from harness.terminal import Console

pytestmark = pytest.mark.skipif(bool(why_not_traced(UTILITY)), reason=why_not_traced(UTILITY))

PROMPT = b"Select an option ==>  "


def test_a_screen_comes_in_one_write(meter):
    trace = meter.top / "strace"
    traced = ["strace", "-o", str(trace), "-s", "9999", "-e", "trace=write", "-e", "signal=none"]
    console = Console([*traced, *command(UTILITY, "-m")], meter.environment())
    try:
        for keys, answer in ((b"", PROMPT), (b"5", b"5"), (b"\r", PROMPT), (b"0\r0\r", b"0\n")):
            console.send(keys)
            while not console.pending.endswith(answer):
                assert console.receive(20), console.history()
            console.take()
        assert console.finish() == "exit 0"
    finally:
        console.close()
    writes = re.findall(r'^write\(1, "(.*)", \d+\)', trace.read_text(), re.M)
    screen = r"(\\n){2}-{78}\\n-+ .*" + re.escape(PROMPT.decode())
    assert re.fullmatch(screen, writes[0])
    assert writes[1:3] == ["5", r"\n"]
    assert re.fullmatch(screen, writes[3])
