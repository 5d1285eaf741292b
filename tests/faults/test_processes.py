"""Several processes can write and read one store at the same time, even if some writers are killed."""

import os
import subprocess

import injection
import random_kills
from harness.meter import toml_text
from harness.program import BUILD, RUN_WITH, STEP_LIMIT, command

CLIENT = BUILD / "store-client"
WRITERS = [f"/w{n}" for n in range(8)]
READERS = 4
WRITES = 50 if RUN_WITH else 400  # writes of each writer; fewer under an emulator, because it is slow
KILLS = 15 if RUN_WITH else 60


def start(folder, *arguments):
    return subprocess.Popen(command(CLIENT, *map(str, arguments)), text=True,
                            env={**os.environ, "METER_SIM_DIR": str(folder)},
                            stdout=subprocess.PIPE)


def said(process):
    output, _ = process.communicate(timeout=3 * STEP_LIMIT)
    return process.returncode, [int(line) for line in output.split()]


def test_eight_writers_lose_nothing_and_four_readers_see_only_complete_writes():
    with injection.Place() as place:
        folder = place.make_meter({"store.toml": b""}) / "meter"
        readers = [start(folder, "watch", WRITES, *WRITERS) for _ in range(READERS)]
        writers = [start(folder, "write", name, 1, WRITES) for name in WRITERS]
        try:
            assert [said(writer) for writer in writers] == \
                [(0, list(range(1, WRITES + 1)))] * len(WRITERS)
            for status, (reads,) in map(said, readers):
                assert status == 0 and reads > 10
        finally:
            for process in readers + writers:
                process.kill()
                process.wait()
        assert injection.files_of(folder) == {"store.toml": toml_text(
            {f"{name}/{leaf}": WRITES for name in WRITERS for leaf in range(1, 9)}).encode()}


def test_a_killed_writer_leaves_complete_writes_and_does_not_block_others():
    with injection.Place() as place:
        assert random_kills.kill_many(place, 0, KILLS, seed=os.getpid())["kills"] == KILLS
