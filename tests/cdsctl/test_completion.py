"""Completion of cdsctl in real shells. The tests type keys, including TAB, at the prompt of a shell."""

import json
import re
import time
from shlex import join, quote

import pexpect
import pytest
from harness.meter import toml_text
from harness.program import BUILD, REPOSITORY, STEP_LIMIT, command

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

COMPLETION = REPOSITORY / "simulator" / "cdsctl" / "completion"
FILES = {"bash": COMPLETION / "cdsctl.bash", "zsh": COMPLETION / "_cdsctl", "fish": COMPLETION / "cdsctl.fish"}
START = {
    "bash": (["--norc", "--noprofile", "-i"], f"source {quote(str(FILES['bash']))}"),
    "zsh": (["-f", "-i"], f"fpath=({quote(str(COMPLETION))} $fpath); autoload -Uz compinit; compinit -D -u"),
    "fish": (["--no-config", "-i"], 'source "$COMPLETION"'),
}
NETWORK = "/Software/System Settings/Network"


def put_cdsctl(folder, words_of_set):
    """Creates a script `cdsctl` in the directory. The script saves the arguments of `set`, and runs the built
    cdsctl."""
    program = folder / "cdsctl"
    program.write_text(f"""#!/bin/sh
[ "$1" != set ] || printf '%s\\0' "$@" >{quote(str(words_of_set))}
exec {join(command(BUILD / "cdsctl"))} "$@"
""")
    program.chmod(0o755)


class Shell:
    """An interactive shell that runs in its own directory and finds the built `cdsctl`. The file `set` in
    this directory holds the arguments of the last `set`, each followed by a zero byte."""

    def __init__(self, name, meter, tools):
        arguments, set_up = START[name]
        self.name = name
        self.folder = meter.top / "it's $HOME"  # the name of a home directory may contain anything
        self.folder.mkdir()
        put_cdsctl(tools, self.folder / "set")
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
        """Types the keys and Enter. Returns the output of the resulting command line."""
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
        """Reads the shell's output. Without a reader, the shell would block."""
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


def test_a_path_with_spaces_is_completed_component_by_component(shell):
    assert shell.run("cdsctl get /Soft\tNa\t2\t") == "192.0.2.54\n"
    assert shell.run(r"cdsctl get /Software/System\ Set" "\tNa\t1\t") == "192.0.2.53\n"


def test_a_path_with_special_characters_is_completed(shell, meter):
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


def test_the_paths_come_from_the_meter_of_the_option(shell, meter):
    other = shell.folder / "an other"
    other.mkdir()
    (other / "store.toml").write_text(toml_text({"/Only/here x": 7}))
    assert shell.run("cdsctl -C an\\ other get /On\t") == "7\n"
    assert shell.run("cdsctl get -C 'an other' /On\t") == "7\n"
    assert shell.run("cdsctl -C an\t get /On\t") == "7\n"


def test_paths_and_values_are_completed_in_turn(shell, meter):
    shell.run("cdsctl set /VMIC/Options/PQ/\tf\t/Soft\tNa\t1\t10.0.0.1 /VMIC/Options/PMU/\tt\t")
    assert meter.difference() == [
        f'~ "{NETWORK}/Name Server/1/Value" = "192.0.2.53" -> "10.0.0.1"',
        '~ "/VMIC/Options/PMU/Value" = false -> true',
        '~ "/VMIC/Options/PQ/Value" = true -> false']


def test_the_current_value_is_offered(shell, meter):
    meter.change({"/a": "two words"})
    shell.run("cdsctl set /b 1 /a \t")
    assert meter.difference() == ['+ "/a" = "two words"', '+ "/b" = 1']


# Values that a shell changes unless the completion quotes them correctly.
VALUES = ("100Base-TX Full", "two  blanks", "it's", 'say "x"', "back\\slash", "\\", "a\\\\b", "$HOME", "cost: $5", "a$(x)b",
          "`date`", "!x", "a!b c", "~", "~root", "*", "a;b", "a=b", "10:20:30", "#x", "ünï cödé", "{a,b}", "a&b|c", "<x>",
          "(x)", "a@b", "[x]", "?", "^x", "%1", "home", "'", '"', "true story", "a\tb", "a\nb", "a\n")  # fmt: skip
NOT_OFFERED = {"bash": (), "zsh": (), "fish": ("~", "~root", "a\tb", "a\nb", "a\n")}


def words_of_set(shell, keys):
    """Types the keys. Returns the arguments that `set` received."""
    shell.run(keys)
    return (shell.folder / "set").read_text().split("\0")[1:-1]


@pytest.mark.parametrize("value", VALUES)
def test_a_value_is_completed_exactly_whatever_quote_is_open(shell, meter, value):
    (shell.folder / "home").mkdir()  # a completion of the value "home" as a file name would add "/"
    meter.change({"/v": value})
    if value in NOT_OFFERED[shell.name]:
        assert words_of_set(shell, "cdsctl set /v \t") == ["/v"]
    else:
        given = [words_of_set(shell, f"cdsctl set /v {begun}\t") for begun in ("", "'", '"')]
        assert given == [["/v", value]] * 3


@pytest.mark.parametrize("begun, value", [
    ('"100', "100Base-TX Full"), ("'100", "100Base-TX Full"), ("100", "100Base-TX Full"), ("10:2", "10:20:30 x"), ("10:20:", "10:20:"),
    ("a=", "a=b c"), ('a" b', "a b $c"), ('"a" b'.replace(" ", "\\ "), "a b c"), (r"a\$", "a$b c"), ('"a\\$', "a$b c"), ("user@", "user@x y"),
])
def test_the_rest_of_a_value_is_completed(shell, meter, begun, value):
    meter.change({"/v": value})
    assert words_of_set(shell, f"cdsctl set /v {begun}\t") == ["/v", value]


@pytest.mark.parametrize("begun", ["", "'", '"'])
def test_a_path_with_characters_of_the_shell_is_completed(shell, meter, begun):
    meter.change({"/$x/a`b c": 1, "/$x/it's": 2, "/home": 3})
    dollar = "$" if begun == "'" else r"\$"
    assert shell.run(f"cdsctl get {begun}/{dollar}\ta\t") == "1\n"
    assert shell.run(f"cdsctl get {begun}/{dollar}\ti\t") == "2\n"
    assert shell.run(f"cdsctl get {begun}/ho\t") == "3\n"


def test_completion_runs_no_command_on_the_line(shell):
    words = ["$(touch run)", "`touch run`", '"$(touch run)"', '"`touch run`"']
    if shell.name != "zsh":  # in zsh, TAB itself expands these arguments
        words += ["$(touch run)a", '"`touch run`']
    for word in words:
        shell.process.send(f"cdsctl set {word} \t\t\x15")  # Ctrl-U clears the line
        shell.process.send(f"cdsctl -C {word} get /\t\t\x15")
    assert shell.run("cdsctl get /VMIC/Ser\t") == "091512345\n"
    assert not (shell.folder / "run").exists()


@pytest.mark.parametrize("shell", ["bash"], indirect=True)
def test_a_variable_on_the_line_is_replaced_with_its_value(shell):
    other = shell.folder / "other"
    other.mkdir()
    (other / "store.toml").write_text(toml_text({"/Only/here": 7}))
    shell.run("meter=other word=/Only")
    assert shell.run("cdsctl -C $meter get /On\t") == "7\n"
    assert shell.run('cdsctl -C "${meter}" get $word/\t') == "7\n"


@pytest.mark.parametrize("folder", ["build/host", "a b/it's"])
def test_completion_runs_the_command_that_was_typed(shell, meter, plain_folder, folder):
    (plain_folder / "cdsctl").unlink()
    (shell.folder / folder).mkdir(parents=True)
    put_cdsctl(shell.folder / folder, shell.folder / "set")
    for typed in (f"{folder}/cdsctl", f"./{folder}/cdsctl", f"~/{folder}/cdsctl"):
        typed = re.sub(r"[ ']", r"\\\g<0>", typed)
        assert shell.run(f"{typed} get /VMIC/Ser\t") == "091512345\n"
        assert words_of_set(shell, f"{typed} set /VMIC/Ser\t\t") == ["/VMIC/SerialNumber/Value", "091512345"]


def test_without_the_command_nothing_is_offered_or_printed(shell, plain_folder):
    (plain_folder / "cdsctl").unlink()
    shell.read()
    shell.process.send("cdsctl get /VM\t\t\t")
    shown = b""
    until = time.monotonic() + 2
    while time.monotonic() < until:
        shown += shell.read()
    assert not re.search(rb"not found|unknown|nknown command|in function", shown), shown


def test_types_are_completed(shell, meter):
    shell.run("cdsctl set --ty\tst\t/new 5")
    assert meter.difference() == ['+ "/new" = "5"']


def test_files_are_completed_for_an_argument_that_is_a_file(shell, meter):
    (shell.folder / "a dump.toml").write_text('"/a" = 1\n')
    shell.run("cdsctl load a\\ d\t")
    assert meter.leaves() == {"/a": 1}


@pytest.mark.parametrize("name", FILES)
def test_the_completion_has_every_command_and_option(answer, name):
    text = FILES[name].read_text()
    for command_name in re.findall(r"^  ([a-z]+) ", answer("--help"), re.M):
        assert re.search(rf"\b{command_name}\b", text), command_name
        for option in re.findall(r"--([a-z]+)", answer(command_name, "--help").split("\nOptions:\n")[1].split("\n\n")[0]):
            assert re.search(rf"(--|-l ){option}\b", text), option
