"""Tests which readings of a meter are trusted, and which values are read twice."""

import types

import pytest
from meter_fleet import worker
from meter_fleet.session import looks_damaged
from meter_fleet.worker import Reading

pytestmark = pytest.mark.host_only

SLOW, FAST = worker.SLOW_SECONDS + 1, 0.1
GOAL = {"enclosure": "RK"}
AS_PLANNED, OTHER = {"enclosure": "RK", "dhcp": "true"}, {"enclosure": "S", "dhcp": "true"}
UNPLANNED = {"enclosure": "RK", "dhcp": "false"}


def job(*readings, first=AS_PLANNED, goal=None):
    made = [Reading(values, is_clean, seconds) for values, is_clean, seconds in readings]
    held = made[-1].values if made else {}
    return types.SimpleNamespace(readings=made, held=held, first=first, goal=GOAL if goal is None else goal)


@pytest.mark.parametrize("readings, is_believed", [
    ([], False),
    ([(AS_PLANNED, True, FAST)], False),
    ([(AS_PLANNED, True, SLOW)], True),
    ([(AS_PLANNED, False, SLOW)], False),
    ([(OTHER, True, SLOW)], False),
    ([(UNPLANNED, True, SLOW)], False),
    ([(AS_PLANNED, True, FAST)] * 2, True),
    ([(OTHER, False, SLOW)] * 2, True),
    ([(OTHER, True, FAST), (AS_PLANNED, True, FAST)], False),
    ([(OTHER, True, FAST)] + [(AS_PLANNED, True, FAST)] * 2, False),
    ([(OTHER, True, FAST)] + [(AS_PLANNED, True, FAST)] * 3, True),
])
def test_which_readings_count(readings, is_believed):
    assert worker.is_believed(job(*readings)) is is_believed


def test_show_reads_twice_on_a_slow_line():
    assert not worker.is_believed(job((AS_PLANNED, True, SLOW), goal={}))
    assert worker.is_believed(job(*[(AS_PLANNED, True, SLOW)] * 2, goal={}))


@pytest.mark.parametrize("text, is_damaged", [
    ("G3", False), ("0.0.0.0 and more", False), ("", False),
    ('G3                              "', True), ("1\x157.1.254.99", True), ("9C-\xd0Q1", True),
])
def test_values_that_look_damaged(text, is_damaged):
    assert looks_damaged(text) is is_damaged
