"""The utility with a live view beside it, in tmux; and without tmux, what to type instead."""

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
pytestmark = pytest.mark.host_only


@pytest.fixture
def folder():
    """Holds a meter, and the temporary files of its sessions."""
    made = pathlib.Path(tempfile.mkdtemp(prefix="s-", dir=BUILD))
    (made / "meter").mkdir()
    (made / "tmp").mkdir()
    shutil.copy(FACTORY, made / "meter" / "store.toml")
    yield made
    wait_until(lambda: not processes_on(made), lambda: processes_on(made))  # they remove files too
    shutil.rmtree(made)


def environment(folder, **changes):
    kept = {name: value for name, value in os.environ.items() if not name.startswith(("TMUX", "METER_SIM_"))}
    return {**kept, "TERM": "xterm", "METER_SIM_NO_DELAY": "1", "TMPDIR": str(folder / "tmp"), **changes}


class Tmux:
    """A tmux server of the test's own, with one shell of 200 columns."""

    def __init__(self, folder, plain_folder):
        self.environment = environment(folder)
        self.socket = plain_folder / "tmux"  # tmux cannot live with a comma in this
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
        wait_until(lambda: text in self.text(pane), lambda: f"{text!r} did not come:\n{self.text(pane)}")

    def type(self, *keys):
        self("send-keys", "-t", self.first, *keys)


@pytest.fixture
def tmux(folder, plain_folder):
    server = Tmux(folder, plain_folder)
    yield server
    server("kill-server", check=False)


def spawned(folder, meter, *arguments, programs=BUILD, dimensions=(50, 200), **changes):
    """A session on a terminal that is not in tmux."""
    session = pexpect.spawn(str(SESSION), [str(programs), str(meter), *arguments], env=environment(folder, **changes),
                            dimensions=dimensions, timeout=STEP_LIMIT)
    session.delaybeforesend = None
    return session


def ended(session, keys="", prompt="Select an option ==>"):
    """Types the keys at the prompt; how the session then ends. Its output is in session.before."""
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
    """Starts a session at the shell's prompt; returns the pane of the view."""
    words = shlex.join(map(str, (SESSION, BUILD, meter or folder / "meter", *arguments)))
    tmux.type(words + '; echo "status $?"', "Enter")
    wait_until(lambda: len(tmux.panes()) == 2, lambda: tmux.text(tmux.first))
    view, = set(tmux.panes()) - {tmux.first}
    tmux.wait_for(view, "cdsctl: watching")
    tmux.wait_for(tmux.first, "Select an option ==>")
    return view


def files(folder):
    return sorted(str(file.relative_to(folder)) for file in folder.rglob("*"))


def test_the_view_shows_what_is_changed_and_run(tmux, folder):
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


def test_the_utility_has_the_keys_and_the_room_it_needs(tmux, folder):
    view = start(tmux, folder, "-m")
    widths = dict(line.split() for line in tmux("list-panes", "-F", "#{pane_id} #{pane_width}").splitlines())
    assert int(widths[tmux.first]) >= 80 and int(widths[view]) >= 40
    assert tmux("display-message", "-p", "#{pane_id}").strip() == tmux.first
    assert ".  Velmora II Initialization" in tmux.text(tmux.first)  # its argument came through


def test_leaving_the_utility_leaves_tmux_and_the_folder_as_they_were(tmux, folder):
    before = files(folder)
    start(tmux, folder)
    assert list((folder / "tmp").iterdir())
    tmux.type("0", "Enter")
    tmux.wait_for(tmux.first, "status 0")
    assert tmux.panes() == [tmux.first]
    wait_until(lambda: files(folder) == before, lambda: files(folder))
    wait_until(lambda: not processes_on(folder), lambda: processes_on(folder))


def test_a_utility_that_is_killed_leaves_tmux_clean_too(tmux, folder):
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
    """The programs of the session that still run on the folder's meter: (id, words)."""
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


def test_outside_tmux_it_brings_a_server_of_its_own_and_takes_it_away(folder):
    before = files(folder)
    session = pexpect.spawn(str(SESSION), [str(BUILD), str(folder / "meter")], env=environment(folder),
                            dimensions=(50, 200), timeout=STEP_LIMIT)
    try:
        session.delaybeforesend = None
        session.expect("Select an option ==>")
        session.send("\x02")  # no key of tmux: the utility ignores it
        session.send("9\r")
        session.expect("Error: Invalid selection")
        session.send("0\r")
        session.expect(pexpect.EOF)
        wait_until(lambda: not session.isalive(), lambda: "it does not end")
        assert (session.exitstatus, session.signalstatus) == (0, None)
        assert b"\x1b[?1049l" in session.before  # the terminal shows again what it showed before
    finally:
        session.close(force=True)
    assert files(folder) == before
    wait_until(lambda: not processes_on(folder), lambda: processes_on(folder))


def test_a_meter_deep_down_is_no_hindrance(folder):
    deep = folder / ("d" * 120)
    shutil.copytree(folder / "meter", deep / "meter")
    (deep / "tmp").mkdir()
    before = files(deep)
    assert ended(spawned(folder, deep / "meter", TMPDIR=str(deep / "tmp")), "0\r") == 0
    wait_until(lambda: files(deep) == before, lambda: files(deep))


def test_a_session_that_is_ended_from_outside_is_no_success(folder):
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


def test_a_terminal_that_goes_away_takes_the_session_with_it(folder):
    before = files(folder)
    session = pexpect.spawn(str(SESSION), [str(BUILD), str(folder / "meter")], env=environment(folder),
                            dimensions=(50, 200), timeout=STEP_LIMIT)
    session.expect("Select an option ==>")
    assert processes_on(folder)
    try:
        session.ptyproc.fileobj.close()  # and not session.close(): it kills what does not end at once
        wait_until(lambda: not processes_on(folder), lambda: processes_on(folder))
        wait_until(lambda: files(folder) == before, lambda: files(folder))
    finally:
        session.close(force=True)


def heed_signals():
    """In a new process, which would ignore an interrupt where these tests run in the background."""
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, signal.SIG_DFL)


@pytest.mark.parametrize("signal_of_end", [signal.SIGINT, signal.SIGTERM])
def test_without_tmux_it_says_what_to_type_in_two_terminals(folder, plain_folder, signal_of_end):
    for tool in ("bash", "env", "readlink", "realpath", "mktemp", "tail", "sed", "sh", "cat"):
        (plain_folder / tool).symlink_to(shutil.which(tool))
    surroundings = environment(folder, PATH=str(plain_folder))
    told = subprocess.run([SESSION, BUILD, folder / "meter", "-m"], env=surroundings, capture_output=True,
                          text=True, timeout=STEP_LIMIT)
    assert (told.returncode, told.stderr) == (0, "")
    first, second = re.findall(r"^    (.*)$", told.stdout, re.M)

    view = subprocess.Popen(["sh", "-c", f"exec {second}"], env=surroundings, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, preexec_fn=heed_signals)
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


# A name in a directory has at most 255 bytes.
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
def test_a_window_without_room_for_both_has_the_utility_alone(folder, rows, columns):
    session = spawned(folder, folder / "meter", dimensions=(rows, columns))
    calls = folder / "tmp"
    wait_until(lambda: any('"get_leaves"' in file.read_text() for file in calls.glob("*/calls")), lambda: files(folder))
    assert not any("watch" in words for _, words in processes_on(folder))
    assert ended(session, "0\r", prompt=None) == 0


def test_a_pane_without_room_for_both_has_the_utility_alone(folder, tmux):
    tmux("set-option", "-g", "window-size", "manual")
    tmux("resize-window", "-x", "100", "-y", "2")
    tmux.type(shlex.join(map(str, (SESSION, BUILD, folder / "meter"))) + '; echo "status $?"', "Enter")
    tmux.wait_for(tmux.first, "Select an option ==>")
    assert tmux.panes() == [tmux.first]
    assert "The live view is left out: " in tmux("capture-pane", "-p", "-J", "-S", "-", "-t", tmux.first)
    tmux.type("0", "Enter")
    tmux.wait_for(tmux.first, "status 0")


# -- what the utility said when it ends --

def a_utility(folder, script):
    """A folder of programs in which the utility is this script."""
    programs = folder / "programs"
    programs.mkdir()
    (programs / "cdsctl").symlink_to(BUILD / "cdsctl")
    (programs / "meter-settings").write_text(f"#!/bin/bash\n{script}\n")
    (programs / "meter-settings").chmod(0o755)
    return programs


def left_on_the_terminal(session):
    """What stays there, line by line, when the session's own screen is gone."""
    return session.before.decode().rpartition("\x1b[?1049l")[2].split("\r\n")


@pytest.mark.parametrize("arguments, store", [(("-v",), ""), (("1", "2"), ""), (("-m",), "this is no store\n")])
def test_the_reason_why_the_utility_ends_can_be_read(folder, arguments, store):
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


def test_both_streams_of_a_utility_that_ends_are_kept_whole(folder):
    programs = a_utility(folder, 'seq 100; echo "an error" >&2; echo; echo end; exit 7')
    session = spawned(folder, folder / "meter", programs=programs)
    assert ended(session, prompt=None) == 7
    left = left_on_the_terminal(session)
    assert left[left.index("1"):] == [*map(str, range(1, 101)), "an error", "", "end", ""]


def test_what_a_utility_that_is_killed_showed_is_kept(folder):
    session = spawned(folder, folder / "meter")
    session.expect("Select an option ==>")
    utility, = [pid for pid, words in processes_on(folder) if words[0].endswith("meter-settings")]
    os.kill(utility, signal.SIGKILL)
    assert ended(session, prompt=None) == 137
    assert "Select an option ==>" in "\n".join(left_on_the_terminal(session))


def test_a_usual_session_leaves_nothing(folder):
    session = spawned(folder, folder / "meter")
    assert ended(session, "0\r") == 0
    assert "==>" not in "\n".join(left_on_the_terminal(session))


def test_the_arguments_arrive_as_they_are(folder):
    programs = a_utility(folder, """printf '<%s>\\n' "$@"; exit 3""")
    words = ["-m;", ";", "a b", "", "it's", "\\;", "$HOME"]
    session = spawned(folder, folder / "meter", *words, programs=programs)
    assert ended(session, prompt=None) == 3
    assert [f"<{word}>" for word in words] == left_on_the_terminal(session)[-len(words) - 1:-1]


# -- meter-session, which is installed --

@pytest.fixture
def meter_session(folder):
    """Runs it on a meter's name, from a folder of programs as they are installed."""
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
def test_meter_session_makes_a_meter_of_any_name(folder, meter_session, name):
    assert ended(meter_session(name), "0\r") == 0
    assert (folder / name / "store.toml").read_bytes() == FACTORY.read_bytes()


@pytest.mark.parametrize("name", ["loop", "file", "link", "n" * 256])
def test_meter_session_ends_with_3_when_there_can_be_no_meter(folder, meter_session, name):
    (folder / "loop").symlink_to("loop")
    (folder / "file").write_text("")
    (folder / "link").mkdir()
    (folder / "link" / "store.toml").symlink_to("nowhere/store.toml")
    session = meter_session(name)
    assert ended(session, prompt=None) == 3
    assert session.before.strip()


@pytest.mark.parametrize("temporary", ["missing", "meter/store.toml"])
def test_meter_session_ends_with_3_when_there_can_be_no_temporary_files(folder, meter_session, temporary):
    session = meter_session("meter", TMPDIR=str(folder / temporary))
    assert ended(session, prompt=None) == 3
    assert b"mktemp: " in session.before or b"realpath: " in session.before
