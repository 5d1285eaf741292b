"""Files that are nested so deeply that parsing them would use up the memory."""

import pytest
from harness.piped import run
from harness.program import UTILITY, command

MANY = 150_000
REASON = ":2: keys, arrays and tables are nested more than 32 levels deep\n"


@pytest.mark.parametrize("text", [
    "a." * MANY + "a = 1", "[" + "a." * MANY + "a]", "a = " + "[" * MANY + "]" * MANY,
    "a = " + "{a = " * MANY + "1" + "}" * MANY,
], ids=["dotted key", "header", "arrays", "inline tables"])
def test_a_deep_file_is_reported_with_its_line(meter, error_of, text):
    store = meter.folder / "store.toml"
    for name in ("store.toml", "factory.toml", "faults.toml"):
        (meter.folder / name).write_text("\n" + text)
    assert error_of(3, "list") == f"cdsctl: {store}{REASON}"
    assert error_of(3, "diff", "-", keys="\n" + text) == f"cdsctl: standard input{REASON}"
    assert error_of(3, "reset") == f"cdsctl: {meter.folder}/factory.toml{REASON}"
    for name in ("faults.toml", "store.toml"):
        session = run(command(UTILITY), meter.environment())
        assert session.returncode == 1
        assert session.stderr.decode().startswith(f"{meter.folder}/{name}{REASON}")
        (meter.folder / "faults.toml").unlink(missing_ok=True)
