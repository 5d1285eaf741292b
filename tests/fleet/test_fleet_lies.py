"""One screen shows a wrong value. Either the screen shows the planned value although the meter has another
value, or the screen shows another value although the meter has the planned value."""

import pytest
from fleet_plans import LEAVES
from fleet_rig import FACTORY_LEAVES, FleetMeter, play
from fleet_verdict import problems

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

# Maps each setting to two texts: its factory default and a planned value, as the screen shows them. Damage on
# the line can turn the first text into the second text.
NEARBY = {
    "ip_address": ("192.0.2.10", "192.0.2.11"),
    "subnet_mask": ("255.255.255.0", "255.255.255.8"),
    "default_gateway": ("192.0.2.1 ", "192.0.2.3 "),
    "primary_dns": ("192.0.2.53", "192.0.2.57"),
    "secondary_dns": ("192.0.2.54", "192.0.2.55"),
    "serial_number": ("091512345", "091512341"),
    "meter_form": ("3 = Form 9", "2 = Form 8"),
    "enclosure": (":  S   ", ":  R   "),
    "nominal_frequency": ("1 = 60 Hz", "0 = 50 Hz"),
    "dhcp": ("Disabled", "Enabled "),
}
PLANNED = {"meter_form": 2, "enclosure": "R", "nominal_frequency": 0, "dhcp": True, "default_gateway": "192.0.2.3"}
OCCURRENCES = range(5)


def planned(setting):
    return PLANNED.get(setting, NEARBY[setting][1])


def lying(folder, setting, occurrence, session):
    shown, instead = NEARBY[setting]
    lie = {"from": shown, "to": instead, "occurrence": occurrence, "session": session}
    name = f"{setting}-{session}-{occurrence}"
    return FleetMeter(folder / name, line={"substitutions": [lie]}), {setting: planned(setting)}


@pytest.mark.parametrize("setting", NEARBY)
def test_one_screen_with_the_planned_value_is_not_trusted(setting, folder):
    pairs = [lying(folder, setting, occurrence, 0) for occurrence in OCCURRENCES]
    _, results = play("apply", folder, pairs)
    lies = 0
    for meter, settings in pairs:
        assert problems(meter, settings, results[meter.name]) == []
        lies += any(event["event"] == "substituted" for session in meter.sessions() for event in session)
    assert lies > 0


@pytest.mark.parametrize("setting", NEARBY)
def test_one_screen_with_a_wrong_value_does_no_harm(setting, folder):
    """The meter has the planned values, but one screen shows another value."""
    shown, instead = NEARBY[setting]
    pairs = []
    for occurrence in OCCURRENCES:
        lie = {"from": shown, "to": instead, "occurrence": occurrence}
        leaf = FACTORY_LEAVES[LEAVES[setting]]
        pairs.append((FleetMeter(folder / f"{setting}-{occurrence}", line={"substitutions": [lie]}), {setting: leaf}))
    _, results = play("apply", folder, pairs)
    for meter, settings in pairs:
        assert problems(meter, settings, results[meter.name]) == []
        assert results[meter.name]["result"] in ("ok", "changed", "unknown")
