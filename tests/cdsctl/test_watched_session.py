"""The scripts that run the utility with a live view in tmux, or print the commands if tmux is missing."""

import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import tempfile

import pexpect
import pytest
from harness.menus import PASSWORDS, PRIMARY_DNS, SAVE_WITHOUT_INIT
from harness.meter import FACTORY
from harness.piped import read_from
from harness.program import BUILD, REPOSITORY, STEP_LIMIT, wait_until

SESSION = REPOSITORY / "simulator" / "cdsctl" / "watched-session"
pytestmark = [pytest.mark.host_only, pytest.mark.slow]


@pytest.fixture
def folder():
    """Creates a directory with a meter and a directory for temporary files."""
    made = pathlib.Path(tempfile.mkdtemp(prefix="s-", dir=BUILD))
    (made / "meter").mkdir()
    (made / "tmp").mkdir()
    shutil.copy(FACTORY, made / "meter" / "store.toml")
    yield made
    wait_until(lambda: not processes_on(made), lambda: processes_on(made))  # the processes remove files too
    shutil.rmtree(made)


def environment(folder, **changes):
    kept = {name: value for name, value in os.environ.items() if not name.startswith(("TMUX", "METER_SIM_"))}
    return {**kept, "TERM": "xterm", "METER_SIM_NO_DELAY": "1", "TMPDIR": str(folder / "tmp"), **changes}


class Tmux:
    """A tmux server for one test, with a shell in a window of 200 columns."""

    def __init__(self, folder, plain_folder):
        self.environment = environment(folder)
        self.socket = plain_folder / "tmux"  # tmux does not accept a comma in this path
        self("new-session", "-d", "-x", "200", "-y", "50", "/bin/sh")
        self.first = self("list-panes", "-F", "#{pane_id}").strip()

    def __call__(self, *words, check=True):
        done = subprocess.run(["tmux", "-S", str(self.socket), "-f", "/dev/null", *words], env=self.environment,
                              capture_output=True, text=True, timeout=STEP_LIMIT, check=check)
        return done.stdout

    def panes(self):
        return self("list-panes", "-F", "#{pane_id}").split()

    def text(self, pane):
        return self("capture-pane", "-p", "-J", "-t", pane)

    def wait_for(self, pane, text):
        wait_until(lambda: text in self.text(pane), lambda: f"{text!r} is missing:\n{self.text(pane)}")

    def type(self, *keys):
        self("send-keys", "-t", self.first, *keys)


@pytest.fixture
def tmux(folder, plain_folder):
    server = Tmux(folder, plain_folder)
    yield server
    server("kill-server", check=False)


def spawned(folder, meter, *arguments, programs=BUILD, dimensions=(50, 200), **changes):
    """Starts a session on a terminal outside tmux."""
    session = pexpect.spawn(str(SESSION), [str(programs), str(meter), *arguments], env=environment(folder, **changes),
                            dimensions=dimensions, timeout=STEP_LIMIT)
    session.delaybeforesend = None
    return session


def ended(session, keys="", prompt="Select an option ==>"):
    """Types the keys at the prompt, and waits for the end. Returns the exit status of the session.

    session.before then holds the output.
    """
    try:
        if prompt:
            session.expect(prompt)
        session.send(keys)
        session.expect(pexpect.EOF)
        wait_until(lambda: not session.isalive(), lambda: "it does not end")
        return session.exitstatus
    finally:
        session.close(force=True)


def start(tmux, folder, *arguments, meter=None):
    """Starts a session in the shell's pane. Returns the pane of the live view."""
    words = shlex.join(map(str, (SESSION, BUILD, meter or folder / "meter", *arguments)))
    tmux.type(words + '; echo "status $?"', "Enter")
    wait_until(lambda: len(tmux.panes()) == 2, lambda: tmux.text(tmux.first))
    view, = set(tmux.panes()) - {tmux.first}
    tmux.wait_for(view, "cdsctl: watching")
    tmux.wait_for(tmux.first, "Select an option ==>")
    return view


def files(folder):
    return sorted(str(file.relative_to(folder)) for file in folder.rglob("*"))


def test_the_view_shows_changed_leaves_and_commands(tmux, folder):
    view = start(tmux, folder)
    tmux.type(str(PRIMARY_DNS), "Enter")
    tmux.wait_for(tmux.first, "Enter Primary DNS Server:")
    tmux.type("192.0.2.99", "Enter")
    tmux.wait_for(tmux.first, "Save & apply all settings")
    assert "192.0.2.99" not in tmux.text(view)
    tmux.type(str(SAVE_WITHOUT_INIT), "Enter")
    tmux.wait_for(tmux.first, "(y/n)")
    tmux.type("y", "Enter")
    tmux.wait_for(view, '/Software/System Settings/Network/Name Server/1/Value: "192.0.2.53" -> "192.0.2.99"')
    tmux.wait_for(view, "runs: /etc/init.d/network restart > /dev/null 2>&1")
    assert "runs: rm -rf /jffs/downloads/vmconfig.*" in tmux.text(view)


def test_the_utility_has_the_keyboard_and_enough_columns(tmux, folder):
    view = start(tmux, folder, "-m")
    widths = dict(line.split() for line in tmux("list-panes", "-F", "#{pane_id} #{pane_width}").splitlines())
    assert int(widths[tmux.first]) >= 80 and int(widths[view]) >= 40
    assert tmux("display-message", "-p", "#{pane_id}").strip() == tmux.first
    assert ".  Velmora II Initialization" in tmux.text(tmux.first)  # only -m shows this line


def test_leaving_the_utility_restores_tmux_and_removes_temporary_files(tmux, folder):
    before = files(folder)
    start(tmux, folder)
    assert list((folder / "tmp").iterdir())
    tmux.type("0", "Enter")
    tmux.wait_for(tmux.first, "status 0")
    assert tmux.panes() == [tmux.first]
    wait_until(lambda: files(folder) == before, lambda: files(folder))
    wait_until(lambda: not processes_on(folder), lambda: processes_on(folder))


def test_killing_the_utility_also_restores_tmux(tmux, folder):
    start(tmux, folder)
    utility, = [pid for pid, words in processes_on(folder) if words[0].endswith("meter-settings")]
    os.kill(utility, signal.SIGKILL)
    tmux.wait_for(tmux.first, "status 137")
    assert tmux.panes() == [tmux.first]


def test_closing_the_pane_ends_the_session(tmux, folder):
    before = files(folder)
    start(tmux, folder)
    tmux("kill-server")
    wait_until(lambda: not processes_on(folder), lambda: processes_on(folder))
    wait_until(lambda: files(folder) == before, lambda: files(folder))


def processes_on(folder):
    """Returns (id, arguments) of each running process that uses the meter in the directory."""
    found = []
    for entry in pathlib.Path("/proc").iterdir():
        try:
            words = (entry / "cmdline").read_bytes().decode(errors="replace").split("\0")
            surroundings = (entry / "environ").read_bytes().decode(errors="replace")
        except (OSError, ValueError):
            continue
        if entry.name.isdigit() and ("meter-settings" in words[0] and f"METER_SIM_DIR={folder}/" in surroundings or
                                     "cdsctl" in words[0] and any(word.startswith(f"{folder}/") for word in words[1:]) or
                                     "tail" in words[0] and any(str(folder) in word for word in words)):
            found.append((int(entry.name), words))
    return found


def test_outside_tmux_a_session_starts_and_ends_its_own_server(folder):
    before = files(folder)
    session = pexpect.spawn(str(SESSION), [str(BUILD), str(folder / "meter")], env=environment(folder),
                            dimensions=(50, 200), timeout=STEP_LIMIT)
    try:
        session.delaybeforesend = None
        session.expect("Select an option ==>")
        session.send("\x02")  # Ctrl-B: tmux must not intercept the key; the utility ignores it
        session.send("9\r")
        session.expect("Error: Invalid selection")
        session.send("0\r")
        session.expect(pexpect.EOF)
        wait_until(lambda: not session.isalive(), lambda: "it does not end")
        assert (session.exitstatus, session.signalstatus) == (0, None)
        assert b"\x1b[?1049l" in session.before  # tmux restores the contents of the terminal
    finally:
        session.close(force=True)
    assert files(folder) == before
    wait_until(lambda: not processes_on(folder), lambda: processes_on(folder))


def test_a_meter_with_a_long_path_works(folder):
    deep = folder / ("d" * 120)
    shutil.copytree(folder / "meter", deep / "meter")
    (deep / "tmp").mkdir()
    before = files(deep)
    assert ended(spawned(folder, deep / "meter", TMPDIR=str(deep / "tmp")), "0\r") == 0
    wait_until(lambda: files(deep) == before, lambda: files(deep))


def test_a_session_that_another_process_ends_fails(folder):
    session = pexpect.spawn(str(SESSION), [str(BUILD), str(folder / "meter")], env=environment(folder),
                            dimensions=(50, 200), timeout=STEP_LIMIT)
    try:
        session.expect("Select an option ==>")
        (socket,) = folder.glob("tmp/meter-session.*/tmux")
        subprocess.run(["tmux", "-S", socket.name, "kill-session"], cwd=socket.parent, env=environment(folder),
                       timeout=STEP_LIMIT, check=True)
        session.expect(pexpect.EOF)
        wait_until(lambda: not session.isalive(), lambda: "it does not end")
        assert (session.exitstatus, session.signalstatus) == (1, None)
        assert b"watched-session: line" not in session.before
    finally:
        session.close(force=True)


def test_closing_the_terminal_ends_the_session(folder):
    before = files(folder)
    session = pexpect.spawn(str(SESSION), [str(BUILD), str(folder / "meter")], env=environment(folder),
                            dimensions=(50, 200), timeout=STEP_LIMIT)
    session.expect("Select an option ==>")
    assert processes_on(folder)
    try:
        session.ptyproc.fileobj.close()  # session.close() would kill slow processes
        wait_until(lambda: not processes_on(folder), lambda: processes_on(folder))
        wait_until(lambda: files(folder) == before, lambda: files(folder))
    finally:
        session.close(force=True)


def restore_signals():
    """Restores the default actions for SIGINT and SIGTERM in a new process. Tests that run in the background
    ignore interrupts, and the new process would inherit this."""
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, signal.SIG_DFL)


def path_without_tmux(plain_folder):
    for tool in ("bash", "env", "readlink", "realpath", "mktemp", "tail", "sed", "sh", "cat"):
        (plain_folder / tool).symlink_to(shutil.which(tool))
    return str(plain_folder)


@pytest.mark.parametrize("signal_of_end", [signal.SIGINT, signal.SIGTERM])
def test_without_tmux_the_commands_for_two_terminals_are_printed(folder, plain_folder, signal_of_end):
    surroundings = environment(folder, PATH=path_without_tmux(plain_folder))
    done = subprocess.run([SESSION, BUILD, folder / "meter", "-m"], env=surroundings, capture_output=True,
                          text=True, timeout=STEP_LIMIT)
    assert (done.returncode, done.stderr) == (0, "")
    first, second = re.findall(r"^    (.*)$", done.stdout, re.M)

    view = subprocess.Popen(["sh", "-c", f"exec {second}"], env=surroundings, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, preexec_fn=restore_signals)
    try:
        assert read_from(view.stderr.fileno(), b"\n").startswith(b"cdsctl: watching")
        done = subprocess.run(["sh", "-c", first], env=surroundings, input=f"{PASSWORDS}\ny\n0\n",
                              capture_output=True, text=True, timeout=STEP_LIMIT)
        assert done.returncode == 0
        assert read_from(view.stdout.fileno(), b"\n") == b"runs: sernetpwreset.sh > /dev/null 2>&1\n"
    finally:
        view.send_signal(signal_of_end)
        view.communicate(timeout=STEP_LIMIT)
    wait_until(lambda: not processes_on(folder), lambda: processes_on(folder))


def test_the_printed_commands_work_in_any_directory(folder, plain_folder):
    surroundings = environment(folder, PATH=path_without_tmux(plain_folder), TMPDIR="tmp")
    done = subprocess.run([SESSION, BUILD, folder / "meter"], cwd=folder, env=surroundings, capture_output=True,
                          text=True, timeout=STEP_LIMIT)
    made, = (folder / "tmp").iterdir()
    first, second = re.findall(r"^    (.*)$", done.stdout, re.M)
    for line, word in ((first, f"METER_SIM_TRACE={made}/calls"), (second, f"{made}/calls")):
        words = subprocess.run(["bash", "-c", f"printf '%s\\n' {line}"], capture_output=True, text=True, check=True)
        assert word in words.stdout.splitlines()


# A file name has at most 255 bytes.
@pytest.mark.parametrize("name", ["n" * 250, "meter;", "a;b", "b\\;", ";", "it's $HOME", "#{pane_id}", "ünï %1"])
def test_a_meter_may_have_any_name(folder, tmux, name):
    meter = folder / name
    shutil.copytree(folder / "meter", meter)
    before = files(folder)
    session = spawned(folder, meter)
    wait_until(lambda: any("watch" in words for _, words in processes_on(folder)), lambda: processes_on(folder))
    assert ended(session, "0\r") == 0
    wait_until(lambda: files(folder) == before, lambda: files(folder))
    start(tmux, folder, meter=meter)
    tmux.type("0", "Enter")
    tmux.wait_for(tmux.first, "status 0")
    wait_until(lambda: files(folder) == before, lambda: files(folder))


@pytest.mark.parametrize("rows, columns", [(1, 100), (2, 100), (2, 50), (1, 1)])
def test_in_a_small_window_the_utility_runs_without_the_view(folder, rows, columns):
    session = spawned(folder, folder / "meter", dimensions=(rows, columns))
    calls = folder / "tmp"
    wait_until(lambda: any('"get_leaves"' in file.read_text() for file in calls.glob("*/calls")), lambda: files(folder))
    assert not any("watch" in words for _, words in processes_on(folder))
    assert ended(session, "0\r", prompt=None) == 0


def test_in_a_small_pane_the_utility_runs_without_the_view(folder, tmux):
    tmux("set-option", "-g", "window-size", "manual")
    tmux("resize-window", "-x", "100", "-y", "2")
    tmux.type(shlex.join(map(str, (SESSION, BUILD, folder / "meter"))) + '; echo "status $?"', "Enter")
    tmux.wait_for(tmux.first, "Select an option ==>")
    assert tmux.panes() == [tmux.first]
    assert "There is no live view: " in tmux("capture-pane", "-p", "-J", "-S", "-", "-t", tmux.first)
    tmux.type("0", "Enter")
    tmux.wait_for(tmux.first, "status 0")


# -- the output of a utility that ends --

def a_utility(folder, script):
    """Creates a directory with cdsctl, and with the script under the name meter-settings."""
    programs = folder / "programs"
    programs.mkdir()
    (programs / "cdsctl").symlink_to(BUILD / "cdsctl")
    (programs / "meter-settings").write_text(f"#!/bin/bash\n{script}\n")
    (programs / "meter-settings").chmod(0o755)
    return programs


def left_on_the_terminal(session):
    """Returns the lines that are printed after tmux has left the alternate screen."""
    return session.before.decode().rpartition("\x1b[?1049l")[2].split("\r\n")


@pytest.mark.parametrize("arguments, store", [(("-v",), ""), (("1", "2"), ""), (("-m",), "this is no store\n")])
def test_the_reason_for_the_end_of_the_utility_is_shown(folder, arguments, store):
    if store:
        (folder / "meter" / "store.toml").write_text(store)
    plain = subprocess.run([BUILD / "meter-settings", *arguments], capture_output=True, text=True, timeout=STEP_LIMIT,
                           env={"METER_SIM_DIR": str(folder / "meter")})
    assert plain.returncode == (arguments != ("-v",))
    session = spawned(folder, folder / "meter", *arguments)
    assert ended(session, prompt=None) == plain.returncode
    left = [line.rstrip() for line in left_on_the_terminal(session)]
    said = [line.expandtabs().rstrip() for line in (plain.stdout + plain.stderr).splitlines()]
    assert said and set(said) <= set(left), left


def test_both_output_streams_of_the_utility_are_shown_in_full(folder):
    programs = a_utility(folder, 'seq 100; echo "an error" >&2; echo; echo end; exit 7')
    session = spawned(folder, folder / "meter", programs=programs)
    assert ended(session, prompt=None) == 7
    left = left_on_the_terminal(session)
    assert left[left.index("1"):] == [*map(str, range(1, 101)), "an error", "", "end", ""]


def test_the_output_of_a_killed_utility_is_shown(folder):
    session = spawned(folder, folder / "meter")
    session.expect("Select an option ==>")
    utility, = [pid for pid, words in processes_on(folder) if words[0].endswith("meter-settings")]
    os.kill(utility, signal.SIGKILL)
    assert ended(session, prompt=None) == 137
    assert "Select an option ==>" in "\n".join(left_on_the_terminal(session))


def test_a_normal_session_shows_nothing_afterwards(folder):
    session = spawned(folder, folder / "meter")
    assert ended(session, "0\r") == 0
    assert "==>" not in "\n".join(left_on_the_terminal(session))


def test_the_arguments_are_passed_unchanged(folder):
    programs = a_utility(folder, """printf '<%s>\\n' "$@"; exit 3""")
    words = ["-m;", ";", "a b", "", "it's", "\\;", "$HOME"]
    session = spawned(folder, folder / "meter", *words, programs=programs)
    assert ended(session, prompt=None) == 3
    assert [f"<{word}>" for word in words] == left_on_the_terminal(session)[-len(words) - 1:-1]


# -- the installed meter-session --

@pytest.fixture
def meter_session(folder):
    """Installs meter-session in a directory. Returns a function that runs this meter-session on a meter."""
    root = folder / "root"
    programs = root / "lib" / "meter-settings" / "bin"
    programs.mkdir(parents=True)
    (root / "bin").mkdir()
    shutil.copy(SESSION.with_name("meter-session"), root / "bin")
    shutil.copy(SESSION, programs)
    for name in ("cdsctl", "meter-settings"):
        (programs / name).symlink_to(BUILD / name)

    def run(name, **changes):
        return pexpect.spawn(str(root / "bin" / "meter-session"), [name], env=environment(folder, **changes),
                             cwd=str(folder), dimensions=(50, 200), timeout=STEP_LIMIT)
    return run


@pytest.mark.parametrize("name", ["n" * 250, "new;"])
def test_meter_session_creates_a_meter_with_any_name(folder, meter_session, name):
    assert ended(meter_session(name), "0\r") == 0
    assert (folder / name / "store.toml").read_bytes() == FACTORY.read_bytes()


@pytest.mark.parametrize("name", ["loop", "file", "link", "n" * 256])
def test_meter_session_exits_with_3_if_it_cannot_create_the_meter(folder, meter_session, name):
    (folder / "loop").symlink_to("loop")
    (folder / "file").write_text("")
    (folder / "link").mkdir()
    (folder / "link" / "store.toml").symlink_to("nowhere/store.toml")
    session = meter_session(name)
    assert ended(session, prompt=None) == 3
    assert session.before.strip()


def test_meter_session_exits_with_3_in_a_removed_directory(folder, meter_session):
    done = subprocess.run(["sh", "-ec", 'mkdir gone; cd gone; rmdir ../gone; exec "$0" meter',
                           folder / "root" / "bin" / "meter-session"], cwd=folder, env=environment(folder),
                          capture_output=True, text=True, timeout=STEP_LIMIT)
    assert done.returncode == 3 and "realpath: " in done.stderr, done


@pytest.mark.parametrize("temporary", ["missing", "meter/store.toml"])
def test_meter_session_exits_with_3_if_it_cannot_create_temporary_files(folder, meter_session, temporary):
    session = meter_session("meter", TMPDIR=str(folder / temporary))
    assert ended(session, prompt=None) == 3
    assert b"mktemp: " in session.before or b"realpath: " in session.before
