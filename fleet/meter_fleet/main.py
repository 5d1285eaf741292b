"""The command line of meter-fleet."""

from __future__ import annotations

import argparse
import fnmatch
import sys
from collections.abc import Sequence
from pathlib import Path

from meter_fleet import VERSION
from meter_fleet.fleet import DEFAULT_JOBS, DEFAULT_RECORDS, run
from meter_fleet.plan import Meter, PlanError, plan_text, read_plans
from meter_fleet.progress import display, result_text
from meter_fleet.results import EXIT_STATUS, Command, Result, as_json, exit_status

DESCRIPTION = "Applies a plan of settings to many meters, through the menus on their consoles."
EPILOG = """exit status, the worst of all meters:
  0  ok or changed    1  differs    2  rejected    3  unreachable    4  unknown"""
WHAT = {
    Command.SHOW: "read every meter and print its settings as a plan; changes nothing",
    Command.CHECK: "print what apply would change; changes nothing",
    Command.APPLY: "apply the plan to every meter, and verify the result",
}


def number_of_jobs(text: str) -> int:
    if not text.isdecimal() or not 1 <= int(text) <= 10000:
        raise argparse.ArgumentTypeError("must be a number from 1 to 10000")
    return int(text)


def make_parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="meter-fleet", description=DESCRIPTION, epilog=EPILOG,
        formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--version", action="version", version=f"meter-fleet {VERSION}")
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")
    for command in Command:
        one = commands.add_parser(command.value, help=WHAT[command], description=WHAT[command],
                                  epilog=EPILOG,
                                  formatter_class=argparse.RawDescriptionHelpFormatter)
        one.add_argument("plans", nargs="+", type=Path, metavar="PLAN", help="a plan in TOML")
        one.add_argument("--only", action="append", default=[], metavar="NAME",
                         help="only meters whose name matches this shell pattern; may be repeated")
        one.add_argument("--jobs", type=number_of_jobs, default=DEFAULT_JOBS, metavar="N",
                         help="number of meters at the same time (default %(default)s)")
        one.add_argument("--records", type=Path, default=DEFAULT_RECORDS, metavar="DIR",
                         help="directory for the transcripts (default %(default)s)")
        one.add_argument("--json", action="store_true",
                         help="print one JSON object per line when a meter ends")
    return parser


def complain(text: str) -> None:
    print(f"meter-fleet: {text}", file=sys.stderr)


def report_rejected(error: PlanError, as_objects: bool) -> int:
    names: dict[str, list[str]] = {}
    for problem in error.problems:
        print(problem, file=sys.stderr)
        if problem.meter:
            names.setdefault(problem.meter, []).append(str(problem))
    if as_objects:
        for name, messages in names.items():
            print(as_json(Result(name, "rejected", messages=messages)))
    return EXIT_STATUS["rejected"]


def selected(meters: list[Meter], patterns: list[str]) -> list[Meter]:
    return [one for one in meters if not patterns
            or any(fnmatch.fnmatchcase(one.name, pattern) for pattern in patterns)]


def text_of(meter: Meter, command: Command, result: Result) -> str:
    if command is Command.SHOW and result.result == "ok":
        return plan_text(meter, result.settings)
    return result_text(result)


def main(arguments: Sequence[str]) -> int:
    """Runs meter-fleet with these arguments. Returns the exit status."""
    options = make_parser().parse_args(arguments)
    command = Command(options.command)
    try:
        meters = selected(read_plans(options.plans), options.only)
    except PlanError as error:
        return report_rejected(error, options.json)
    if not meters:
        complain(f"no meter is named {' or '.join(options.only)}")
        return EXIT_STATUS["rejected"]
    by_name = {one.name: one for one in meters}
    shown = display(len(meters))
    with shown:
        def on_result(result: Result) -> None:
            meter = by_name[result.name]
            shown.done(result,
                       as_json(result) if options.json else text_of(meter, command, result))
            for message in () if result.result in ("ok", "changed", "differs") else result.messages:
                shown.complain(f"{result.name}: {message}")

        results = run(meters, command, jobs=options.jobs, records=options.records,
                      on_step=shown.step, on_result=on_result)
    return exit_status(results)
