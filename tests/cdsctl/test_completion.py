"""Completion in the shells themselves: keys are typed at their prompts, TAB among them."""

import json
import re
import time
from shlex import join, quote

import pexpect
import pytest
from harness.meter import toml_text
from harness.program import BUILD, REPOSITORY, STEP_LIMIT, command

pytestmark = pytest.mark.host_only

COMPLETION = REPOSITORY / "simulator" / "cdsctl" / "completion"
FILES = {"bash": COMPLETION / "cdsctl.bash", "zsh": COMPLETION / "_cdsctl", "fish": COMPLETION / "cdsctl.fish"}
START = {
    "bash": (["--norc", "--noprofile", "-i"], f"source {quote(str(FILES['bash']))}"),
    "zsh": (["-f", "-i"], f"fpath=({quote(str(COMPLETION))} $fpath); autoload -Uz compinit; compinit -D -u"),
    "fish": (["--no-config", "-i"], 'source "$COMPLETION"'),
}
NETWORK = "/Software/System Settings/Network"


class Shell:
    """A shell at its prompt, in a folder of its own, where `cdsctl` is the one that was built."""

    def __init__(self, name, meter, tools):
        arguments, set_up = START[name]
        self.folder = meter.top / "home"
        self.folder.mkdir()
        program = tools / "cdsctl"
        program.write_text(f'#!/bin/sh\nexec {join(command(BUILD / "cdsctl"))} "$@"\n')
        program.chmod(0o755)
        environment = {"HOME": str(self.folder), "PATH": f"{tools}:/usr/bin:/bin", "TERM": "xterm", "LC_ALL": "C.UTF-8",
                       "COMPLETION": str(FILES["fish"]),
                       "METER_SIM_DIR": str(meter.folder)}
        self.process = pexpect.spawn(name, arguments, env=environment, cwd=str(self.folder),
                                     dimensions=(50, 240), timeout=STEP_LIMIT)
        self.process.delaybeforesend = None
        self.process.sendline(set_up)
        self.answers = 0
        assert self.run("echo ready") == "ready\n"

    def run(self, keys):
        """Types the keys, and Enter after them; what the command that stands there then prints."""
        self.answers += 1
        output = self.folder / f"answer{self.answers}"
        self.process.send(keys)
        self.process.sendline(f" >{output.name}; echo >>{output.name} done")
        until = time.monotonic() + STEP_LIMIT
        while not output.exists() or not output.read_text().endswith("done\n"):
            shown = self.read()
            assert time.monotonic() < until, f"no answer to {keys!r}; shown: {shown!r}"
        return output.read_text().removesuffix("done\n")

    def read(self):
        """Takes what is shown meanwhile, so that the shell is never held up."""
        try:
            return self.process.read_nonblocking(65536, 0.05)
        except pexpect.TIMEOUT:
            return b""


@pytest.fixture(params=["bash", "zsh", "fish"])
def shell(request, meter, plain_folder):
    started = Shell(request.param, meter, plain_folder)
    yield started
    started.process.close(force=True)


def test_a_leaf_path_is_completed(shell):
    assert shell.run("cdsctl get /VMIC/Ser\t") == "091512345\n"


def test_a_path_with_blanks_is_completed_component_by_component(shell):
    assert shell.run("cdsctl get /Soft\tNa\t2\t") == "192.0.2.54\n"
    assert shell.run(r"cdsctl get /Software/System\ Set" "\tNa\t1\t") == "192.0.2.53\n"


def test_a_path_is_taken_whole_whatever_it_holds(shell, meter):
    meter.change({"/Equal/a = b": 7})
    assert shell.run("cdsctl get /Equ\t") == "7\n"


def test_a_path_begun_with_a_quote_is_completed(shell):
    assert shell.run('cdsctl get "/Soft\tNa\t2\t') == "192.0.2.54\n"
    assert shell.run("cdsctl get '/Soft\tNa\t2\t") == "192.0.2.54\n"


def test_commands_and_options_are_completed(shell):
    line = f'{NETWORK}/Name Server/1/Value = "192.0.2.53"\n'
    assert shell.run("cdsctl li\t/Soft\tNa\t1\t") == line
    assert json.loads(shell.run("cdsctl ge\t--js\t/VMIC/Enc\t")) == {"/VMIC/Enclosure/Value": "S"}
    assert shell.run("cdsctl --vers\t").startswith("cdsctl ")


def test_the_paths_are_those_of_the_meter_that_is_named(shell, meter):
    other = shell.folder / "an other"
    other.mkdir()
    (other / "store.toml").write_text(toml_text({"/Only/here x": 7}))
    assert shell.run("cdsctl -C an\\ other get /On\t") == "7\n"
    assert shell.run("cdsctl get -C 'an other' /On\t") == "7\n"
    assert shell.run("cdsctl -C an\t get /On\t") == "7\n"


def test_paths_and_values_are_completed_by_turns(shell, meter):
    shell.run("cdsctl set /VMIC/Options/PQ/\tf\t/Soft\tNa\t1\t10.0.0.1 /VMIC/Options/PMU/\tt\t")
    assert meter.difference() == [
        f'~ "{NETWORK}/Name Server/1/Value" = "192.0.2.53" -> "10.0.0.1"',
        '~ "/VMIC/Options/PMU/Value" = false -> true',
        '~ "/VMIC/Options/PQ/Value" = true -> false']


def test_the_present_value_is_offered(shell, meter):
    meter.change({"/a": "two words"})
    shell.run("cdsctl set /b 1 /a \t")
    assert meter.difference() == ['+ "/a" = "two words"', '+ "/b" = 1']


def test_types_are_completed(shell, meter):
    shell.run("cdsctl set --ty\tst\t/new 5")
    assert meter.difference() == ['+ "/new" = "5"']


def test_files_are_completed_where_a_dump_is_wanted(shell, meter):
    (shell.folder / "a dump.toml").write_text('"/a" = 1\n')
    shell.run("cdsctl load a\\ d\t")
    assert meter.leaves() == {"/a": 1}


@pytest.mark.parametrize("name", FILES)
def test_every_command_and_option_stands_in_the_completion(answer, name):
    text = FILES[name].read_text()
    for command_name in re.findall(r"^  ([a-z]+) ", answer("--help"), re.M):
        assert re.search(rf"\b{command_name}\b", text), command_name
        for option in re.findall(r"--([a-z]+)", answer(command_name, "--help").split("\nOptions:\n")[1].split("\n\n")[0]):
            assert re.search(rf"(--|-l ){option}\b", text), option
