"""Injects faults into all calls that an apply makes to the meter's store. No fault may cause a false
report."""

import collections
import re

import fleet_verdict
import pytest
from fleet_plans import LEAVES, NETWORK, read_setting, read_settings
from fleet_rig import FACTORY_LEAVES, FleetMeter, play, scratch, toml

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

SETTINGS = {
    "dhcp": True, "ip_address": "198.51.100.20", "subnet_mask": "255.255.0.0", "default_gateway": "198.51.100.1",
    "media_type": "10Base-T Full", "primary_dns": "198.51.100.53", "secondary_dns": "",
    "serial_number": "101212346", "options_list": "1A-2C-4-WEB-PQ2", "meter_form": 5, "class_amps": 0,
    "nominal_frequency": 0, "enclosure": "K1F",
}  # fmt: skip
OPTION_LEAF = re.compile(r"changed: /VMIC/Options/\S+ differs from the options list$")
FAULTY = ("pcd_init", "get_leaves", "set_leaf", "set_leaves", "clear_leaves")


def sessions_of(calls):
    """Splits the calls by session. Returns one list of calls for each session."""
    sessions = []
    for call in calls:
        if call["call"] == "pcd_init":
            sessions.append([])
        sessions[-1].append(call)
    return sessions


def paths_of(call):
    if "path" in call:
        return [call["path"]]
    return call.get("paths") or [leaf["path"] for leaf in call.get("leaves", [])]


def fault(kind, after, times, **how):
    """Returns the text of a fault for faults.toml. The fault is in calls of the function `kind`. It skips the
    first `after` calls and applies to the next `times` calls, or to all later calls if `times` is None."""
    lines = [f'call = "{kind}"', f"after = {after}"]
    lines += [f"times = {times}"] if times else []
    lines += [f"{key} = {value!r}".replace("'", '"') for key, value in how.items()]
    return "[[fault]]\n" + "\n".join(lines) + "\n"


def every_fault(calls):
    """Yields four faults for each call that a session can make. A fault is a pair: a name and the text of a
    faults.toml."""
    longest = collections.Counter()
    for session in sessions_of(calls):
        counts = collections.Counter(call["call"] for call in session)
        longest |= counts
    for kind in FAULTY:
        for after in range(longest[kind]):
            for times, how_long in ((1, "once"), (None, "from-then-on")):
                yield f"{kind}-{after}-result-{how_long}", fault(kind, after, times, result=-1)
                yield f"{kind}-{after}-status-{how_long}", fault(kind, after, times, status=5)


def every_leaf_fault(calls):
    """Yields three faults for each leaf and each kind of call that names the leaf. The faults apply to the
    first such call, to all such calls, and to all such calls except the first. A fault is a pair: a name and
    the text of a faults.toml."""
    pairs = {(call["call"], path) for call in calls if call["call"] in FAULTY for path in paths_of(call)}
    for kind, path in sorted(pairs):
        name = f"{kind}-{path.removesuffix('/Value').replace('/', '.')}"
        for after, times in ((0, 1), (0, None), (1, None)):
            how_long = f"{after}-{'once' if times else 'from-then-on'}"
            yield f"{name}-status-{how_long}", fault(kind, after, times, path=path, status=5)


@pytest.fixture(scope="module")
def clean_calls():
    folder = scratch("clean-apply")
    meter = FleetMeter(folder / "clean")
    _, results = play("apply", folder, [(meter, SETTINGS)])
    assert results["clean"]["result"] == "changed"
    return meter.calls()


def unreported(meter, result):
    """Returns the planned settings that changed on the meter although the result does not mention them."""
    said = " ".join(result["messages"])
    after = meter.leaves()
    return [key for key in SETTINGS if f"{key}" not in said and key not in result["settings"]
            and not fleet_verdict.same(read_setting(after, key), read_setting(FACTORY_LEAVES, key))]


def is_invisible(name, line):
    """Returns True for an error that meter-fleet cannot see. The utility derives the option leaves from the
    options list and ignores the statuses when it writes these leaves. No menu shows these leaves."""
    return name.startswith("set_leaves") and "-status-" in name and OPTION_LEAF.search(line) is not None


def check_all(folder, faults):
    meters = {f"m{i}": FleetMeter(folder / f"m{i}", faults=text) for i, (_, text) in enumerate(faults)}
    _, results = play("apply", folder, [(meter, SETTINGS) for meter in meters.values()], "--jobs", 8)
    wrong = []
    for (name, _), meter in zip(faults, meters.values()):
        result = results[meter.name]
        found = [line for line in fleet_verdict.problems(meter, SETTINGS, result)
                 if not is_invisible(name, line)]
        if result["result"] == "unknown":
            found += [f"the result does not mention {key}" for key in unreported(meter, result)]
        wrong += [f"{name} ({meter.folder}): {line}" for line in found]
    assert wrong == []
    print(f"{len(faults)} faults")
    return collections.Counter(result["result"] for result in results.values())


def some(faults, request, share):
    """Returns all faults if pytest runs with --full. Otherwise returns one fault in every `share` faults."""
    return faults if request.config.getoption("--full") else faults[::share]


def test_every_fault_at_every_call(clean_calls, folder, request):
    faults = some(list(every_fault(clean_calls)), request, 7)
    assert check_all(folder, faults)["unknown"] > 3


def test_every_fault_of_every_leaf(clean_calls, folder, request):
    faults = some(list(every_leaf_fault(clean_calls)), request, 11)
    assert check_all(folder, faults)["unknown"] > 3


def test_a_failed_immediate_write_with_settings_saved_is_unknown(folder):
    meter = FleetMeter(folder / "mirror", faults=fault("set_leaf", 0, None, status=5))
    _, results = play("apply", folder, [(meter, {"ip_address": "198.51.100.20"})])
    assert results["mirror"]["result"] == "unknown"
    assert meter.leaves()[LEAVES["ip_address"]] == "198.51.100.20"
    assert "198.51.100.20" in " ".join(results["mirror"]["messages"])
    for key, held in read_settings(FACTORY_LEAVES).items():
        if LEAVES[key].startswith(NETWORK) and key != "ip_address":
            assert f"the meter shows {key} = {toml(held)}, which is not planned" in results["mirror"]["messages"]


@pytest.mark.parametrize("key, held, planned", [("dhcp", False, True), ("secondary_dns", "192.0.2.54", ""),
                                                ("media_type", "100Base-TX Full", ""), ("meter_form", 2, "")])
def test_a_planned_value_is_entered_even_if_it_can_never_be_read(key, held, planned, folder):
    """The screens show the planned value although the store has another value, because the utility cannot
    read the leaf. meter-fleet must enter the planned value together with the other changes."""
    leaves = {**FACTORY_LEAVES, LEAVES[key]: held}
    meter = FleetMeter(folder / "unread", leaves, faults=fault("get_leaves", 0, None, path=LEAVES[key], status=5))
    settings = {key: planned, "ip_address": "198.51.100.20"}
    _, results = play("apply", folder, [(meter, settings)])
    result = results["unread"]
    assert result["result"] == "changed"
    assert [entry["setting"] for entry in result["diff"]] == ["ip_address"]
    assert fleet_verdict.problems(meter, settings, result) == []
