"""A transcript has every byte with its time, in the notation of the dialogue tests. Only the owner of the
file can read a transcript."""

import pathlib

import pytest
from fleet_rig import FleetMeter, play, plan_text, results_of, run_fleet
from harness import dialogue

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

SETTINGS = {"ip_address": "198.51.100.20", "secondary_dns": "", "serial_number": "101212346",
            "options_list": "1A-2C-4-WEB-PQ2", "enclosure": "K1F"}  # fmt: skip


def bytes_of(meter, suffix):
    """Returns the contents of all files with this suffix in the directory `sessions` of the meter. The suffix
    `.in` means the bytes that meter-fleet sent, and `.out` means the bytes that meter-fleet received."""
    files = sorted((meter.folder / "sessions").glob(f"*{suffix}"), key=lambda path: int(path.stem))
    return b"".join(path.read_bytes() for path in files)


def steps_of(record):
    """Reads a transcript with the tools of the dialogue tests. Returns the received output and the sent
    keys."""
    steps = dialogue.parse_console(dialogue.Dialogue(record).console)
    received = b"".join(value for kind, value in steps if kind == "out")
    sent = bytes(value for kind, value in steps if kind == "key")
    return received, sent


def played(folder, line, scale=1.0):
    meter = FleetMeter(folder / "meter", line=line, scale=scale)
    _, results = play("apply", folder, [(meter, SETTINGS)], scale=scale)
    return meter, pathlib.Path(results["meter"]["record"])


def check_the_bytes(meter, record):
    received, sent = steps_of(record)
    assert received == bytes_of(meter, ".out")
    assert sent == bytes_of(meter, ".in")


def test_a_transcript_is_byte_exact_and_the_dialogue_tools_read_it(folder):
    meter, record = played(folder, {})
    check_the_bytes(meter, record)


def test_a_transcript_of_a_bad_line_is_byte_exact(folder):
    line = {"seed": 4, "key_rate": 0.03, "output_rate": 0.0002, "message_rate": 0.03}
    meter, record = played(folder, line, scale=0.1)
    check_the_bytes(meter, record)


def test_only_the_owner_can_read_a_transcript(folder):
    _, record = played(folder, {})
    assert record.stat().st_mode & 0o777 == 0o600


def test_a_transcript_of_a_real_meter_is_not_played(folder):
    _, record = played(folder, {})
    with pytest.raises(ValueError, match="cannot be played"):
        dialogue.play(dialogue.Dialogue(record))


def test_two_runs_have_two_transcripts(folder):
    meter = FleetMeter(folder / "meter")
    records = {play("apply", folder, [(meter, SETTINGS)])[1]["meter"]["record"] for _ in range(2)}
    assert len(records) == 2 and all(pathlib.Path(record).stat().st_size for record in records)


def test_names_that_are_not_file_names(folder):
    meters = [FleetMeter(folder / f"m{i}") for i in range(3)]
    names = ["../outside", "a/b", "Zähler 7"]
    path = folder / "plan.toml"
    path.write_text(plan_text([(name, meter.console, {"enclosure": "K1F"}) for name, meter in zip(names, meters)]))
    done = run_fleet("apply", path, "--json", "--records", folder / "below" / "records")
    if done.returncode == 2:  # meter-fleet may also reject the plan and report the line number of the name
        assert f"{path}:" in done.stderr
        return
    records = [pathlib.Path(result["record"]).resolve() for result in results_of(done).values()]
    assert all(record.is_relative_to(folder / "below" / "records") for record in records)
    assert len(set(records)) == 3
