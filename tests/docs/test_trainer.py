"""The commands in the trainer's guide have the results that the guide describes."""

import re
import subprocess
import tomllib

import pytest
from guides import exercises
from harness import piped
from harness.menus import typed
from harness.meter import FACTORY, Meter
from harness.program import CDSCTL, REPOSITORY, STEP_LIMIT, UTILITY, command

pytestmark = pytest.mark.host_only

GUIDE = (REPOSITORY / "docs" / "trainer.md").read_text(encoding="utf-8")
SERIAL = "/VMIC/SerialNumber/Value"
EXERCISES = dict(enumerate(exercises.all_exercises(), 1))
DNS = typed("{PRIMARY_DNS}\n203.0.113.9\n")
SAVE = typed("{SAVE}\ny\n")
# Maps the heading of each drill to its keys and to the texts that the program then prints in this order.
DRILLS = {
    "A save that fails once": (DNS + SAVE + SAVE + "0\n", ["Error saving settings!", "Settings saved."]),
    "A meter that cannot be reached": ("0\n", ["Error: can't connect to CDS"]),
    "Settings that cannot be read": ("9\n9\n9\n0\n", ["Warning: couldn't read network settings!"] * 2),
    "A setting that the meter's services do not get":
        (typed("{PORT}\n2\n203.0.113.9\n0\n") + SAVE + "0\n", ["set_leaf failed for", "Settings saved."]),
}


@pytest.fixture
def cdsctl_in_path(tmp_path, plain_folder):
    """Returns a function that runs a shell script in tmp_path with cdsctl in PATH. The function returns the
    finished process."""
    (plain_folder / "cdsctl").symlink_to(CDSCTL)

    def run(script, meter=""):
        environment = {"PATH": f"{plain_folder}:/usr/bin:/bin", "METER_SIM_DIR": str(meter)}
        return subprocess.run(["sh", "-c", script], cwd=tmp_path, env=environment, capture_output=True, text=True,
                              timeout=STEP_LIMIT)

    return run


def block(heading, language):
    section = GUIDE.split(f"# {heading}\n")[1].split("\n#")[0]
    return re.search(rf"^```{language}\n(.*?)^```$", section, re.M | re.S)[1]


def leaves(folder):
    return tomllib.loads((folder / "store.toml").read_text(encoding="utf-8"))


@pytest.fixture
def class_of_ten(cdsctl_in_path, tmp_path):
    done = cdsctl_in_path(block("Make ten meters", "sh"))
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")
    return sorted((tmp_path / "class").iterdir())


def test_one_command_makes_ten_meters_with_different_serial_numbers(class_of_ten, cdsctl_in_path):
    factory = tomllib.loads(FACTORY.read_text(encoding="utf-8"))
    assert [meter.name for meter in class_of_ten] == [f"{n:02}" for n in range(1, 11)]
    for n, meter in enumerate(class_of_ten, 261900101):
        assert leaves(meter) == factory | {SERIAL: str(n)}
        assert cdsctl_in_path(f"cdsctl set {SERIAL} 091512399 && cdsctl reset", meter).returncode == 0
        assert leaves(meter)[SERIAL] == str(n)


def test_the_utility_accepts_the_serial_numbers(meter):
    for n in (261900101, 261900110):
        keys = typed("{INIT}\n1\n") + f"{n}\n0\n{SAVE}0\n"
        session = piped.run(command(UTILITY, "-m"), meter.environment(), keys.encode())
        assert session.returncode == 0 and meter.leaves()[SERIAL] == str(n)


def test_the_guide_has_every_exercise():
    titles = re.findall(r"^### Exercise (\d+): (.*)$", GUIDE, re.M)
    assert titles == [(str(n), exercise["title"]) for n, exercise in EXERCISES.items()]
    assert len(titles) == 6


@pytest.mark.parametrize("number", EXERCISES)
def test_an_exercise_is_solved_as_the_guide_shows_it(number, class_of_ten, cdsctl_in_path):
    exercise = EXERCISES[number]
    heading = f"Exercise {number}: {exercise['title']}"
    meter = class_of_ten[0]
    environment = {"METER_SIM_DIR": str(meter), "METER_SIM_NO_DELAY": "1"}
    check = re.search(r"solved when `(cdsctl diff .*)` prints exactly",
                      GUIDE.split(f"### {heading}\n")[1])[1]
    for _ in range(2):  # the commands must also work a second time
        assert cdsctl_in_path(block(heading, "sh"), meter).returncode == 0
        assert cdsctl_in_path(check, meter).stdout == ""
        keys = "".join(line + "\n" for line in exercise["solution"]).encode()
        arguments = exercise.get("arguments", ["-m"]) or ["1"]
        assert piped.run(command(UTILITY, *arguments), environment, keys).returncode == 0
        assert cdsctl_in_path(check, meter).stdout == block(heading, "text")


@pytest.mark.parametrize("heading", DRILLS)
def test_a_drill_prints_what_the_guide_says(heading, request):
    keys, messages = DRILLS[heading]
    factory = tomllib.loads(FACTORY.read_text(encoding="utf-8"))
    meter = Meter(request.node.name, factory, block(heading, "toml"))
    session = piped.run(command(UTILITY, "-m"), meter.environment(), keys.encode())
    shown = (session.stdout + session.stderr).decode("latin-1")
    meter.remove()
    found = re.findall("|".join(map(re.escape, set(messages))), shown)
    assert found == messages
    section = GUIDE.split(f"### {heading}\n")[1].split("\n#")[0]
    assert all(f"`{message}" in section for message in messages)


def test_each_drill_with_a_file_is_played():
    drills = GUIDE.split("\n## Drills\n")[1]
    sections = re.findall(r"^### (.*)\n((?:.*\n)*?)(?=### |\Z)", drills, re.M)
    assert [heading for heading, text in sections if "```toml" in text] == list(DRILLS)


def test_a_change_from_outside_is_on_the_next_screen(cdsctl_in_path, class_of_ten):
    line = re.search(r"^    (cdsctl -C class/01 set .*)$", GUIDE, re.M)[1]
    meter = class_of_ten[0]
    session = piped.start(command(UTILITY, "-m"), {"METER_SIM_DIR": str(meter)}, subprocess.PIPE)
    try:
        assert b"203.0.113.53" not in piped.read_until(session, b"Select an option ==>")
        assert cdsctl_in_path(line).returncode == 0
        session.stdin.write(b"9\n")
        session.stdin.flush()
        shown = piped.read_until(session, b"Select an option ==>")
        assert b"Error: Invalid selection" in shown and b"203.0.113.53" in shown
    finally:
        piped.end(session)
