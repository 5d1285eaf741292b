"""The screen that the README shows is the one that the program draws."""

import re
import shutil
import subprocess
from pathlib import Path

from harness.program import BUILD, command

ROOT = Path(__file__).resolve().parent.parent


def test_the_screen_of_the_readme_is_the_first_one_of_a_fresh_meter(tmp_path):
    shutil.copy(ROOT / "simulator" / "factory.toml", tmp_path / "store.toml")
    session = subprocess.run(command(BUILD / "meter-settings", "-m"), input=b"0\n", timeout=60,
                             capture_output=True, env={"METER_SIM_DIR": str(tmp_path)})
    shown = [line.rstrip() for line in session.stdout.decode().splitlines()]
    quoted = re.search(r"^```\n(-{78}\n.*?)\n```$", (ROOT / "README.md").read_text(), re.S | re.M)
    shown[-1] = shown[-1].removesuffix("  0")  # the key of this session
    assert quoted[1].splitlines() == shown[2:]
