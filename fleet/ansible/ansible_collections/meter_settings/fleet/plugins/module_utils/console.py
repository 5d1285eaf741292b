# Copyright: the authors of meter-settings
# See the LICENSE file of this collection

"""The code that meter_settings and meter_settings_info share. It runs meter-fleet on one meter."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import json
import traceback

from ansible.module_utils.basic import missing_required_lib

LIBRARY_ERROR = None
try:
    from pathlib import Path

    from meter_fleet import fleet, plan, results
except ImportError:
    LIBRARY_ERROR = traceback.format_exc()

CONSOLE_OPTIONS = dict(
    console=dict(type="str", required=True),
    name=dict(type="str", default="meter"),
    program=dict(type="str", default="meter-settings"),
    login=dict(
        type="dict",
        options=dict(
            user=dict(type="str"),
            password_env=dict(type="str", no_log=False),
            prompt=dict(type="str"),
        ),
    ),
    records=dict(type="path", default="meter-fleet-records"),
)
FAILURES = ("rejected", "unreachable", "unknown")


def named(table):
    """Returns the members of `table` whose value is not None. The value is None if the task does
    not set the member."""
    return dict((key, value) for key, value in (table or {}).items() if value is not None)


def meter_table(parameters, settings):
    """Returns the meter's `[[meter]]` table of a plan, as a dictionary."""
    table = dict(name=parameters["name"], console=parameters["console"], settings=settings)
    if not parameters["console"].startswith("run:"):  # a "run:" command starts the utility itself
        table["program"] = parameters["program"]
        if named(parameters["login"]):
            table["login"] = named(parameters["login"])
    return table


def operate(module, command, settings):
    """Runs a command of meter-fleet on the task's meter. Returns a dictionary with the members that
    `meter-fleet --json` prints. If the command fails, ends the module with a message."""
    if LIBRARY_ERROR:
        module.fail_json(msg=missing_required_lib("meter_fleet"), exception=LIBRARY_ERROR)
    try:
        meter = plan.meter_of(meter_table(module.params, settings))
    except plan.PlanError as error:
        module.fail_json(msg=str(error), result="rejected")
    done = fleet.run([meter], results.Command(command), records=Path(module.params["records"]))[0]
    result = json.loads(results.as_json(done))
    if result["result"] in FAILURES:
        result["msg"] = "; ".join(result["messages"]) or result["result"]
        module.fail_json(**returned(result))
    return result


def returned(result):
    """Converts a result of meter-fleet to a result of an Ansible module. Replaces the member `diff`
    with the old and new values that Ansible's diff mode shows."""
    differences = result.pop("diff")
    result["diff"] = dict(
        before=dict((one["setting"], one["before"]) for one in differences),
        after=dict((one["setting"], one["after"]) for one in differences),
        before_header=result["name"],
        after_header=result["name"],
    )
    return result
