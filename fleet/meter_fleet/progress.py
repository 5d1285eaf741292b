"""Prints the results and shows the progress. On a terminal, the display has one line for each meter
in progress, the totals and the time left."""

from __future__ import annotations

import sys
import time
from collections.abc import Callable
from dataclasses import dataclass, field
from types import TracebackType
from typing import TYPE_CHECKING, Protocol

from meter_fleet.plan import shown
from meter_fleet.results import Result

if TYPE_CHECKING:
    from rich.console import RenderableType

LINES_BESIDES = 4  # the number of terminal lines that cannot show a meter


class Display(Protocol):
    """Prints results to standard output and messages to standard error."""

    def __enter__(self) -> object: ...

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None: ...

    def step(self, name: str, step: str) -> None: ...

    def done(self, result: Result, text: str) -> None: ...

    def complain(self, text: str) -> None: ...


def result_text(result: Result) -> str:
    """Returns one line with the result of a meter, and one more line for each difference."""
    lines = [f"{result.name}: {result.result} ({result.seconds:.1f} s)"]
    lines += [f"    {one.setting}: {shown(one.before)} -> {shown(one.after)}"
              for one in result.diff]
    return "\n".join(lines)


@dataclass
class Plain:
    """Prints results and messages without progress, because standard error is not a terminal."""

    def __enter__(self) -> object:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        sys.stdout.flush()

    def step(self, name: str, step: str) -> None:
        """Prints nothing, because this display shows no progress."""

    def done(self, result: Result, text: str) -> None:
        del result  # only the class Rich counts results
        print(text, flush=True)

    def complain(self, text: str) -> None:
        print(text, file=sys.stderr, flush=True)


@dataclass
class Totals:
    count: int
    started: float = field(default_factory=time.monotonic)
    results: dict[str, int] = field(default_factory=dict)
    working: dict[str, tuple[str, float]] = field(default_factory=dict)

    def text(self) -> str:
        done = sum(self.results.values())
        parts = [f"{done} of {self.count} meters"]
        parts += [f"{count} {result}" for result, count in sorted(self.results.items())]
        return ", ".join(parts) + self.time_left(done)

    def time_left(self, done: int) -> str:
        if done == 0:
            return ""
        seconds = (time.monotonic() - self.started) / done * (self.count - done)
        return f"; about {int(seconds) // 60}:{int(seconds) % 60:02} left"


class Rich:
    """The display on a terminal. If standard output is a terminal too, the results scroll above the
    display."""

    def __init__(self, count: int) -> None:
        from rich.console import Console  # imported only here, because the library loads slowly
        from rich.live import Live

        self.totals = Totals(count)
        self.console = Console(stderr=True)
        self.live = Live(get_renderable=self.render, console=self.console, refresh_per_second=4,
                         transient=True, redirect_stdout=False, redirect_stderr=False)

    def render(self) -> RenderableType:
        from rich.console import Group
        from rich.table import Table
        from rich.text import Text

        table = Table.grid(padding=(0, 2))
        room = max(self.console.height - LINES_BESIDES, 1)
        now = time.monotonic()
        for name, (step, since) in list(self.totals.working.items())[:room]:
            table.add_row(Text(name), Text(step), Text(f"{now - since:.0f} s", justify="right"))
        if (hidden := len(self.totals.working) - room) > 0:
            table.add_row(Text(f"and {hidden} more"), Text(""), Text(""))
        return Group(table, Text(self.totals.text(), style="bold"))

    def __enter__(self) -> object:
        self.live.start()
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.live.stop()
        self.console.print(self.totals.text(), highlight=False)

    def step(self, name: str, step: str) -> None:
        _, since = self.totals.working.get(name, ("", time.monotonic()))
        self.totals.working[name] = (step, since)

    def done(self, result: Result, text: str) -> None:
        self.totals.working.pop(result.name, None)
        self.totals.results[result.result] = self.totals.results.get(result.result, 0) + 1
        if sys.stdout.isatty():
            self.console.print(text, markup=False, highlight=False, soft_wrap=True)
        else:
            print(text, flush=True)

    def complain(self, text: str) -> None:
        self.console.print(text, markup=False, highlight=False, soft_wrap=True)


def display(count: int, is_terminal: Callable[[], bool] = sys.stderr.isatty) -> Display:
    if is_terminal():
        return Rich(count)
    return Plain()
