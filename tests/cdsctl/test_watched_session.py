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
from harness.meter import FACTORY
from harness.piped import read_from
from harness.program import BUILD, REPOSITORY, STEP_LIMIT, wait_until

SESSION = REPOSITORY / "simulator" / "cdsctl" / "watched-session"
pytestmark = pytest.mark.host_only


@pytest.fixture
def folder():
    """With a short name: that of a socket in it may not be long."""
    made = pathlib.Path(tempfile.mkdtemp(prefix="s-", dir=BUILD))
    (made / "meter").mkdir()
    shutil.copy(FACTORY, made / "meter" / "store.toml")
    yield made
    wait_until(lambda: not processes_on(made), lambda: processes_on(made))  # they remove files too
    shutil.rmtree(made)


def environment(**changes):
    kept = {name: value for name, value in os.environ.items() if not name.startswith(("TMUX", "METER_SIM_"))}
    return {**kept, "TERM": "xterm", "METER_SIM_NO_DELAY": "1", **changes}


class Tmux:
    """A tmux server of the test's own, with one shell of 200 columns."""

    def __init__(self, folder):
        self.socket = folder / "tmux"
        self("new-session", "-d", "-x", "200", "-y", "50", "/bin/sh")
        self.first = self("list-panes", "-F", "#{pane_id}").strip()

    def __call__(self, *words, check=True):
        done = subprocess.run(["tmux", "-S", str(self.socket), "-f", "/dev/null", *words], env=environment(),
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
def tmux(folder):
    server = Tmux(folder)
    yield server
    server("kill-server", check=False)


def start(tmux, folder, *arguments):
    """Starts a session at the shell's prompt; returns the pane of the view."""
    words = shlex.join(map(str, (SESSION, BUILD, folder / "meter", *arguments)))
    tmux.type(words + '; echo "status $?"', "Enter")
    wait_until(lambda: len(tmux.panes()) == 2, lambda: tmux.text(tmux.first))
    view, = set(tmux.panes()) - {tmux.first}
    tmux.wait_for(view, "cdsctl: watching")
    tmux.wait_for(tmux.first, "Select an option ==>")
    return view


def files(folder):
    return sorted(file.name for file in folder.iterdir())


def test_the_view_shows_what_is_changed_and_run(tmux, folder):
    view = start(tmux, folder)
    tmux.type("2", "Enter")
    tmux.wait_for(tmux.first, "Enter Primary DNS Server:")
    tmux.type("192.0.2.99", "Enter")
    tmux.wait_for(tmux.first, "Save & apply all settings")
    assert "192.0.2.99" not in tmux.text(view)
    tmux.type("5", "Enter")
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
    assert "5.  Velmora II Initialization" in tmux.text(tmux.first)  # its argument came through


def test_leaving_the_utility_leaves_tmux_and_the_folder_as_they_were(tmux, folder):
    before = files(folder)
    start(tmux, folder)
    assert files(folder) != before
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
    start(tmux, folder)
    tmux("kill-server")
    wait_until(lambda: not processes_on(folder), lambda: processes_on(folder))
    wait_until(lambda: files(folder) in (["meter"], ["meter", "tmux"]), lambda: files(folder))


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
                                     "cdsctl" in words[0] and f"{folder}/meter" in words or
                                     "tail" in words[0] and any(str(folder) in word for word in words)):
            found.append((int(entry.name), words))
    return found


def test_outside_tmux_it_brings_a_server_of_its_own_and_takes_it_away(folder):
    before = files(folder)
    session = pexpect.spawn(str(SESSION), [str(BUILD), str(folder / "meter")], env=environment(),
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
    before = files(deep)
    session = pexpect.spawn(str(SESSION), [str(BUILD), str(deep / "meter")], env=environment(),
                            dimensions=(50, 200), timeout=STEP_LIMIT)
    try:
        session.expect("Select an option ==>")
        session.send("0\r")
        session.expect(pexpect.EOF)
        wait_until(lambda: not session.isalive(), lambda: "it does not end")
        assert (session.exitstatus, session.signalstatus) == (0, None)
    finally:
        session.close(force=True)
    wait_until(lambda: files(deep) == before, lambda: files(deep))


def test_a_session_that_is_ended_from_outside_is_no_success(folder):
    session = pexpect.spawn(str(SESSION), [str(BUILD), str(folder / "meter")], env=environment(),
                            dimensions=(50, 200), timeout=STEP_LIMIT)
    try:
        session.expect("Select an option ==>")
        (socket,) = folder.glob("meter.session.*/tmux")
        subprocess.run(["tmux", "-S", str(socket), "kill-session"], env=environment(), timeout=STEP_LIMIT, check=True)
        session.expect(pexpect.EOF)
        wait_until(lambda: not session.isalive(), lambda: "it does not end")
        assert (session.exitstatus, session.signalstatus) == (1, None)
        assert b"watched-session: line" not in session.before
    finally:
        session.close(force=True)


def test_a_terminal_that_goes_away_takes_the_session_with_it(folder):
    before = files(folder)
    session = pexpect.spawn(str(SESSION), [str(BUILD), str(folder / "meter")], env=environment(),
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
    for tool in ("bash", "env", "readlink", "tail", "sed", "sh", "cat"):
        (plain_folder / tool).symlink_to(shutil.which(tool))
    surroundings = environment(PATH=str(plain_folder))
    told = subprocess.run([SESSION, BUILD, folder / "meter", "-m"], env=surroundings, capture_output=True,
                          text=True, timeout=STEP_LIMIT)
    assert (told.returncode, told.stderr) == (0, "")
    first, second = re.findall(r"^    (.*)$", told.stdout, re.M)

    view = subprocess.Popen(["sh", "-c", f"exec {second}"], env=surroundings, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, preexec_fn=heed_signals)
    try:
        assert read_from(view.stderr.fileno(), b"\n").startswith(b"cdsctl: watching")
        done = subprocess.run(["sh", "-c", first], env=surroundings, input="4\ny\n0\n", capture_output=True,
                              text=True, timeout=STEP_LIMIT)
        assert done.returncode == 0
        assert read_from(view.stdout.fileno(), b"\n") == b"runs: sernetpwreset.sh > /dev/null 2>&1\n"
    finally:
        view.send_signal(signal_of_end)
        view.communicate(timeout=STEP_LIMIT)
    wait_until(lambda: not processes_on(folder), lambda: processes_on(folder))
