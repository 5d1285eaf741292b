"""Collects the dialogues as tests. Dialogues that wait for time-outs start first."""

import collections
import os
import pathlib
import re
import shlex
import tempfile
import tomllib

import pytest
from harness import dialogue
from harness.program import BUILD
from harness.meter import FACTORY, Meter

WAIT = re.compile(r"‹wait (\d+) s›")


@pytest.fixture
def meter(request):
    """Returns a new simulated meter with the factory defaults. If the test fails, its directory is kept."""
    made = Meter(request.node.name, tomllib.loads(FACTORY.read_text()))
    failures = request.session.testsfailed
    yield made
    if request.session.testsfailed == failures:
        made.remove()


@pytest.fixture
def plain_folder(monkeypatch):
    """Returns a new directory for variables such as PATH. The path of this directory has no colon, but the
    project's own path may have one. Builds in several such directories share the files of ccache."""
    with tempfile.TemporaryDirectory() as made:
        monkeypatch.setenv("CCACHE_BASEDIR", tempfile.gettempdir())
        yield pathlib.Path(made)


def pytest_collect_file(parent, file_path):
    if file_path.suffix == ".dialogue":
        return DialogueFile.from_parent(parent, path=file_path)
    return None


class DialogueFile(pytest.File):
    def collect(self):
        yield DialogueItem.from_parent(self, name=self.path.stem)


class DialogueItem(pytest.Item):
    def runtest(self):
        report = dialogue.play(dialogue.Dialogue(self.path))
        if report:
            raise DialogueFailure(report)

    def repr_failure(self, excinfo, style=None):
        if isinstance(excinfo.value, DialogueFailure):
            return str(excinfo.value)
        return super().repr_failure(excinfo, style)

    def reportinfo(self):
        return self.path, None, str(self.path.name)


class DialogueFailure(Exception):
    pass


def seconds_waited(item):
    """Returns the seconds that the dialogue of a test waits for time-outs, or the seconds that the test's mark
    `waits` states."""
    if not isinstance(item, DialogueItem):
        mark = item.get_closest_marker("waits")
        return mark.args[0] if mark else 0
    return sum(int(seconds) for seconds in WAIT.findall(item.path.read_text(encoding="utf-8")))


def pytest_addoption(parser):
    parser.addoption("--quick", action="store_true", help="skip the tests that wait or build")
    parser.addoption("--page", action="store_true", help="also run the tests of the page in browsers")
    parser.addoption("--fleet", action="store_true", help="also run the tests of meter-fleet on consoles")
    parser.addoption("--full", action="store_true", help="also run the tests that take minutes")


def pytest_terminal_summary(terminalreporter):
    """Writes the names of the failed tests to the file that $FAILED_TESTS names. Each line has one name,
    quoted for a shell."""
    path = os.environ.get("FAILED_TESTS")
    reports = [*terminalreporter.stats.get("failed", ()), *terminalreporter.stats.get("error", ())]
    if path and reports:
        names = sorted({shlex.quote(report.nodeid) for report in reports})
        pathlib.Path(path).write_text("".join(f"{name}\n" for name in names))


def pytest_configure(config):
    config.addinivalue_line("markers", "host_only: has the same result on every build, so runs on the host build only")
    config.addinivalue_line("markers", "builds: builds the program again; skipped with --quick")
    config.addinivalue_line("markers", "page: needs the page and browsers; runs only with --page")
    config.addinivalue_line("markers", "slow: takes seconds; skipped with --quick")
    config.addinivalue_line("markers", "waits(seconds): waits about this long, so it starts early; skipped with --quick")
    config.addinivalue_line("markers", "fleet: takes minutes on consoles, or measures times; runs only with --fleet")
    config.addinivalue_line("markers", "full: takes minutes; runs only with --full")


def is_left_out(item, config):
    if item.get_closest_marker("page") and not config.getoption("--page"):
        return True
    if item.get_closest_marker("fleet") and not config.getoption("--fleet"):
        return True
    if item.get_closest_marker("full"):
        return not config.getoption("--full")
    takes_long = seconds_waited(item) or item.get_closest_marker("builds") or item.get_closest_marker("slow")
    return config.getoption("--quick") and takes_long


def pytest_runtest_setup(item):
    if item.get_closest_marker("host_only") and BUILD.name in ("asan", "powerpc", "web"):
        pytest.skip("has the same result on every build; runs on the host build")


def pytest_collection_modifyitems(config, items):
    items.sort(key=seconds_waited, reverse=True)  # a stable sort: tests with equal times keep their order
    left_out = [item for item in items if is_left_out(item, config)]
    config.hook.pytest_deselected(items=left_out)
    items[:] = [item for item in items if item not in left_out]


@pytest.hookimpl(optionalhook=True)
def pytest_xdist_make_scheduler(config, log):
    from xdist.scheduler import LoadScheduling

    class OneAtATime(LoadScheduling):
        """Assigns one test at a time to a worker, alternately from the front and from the back of the list.
        The tests with waits are at the front.

        A worker gets its next test while its current test still runs. Because of the alternation, a test
        with waits never queues behind another test with waits."""

        def __init__(self, *arguments):
            super().__init__(*arguments)
            self.turns = collections.Counter()

        def schedule(self):
            if self.collection is None:
                if not self._check_nodes_have_same_collection():
                    return
                self.collection = next(iter(self.node2collection.values()))
                self.pending[:] = range(len(self.collection))
            for _ in range(2):
                for node in self.nodes:
                    self.check_schedule(node)

        def check_schedule(self, node, duration=0):
            if node.shutting_down:
                return
            if not self.pending:
                node.shutdown()
            elif len(self.node2pending[node]) < 2:
                if self.turns[node] % 2:
                    self.pending.insert(0, self.pending.pop())
                self.turns[node] += 1
                self._send_tests(node, 1)

    return OneAtATime(config, log)
