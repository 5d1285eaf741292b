"""`check` predicts exactly the changes that `apply` makes, and `show` prints a plan."""

import tomllib

import fleet_plans
import fleet_verdict
import pytest
from fleet_plans import read_settings
from fleet_rig import FACTORY_LEAVES, FleetMeter, play, plan_text, run_fleet

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

SEED = 20261121
FEW, ALL, BATCH = 40, 1000, 250


def differences(result):
    return [(entry["setting"], entry["before"], entry["after"]) for entry in result["diff"]]


FORESEEN = {"ok": "ok", "differs": "changed", "unknown": "unknown", "unreachable": "unreachable",
            "rejected": "rejected"}


def mispredicted(meter, settings, checked, applied):
    """Returns the contradictions between a check and the apply that follows, as lines of text."""
    found = []
    if FORESEEN[checked["result"]] != applied["result"]:
        found.append(f"check said {checked['result']}, apply {applied['result']}: {applied['messages']}")
    if differences(checked) != differences(applied):
        found.append(f"check: {differences(checked)}\n    apply: {differences(applied)}")
    if checked["changed"] != applied["changed"]:
        found.append(f"changed: {checked['changed']}, then {applied['changed']}")
    if applied["result"] == "changed":
        # `check` must predict all changes of the store. If changing a setting also changes another setting,
        # `check` must predict both changes.
        before, after = read_settings(meter.leaves_before), read_settings(meter.leaves())
        changed = {key for key in before if not fleet_verdict.same(before[key], after[key])}
        if changed != {entry["setting"] for entry in checked["diff"]}:
            found.append(f"check predicted {differences(checked)}, but {changed} changed")
    return found


def check_batch(folder, numbers):
    pairs = []
    for number in numbers:
        _, leaves, settings = fleet_plans.generate(SEED, number)
        pairs.append((FleetMeter(folder / f"m{number}", leaves), settings))
    _, checked = play("check", folder, pairs, "--jobs", 8)
    wrong = [f"{meter.name}: check wrote" for meter, _ in pairs
             if fleet_verdict.writes(meter.calls()) or fleet_verdict.commands(meter.calls())]
    _, applied = play("apply", folder, pairs, "--jobs", 8)
    for meter, settings in pairs:
        one, other = checked[meter.name], applied[meter.name]
        wrong += [f"{meter.name}: {line}" for line in mispredicted(meter, settings, one, other)]
        meter.trace.unlink()  # the trace has the calls of both runs
    assert wrong == []
    return [applied[meter.name]["result"] for meter, _ in pairs]


def test_check_predicts_apply_on_some_generated_plans(folder):
    results = check_batch(folder, range(FEW))
    assert results.count("changed") > FEW / 2


@pytest.mark.full
@pytest.mark.parametrize("first", range(FEW, ALL, BATCH))
def test_check_predicts_apply_on_generated_plans(first, folder):
    results = check_batch(folder, range(first, min(first + BATCH, ALL)))
    assert results.count("changed") > len(results) / 2


# --- show


def shown(folder, meters):
    path = folder / "meters.toml"
    path.write_text(plan_text([(meter.name, meter.console, {}) for meter in meters]))
    done = run_fleet("show", path, "--records", folder / "records")
    return done, done.stdout


def test_the_output_of_show_is_a_plan_of_the_meter(folder):
    meters = [FleetMeter(folder / f"m{number}", fleet_plans.generate(SEED, number)[1]) for number in range(20)]
    done, text = shown(folder, meters)
    assert done.returncode == 0
    plan = tomllib.loads(text)
    tables = {table["name"]: table for table in plan["meter"]}  # `show` prints the tables in any order
    assert tables.keys() == {meter.name for meter in meters}
    for meter in meters:
        table = tables[meter.name]
        held = read_settings(meter.leaves())
        assert table["settings"].items() <= held.items(), meter.name
        missing = held.keys() - table["settings"].keys()
        assert not [key for key in missing if fleet_plans.can_plan(key, held[key], meter.leaves())], meter.name
        assert not fleet_verdict.writes(meter.calls())
    path = folder / "shown.toml"
    path.write_text(text)
    again = run_fleet("check", path, "--records", folder / "records")
    assert again.returncode == 0, again.stdout + again.stderr


def test_a_configured_meter_becomes_the_plan_for_another(folder):
    _, leaves, _ = next(made for made in (fleet_plans.generate(SEED, number) for number in range(200))
                        if all(fleet_plans.can_plan(key, value, made[1])
                               for key, value in read_settings(made[1]).items())
                        and read_settings(made[1])["media_type"] in fleet_plans.supported_types(FACTORY_LEAVES))
    _, text = shown(folder, [FleetMeter(folder / "first", leaves)])
    settings = tomllib.loads(text)["meter"][0]["settings"]
    assert settings.keys() == fleet_plans.LEAVES.keys()
    other = FleetMeter(folder / "other")
    _, results = play("apply", folder, [(other, settings)])
    assert results["other"]["result"] == "changed"
    assert read_settings(other.leaves()) == read_settings(leaves)
