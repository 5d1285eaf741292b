"""Runs meter-settings-doctor on a terminal of 80 columns, and returns its output for the guides."""

import fcntl
import struct
import termios
import tomllib

from harness.meter import FACTORY, Meter
from harness.program import BUILD, command, wait_until
from harness.terminal import Console

DOCTOR = "meter-settings-doctor"
FACTORY_LEAVES = tomllib.loads(FACTORY.read_text())
DHCP = "/Software/System Settings/Network/Interface/1/DHCP Enabled/Value"


def run(leaves, *arguments):
    """Runs the doctor on a simulated meter with these leaves. With --keys, sends Control-H for the Backspace
    key. Returns the output and the exit status."""
    meter = Meter("docs-doctor", leaves)
    program = command(BUILD / DOCTOR, *arguments)
    environment = {**meter.environment(), "PATH": "/usr/bin:/bin"}
    console = Console(["sh", "-c", 'read go; exec "$@"', "sh", *program], environment, controlling=False)
    try:
        fcntl.ioctl(console.terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))
        console.send(b"\n")
        if "--keys" in arguments:
            wait_until(lambda: b"Backspace" in console.errors, lambda: console.errors)
            console.send(b"\b")
        while console.receive(20):
            pass
        text = console.take().decode("ascii").replace("\r", "")
        return text.lstrip("\n"), console.process.wait()
    finally:
        console.close()
        meter.remove()


def fenced(text):
    return f"```text\n{text.rstrip()}\n```"


def whole_run():
    text, status = run(FACTORY_LEAVES, "--write-test", "/Scratch/Value", "--keys")
    assert status == 0, text
    return fenced(text)


def problems():
    """Returns the lines with errors and notes for a meter with three problems: a leaf has the wrong type, a
    leaf is missing, and a number is invalid."""
    leaves = FACTORY_LEAVES | {DHCP: 0, "/VMC/PrimCfg/Form/Value": 7}
    del leaves["/VMF/UpdateService/SetPrimCfg/Value"]
    text, status = run(leaves)
    assert status == 1, text
    group = text.split("Leaves\n")[1].split("\n\n")[0]
    return fenced("\n".join(line for line in group.split("\n") if not line.startswith("  ok")))
