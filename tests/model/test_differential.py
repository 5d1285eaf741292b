"""Compares the settings utility with the reference model."""

import random
from pathlib import Path

import meter_model
import pytest
import sessions
import walker
from harness.program import RUN_WITH

pytestmark = pytest.mark.slow

SEED = 20240229
SESSIONS = 80 if RUN_WITH else 400  # fewer under an emulator, because emulated programs start slowly
PARTS = 8
REGRESSIONS = sorted((Path(__file__).parent / "regressions").glob("*.json"))


def described(session, events, found):
    script = meter_model.script_of(events)
    return f"arguments: {session['arguments']}\nscript: {script}\n" + "\n".join(found)


@pytest.mark.parametrize("part", range(PARTS))
def test_generated_sessions_agree_with_the_model(part, tmp_path):
    player = sessions.Player()
    for number in range(part, SESSIONS, PARTS):
        rng = random.Random(f"{SEED}/{number}")
        session = walker.meter(rng)
        technician = walker.Walker(rng, session)
        outcome = meter_model.play(session, technician, program=str(player.program))
        found = player.check(session, technician.events, outcome)
        if found:
            sessions.save(tmp_path / "session.json", session, technician.events, "differs")
        assert not found, f"{tmp_path}/session.json\n" + described(
            session, technician.events, found
        )


@pytest.mark.parametrize("path", REGRESSIONS, ids=lambda path: path.stem)
def test_saved_sessions_agree_with_the_model(path):
    session, events = sessions.load(path)
    found = sessions.Player().check(session, events)
    assert not found, described(session, events, found)


def test_a_program_that_does_nothing_is_detected_and_its_session_is_reduced(tmp_path):
    player = sessions.Player(Path("/bin/true"), tmp_path)
    session = {"arguments": ["-m"], "store": {"/a": 1}, "faults": [], "jffs": ["x"]}
    session, events = sessions.shrink(player, session, meter_model.waits_of(["1\n0\n", "0\n"]))
    assert (session["store"], session["jffs"], events) == ({}, None, [])
    assert any(found.startswith("standard output") for found in player.check(session, events))
