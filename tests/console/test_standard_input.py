"""Tests of sessions without a terminal. Standard input is a pipe or a file, has ended, or is closed."""

import subprocess

import pytest
from harness.menus import typed
from harness.meter import FACTORY
from harness.piped import end, read_until, run, start
from harness.program import STEP_LIMIT, UTILITY, command
from harness.terminal import Console

PROMPT = b"Select an option ==>  "
END_OF_INPUT = b"\xff"  # the program echoes the end of input as this byte
REJECTED = b"\nError: Invalid selection\n\n"
KEYS = typed("{PORT}\n1\ny\n2\n10.0.0.9\n5\n0\n0\n{PRIMARY_DNS}\n256.1.1.1\n"
             "{PRIMARY_DNS}\n10.0.0.53\b4\n{SAVE_WITHOUT_INIT}\ny\n0\n").encode()


@pytest.fixture
def session(meter):
    processes = []

    def begin(stdin, program=None):
        processes.append(start(program or command(UTILITY), meter.environment(), stdin))
        return processes[-1]

    yield begin
    for process in processes:
        end(process)


def first_screen(meter):
    """Returns the output up to the first prompt: the main menu with the factory defaults."""
    screen = run(command(UTILITY), meter.environment(), b"0\n").stdout
    assert screen.endswith(PROMPT + b"0\n")
    return screen.removesuffix(b"0\n")


def test_a_session_by_pipe_writes_and_leaves(meter):
    answer = run(command(UTILITY), meter.environment(), KEYS)
    assert answer.returncode == 0
    assert answer.stderr == b""
    assert answer.stdout.endswith(PROMPT + b"0\n")
    assert len(meter.difference()) == 6  # five leaves are set, one is cleared


def test_a_session_by_file(meter):
    keys = meter.top / "keys"
    keys.write_bytes(KEYS)
    with keys.open("rb") as file:
        answer = subprocess.run(command(UTILITY), env=meter.environment(), stdin=file,
                                stdout=subprocess.PIPE, timeout=STEP_LIMIT, check=False)
    assert answer.returncode == 0
    assert answer.stdout.count(b"Settings saved.\n") == 1


def test_pipe_and_terminal_show_the_same_bytes(meter):
    by_pipe = run(command(UTILITY), meter.environment(), KEYS).stdout
    (meter.folder / "store.toml").write_text(FACTORY.read_text())
    console = Console(command(UTILITY), meter.environment())
    try:
        while not console.pending.endswith(PROMPT):  # from the first prompt on, the terminal echoes no keys
            assert console.receive(STEP_LIMIT)
        console.send(KEYS)
        assert console.finish() == "exit 0"
        assert console.take() == by_pipe
    finally:
        console.close()


def test_at_the_end_of_input_the_screen_is_drawn_again_and_again(meter, session):
    screen = first_screen(meter)
    process = session(subprocess.DEVNULL)
    one_pass = screen + END_OF_INPUT + REJECTED
    assert read_until(process, one_pass * 3).startswith(one_pass * 3)
    assert process.poll() is None


def test_the_end_of_a_pipe_ends_an_unfinished_line(meter, session):
    process = session(subprocess.PIPE)
    process.stdin.write(b"2\n10.0.0.9")
    process.stdin.close()
    output = read_until(process, b"10.0.0.9 ")
    assert b"Enter Primary DNS Server: 10.0.0.9" + END_OF_INPUT + b"\n\n---" in output
    read_until(process, PROMPT + END_OF_INPUT + REJECTED)
    assert process.poll() is None


def test_the_end_of_a_file_is_like_the_end_of_a_pipe(meter, session):
    screen = first_screen(meter)
    keys = meter.top / "keys"
    keys.write_bytes(b"9\n")
    with keys.open("rb") as file:
        process = session(file)
    start_of_it = screen + b"9\n" + REJECTED + screen + END_OF_INPUT + REJECTED + screen
    assert read_until(process, start_of_it).startswith(start_of_it)


def test_a_closed_input_makes_every_wait_fail(meter, session):
    screen = first_screen(meter)
    process = session(None, ["/bin/sh", "-c", 'exec "$@" <&-', "sh", *command(UTILITY)])
    one_pass = screen + b"\n"  # a failed wait prints only a newline, and the menu prints no message
    assert read_until(process, one_pass * 3).startswith(one_pass * 3)
    assert process.poll() is None
