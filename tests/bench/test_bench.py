"""The programs in bench/ can be built and run, and their tables have the right figures."""

import re
import subprocess
import sys

import pytest
from harness.program import BUILD, REPOSITORY, STEP_LIMIT
from harness.terminal import Mismatch

sys.path.insert(0, str(REPOSITORY / "bench"))

import measuring
from measuring import Contender, Step

pytestmark = [pytest.mark.host_only, pytest.mark.builds]

NUMBER = re.compile(r"[\d,]+(?:\.\d+)?")


@pytest.fixture(scope="module", autouse=True)
def built():
    measuring.build("contest", "baseline", "store-baseline")


def baseline(exit_key="0"):
    return Contender("baseline", [BUILD / "baseline", "one ", "two "], {}, f"{exit_key}\r")


START, KEY, ENTER = Step("start", "", b"one "), Step("key", "x", b"x"), Step("next", "\r", b"two ")


def test_a_round_of_compare():
    """The expected counts are also in docs/speed.md. The limits for the times are so wide that every machine
    meets them."""
    done = subprocess.run(
        [REPOSITORY / "bench" / "compare", "--rounds", "2", "--only", "times", "calls", "bytes",
         "--against", "baseline"], capture_output=True, text=True, timeout=10 * STEP_LIMIT)
    assert done.returncode == 0, done.stderr
    cells = [[cell.strip() for cell in line.split("|")[1:-1]]
             for line in done.stdout.splitlines() if line.startswith("|")]
    assert cells[0] == ["", "baseline", "meter-settings"]
    rows = {what: [float(NUMBER.search(cell)[0].replace(",", "")) for cell in row if cell]
            for what, *row in cells[2:] if not what.startswith("-")}
    assert rows["system calls, a key"] == [3, 3]
    assert rows["system calls, the next screen, port menu, 8 lines"] == [3, 5]
    assert rows["system calls, start to the first key"][1] <= 60
    assert rows["bytes sent, the answer to a key"] == [1, 1]
    least, ours = rows["bytes sent, the first screen"]
    assert least == ours > 500
    assert all(1 < time < 5e6 for what, row in rows.items() if what.endswith("µs") for time in row)
    assert sum(what.endswith("µs") for what in rows) == 17


def test_a_step_is_learnt_with_its_answer():
    assert measuring.learn(baseline(), ("start", ""), ("key", "x"), ("next", "\r")) == [START, KEY, ENTER]


def test_a_contest_times_every_step_of_every_round():
    plan = [(baseline(), [START, KEY, ENTER])] * 2
    times = measuring.hold_contest(3, 1, plan)
    assert {what: len(values) for what, values in times.items()} == {
        (position, name): 3 for position in (0, 1) for name in ("start", "key", "next", "exit", "end")}


def test_the_same_seed_gives_the_same_order(tmp_path):
    order = tmp_path / "order"
    script = 'echo "$1" >>"$2"'
    plan = [(Contender(name, ["/bin/sh", "-c", script, "sh", name, order], {}, ""), []) for name in "abc"]
    orders = []
    for seed in (1, 1, 2):
        measuring.hold_contest(8, seed, plan)
        orders.append(order.read_text().split())
        order.unlink()
    assert orders[0] == orders[1] != orders[2]
    assert all(sorted(orders[0][n:n + 3]) == ["a", "b", "c"] for n in range(0, 24, 3))


def test_a_program_that_fails_is_an_error():
    with pytest.raises(subprocess.CalledProcessError):
        measuring.hold_contest(1, 1, [(Contender("false", ["/bin/false"], {}, ""), [])])


def test_a_different_answer_is_an_error():
    with pytest.raises(Mismatch):
        measuring.play(baseline(), [START, Step("key", "x", b"y")])


@pytest.mark.parametrize("work, writes", [(["get"], False), (["set"], True)])
def test_the_baseline_of_the_store(meter, work, writes):
    before = (meter.folder / "store.toml").read_bytes()
    command = [BUILD / "store-baseline", *work, meter.folder, *["7"] * writes]
    subprocess.run(command, check=True, timeout=STEP_LIMIT, stdout=subprocess.DEVNULL)
    after = (meter.folder / "store.toml").read_bytes()
    assert after == (b"7" + before[1:] if writes else before)
