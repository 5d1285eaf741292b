"""Real connections to a meter's console, all on this machine: an SSH server, terminal servers, and serial
lines. A serial line is a pair of pseudo-terminals."""

import contextlib
import getpass
import json
import os
import pathlib
import shlex
import shutil
import socket
import subprocess
import tempfile

from fleet_rig import NOISY_LINE, in_build_folder
from harness.program import STEP_LIMIT, wait_until

METER_SHELL = pathlib.Path(__file__).with_name("meter-shell")
SSHD = "/usr/sbin/sshd"  # sshd must be started with an absolute path
PRIVATE_DIRECTORY = pathlib.Path("/run/sshd")


def shell_command(meter, user="", password=""):
    """Returns a command that behaves like the meter's console before the utility runs."""
    variables = {**meter.environment, "METER_USER": user, "METER_PASSWORD": password,
                 "PATH": ".:/usr/bin:/bin"}
    return in_build_folder(variables, [METER_SHELL])


@contextlib.contextmanager
def plain_path(folder):
    """Yields a link to the directory. The path of the link has no characters that PATH, sshd or socat treat
    specially."""
    with tempfile.TemporaryDirectory() as made:
        link = pathlib.Path(made) / "folder"
        link.symlink_to(folder)
        yield link


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def answers(port):
    with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port), 1):
        return True
    return False


@contextlib.contextmanager
def running(words, is_ready, **options):
    """Starts a server and runs the block when the server is ready. Ends the server after the block."""
    process = subprocess.Popen(words, stdin=subprocess.DEVNULL, start_new_session=True, **options)
    try:
        wait_until(lambda: is_ready() or process.poll() is not None, lambda: f"{words} is not ready")
        assert process.poll() is None, f"{words} ended with {process.returncode}"
        yield process
    finally:
        process.terminate()
        try:
            process.wait(STEP_LIMIT)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()


# --- ssh

SSHD_CONFIG = """\
Port {port}
ListenAddress 127.0.0.1
HostKey {folder}/host_key
AuthorizedKeysFile {folder}/key.pub
PidFile none
StrictModes no
UsePAM no
PasswordAuthentication no
KbdInteractiveAuthentication no
PermitRootLogin prohibit-password
MaxStartups 100
MaxSessions 100
ForceCommand {command}
"""
SSH_CONFIG = """\
Host 127.0.0.1
    UserKnownHostsFile {folder}/known_hosts
    IdentityFile {folder}/key
    IdentitiesOnly yes
"""


def make_key(path):
    subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", str(path)], check=True)


def with_private_directory(words):
    """Returns a command that first creates sshd's private directory below /run and then runs `words`. sshd
    requires this directory if root starts it. Other processes cannot see the directory. Returns `words`
    unchanged if the directory is not needed."""
    if os.geteuid() != 0 or PRIVATE_DIRECTORY.is_dir():
        return words
    script = f"mount -t tmpfs tmpfs /run && mkdir -m 755 {PRIVATE_DIRECTORY} && exec {shlex.join(words)}"
    return ["unshare", "--mount", "sh", "-c", script]


def write_client(folder, port):
    """Creates a script `ssh` for the PATH. The script runs the real client with the test's own keys and known
    hosts."""
    host_key = (folder / "host_key.pub").read_text().split()[:2]
    (folder / "known_hosts").write_text(f"[127.0.0.1]:{port} {' '.join(host_key)}\n")
    (folder / "ssh_config").write_text(SSH_CONFIG.format(folder=folder))
    client = folder / "bin" / "ssh"
    client.parent.mkdir()
    client.write_text(f'#!/bin/sh\nexec {shutil.which("ssh")} -F {folder}/ssh_config "$@"\n')
    client.chmod(0o755)


@contextlib.contextmanager
def ssh_server(folder, command):
    """Runs a server that starts `command` at every login. Yields the address of the console, and the
    environment in which `ssh` finds the test's keys."""
    folder.mkdir()
    port = free_port()
    for name in ("host_key", "key"):
        make_key(folder / name)
    with plain_path(folder) as plain, open(folder / "sshd.log", "wb") as log:
        write_client(plain, port)
        config = SSHD_CONFIG.format(port=port, folder=plain, command=shlex.join(command))
        (folder / "sshd_config").write_text(config)
        words = with_private_directory([SSHD, "-D", "-e", "-f", str(plain / "sshd_config")])
        environment = {**os.environ, "PATH": f"{plain}/bin:{os.environ['PATH']}"}
        with running(words, lambda: answers(port), stderr=log):
            yield f"ssh:{getpass.getuser()}@127.0.0.1:{port}", environment


# --- serial lines and terminal servers

ON_TERMINAL = "pty,setsid,ctty,stderr"


def console_script(folder, command):
    """Writes the command to a script, because socat does not accept quotes in its addresses."""
    script = folder / "console"
    script.write_text(f"#!/bin/sh\nexec {shlex.join(map(str, command))}\n")
    script.chmod(0o755)
    return script


@contextlib.contextmanager
def serial_port(folder, command):
    """Runs `command` at one end of a serial line. Yields the device at the other end."""
    with plain_path(folder) as plain:
        device = plain / "ttyMeter"
        words = ["socat", f"PTY,link={device},raw,echo=0", f"EXEC:{console_script(plain, command)},{ON_TERMINAL}"]
        with running(words, device.exists):
            yield device


@contextlib.contextmanager
def raw_terminal_server(folder, command):
    """Runs a terminal server that sends no telnet commands. Each connection to the server starts `command` as
    a separate console. Yields the address of the console."""
    port = free_port()
    with plain_path(folder) as plain:
        words = ["socat", f"TCP-LISTEN:{port},bind=127.0.0.1,reuseaddr,fork",
                 f"EXEC:{console_script(plain, command)},{ON_TERMINAL}"]
        with running(words, lambda: is_listening(port)):
            yield f"telnet:127.0.0.1:{port}"


SER2NET_CONFIG = """\
%YAML 1.1
---
connection: &meter
    accepter: telnet(rfc2217),tcp,127.0.0.1,{port}
    connector: serialdev,{device},9600n81,local
    options:
        kickolduser: true
"""


@contextlib.contextmanager
def telnet_server(folder, device):
    """Runs ser2net on a serial device. ser2net uses the telnet protocol and its options. Yields the address
    of the console."""
    port = free_port()
    config = folder / "ser2net.yaml"
    config.write_text(SER2NET_CONFIG.format(port=port, device=device))
    with running(["ser2net", "-n", "-c", str(config), "-P", str(folder / "ser2net.pid")], lambda: is_listening(port)):
        yield f"telnet:127.0.0.1:{port}"


def is_listening(port):
    """Returns True if a server listens on the port. The check does not connect, because a connection would
    start a session."""
    wanted = f"0100007F:{port:04X}"
    lines = pathlib.Path("/proc/net/tcp").read_text().splitlines()[1:]
    return any(line.split()[1] == wanted and line.split()[3] == "0A" for line in lines)


def over_a_slow_line(folder, command, baud=9600):
    """Returns a command that runs `command` at the end of a line with the speed `baud`."""
    folder.mkdir()
    (folder / "line.json").write_text(json.dumps({"command": list(map(str, command)), "baud": baud}))
    return [str(NOISY_LINE), str(folder)]


def environment_with_password(password):
    """Returns an environment for meter-fleet. The environment has the password for a plan's login, or no
    password if `password` is None."""
    variables = {name: value for name, value in os.environ.items() if name != "FLEET_TEST_PASSWORD"}
    return variables if password is None else variables | {"FLEET_TEST_PASSWORD": password}
