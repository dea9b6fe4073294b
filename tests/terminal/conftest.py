"""What every terminal test gets: shells that are ended and looked over when the test is done."""

import pytest

from harness import Shell, WaitFailed, missing_environment
from locales import locale_folder   # a fixture


def pytest_configure(config):
    config.addinivalue_line(
        "markers", "expected_skip: this test may be skipped; any other skip counts as a failure")


def pytest_sessionstart(session):
    problem = missing_environment()
    if problem:
        pytest.exit(problem, returncode=4)


class _Shells:
    """Starts the shells of one test, and ends them."""

    def __init__(self, folder):
        self._folder = folder
        self.started = []

    def __call__(self, **options):
        home = self._folder / ("home%d" % len(self.started))
        home.mkdir()
        shell = Shell(home, **options)
        self.started.append(shell)
        return shell

    def close(self):
        problems = []
        for shell in self.started:
            problems += shell.close()
        return problems


@pytest.fixture
def terminal(request, tmp_path):
    """Starts shells: `shell = terminal(columns=40)`; see `harness.Shell` for the options."""
    shells = _Shells(tmp_path)
    request.node.shells = shells
    yield shells
    problems = shells.close()
    assert not problems, "\n".join(problems)


@pytest.fixture
def shell(terminal):
    """A shell at an ordinary terminal, with the module imported."""
    return terminal()


def _count_skip_as_failure(item, report):
    if report.skipped and not hasattr(report, "wasxfail"):
        if item.get_closest_marker("expected_skip") is None:
            report.outcome = "failed"
            report.longrepr = "skipped, and no skip was expected: %s" % (report.longrepr,)


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    outcome = yield
    report = outcome.get_result()
    _count_skip_as_failure(item, report)
    shells = getattr(item, "shells", None)
    # A failed wait already tells all of this.
    if report.failed and report.when == "call" and shells is not None:
        if not (call.excinfo and call.excinfo.errisinstance(WaitFailed)):
            for shell in shells.started:
                report.sections.append(("the shell", shell.describe()))


@pytest.hookimpl(hookwrapper=True)
def pytest_make_collect_report(collector):
    outcome = yield
    report = outcome.get_result()
    if report.skipped:
        report.outcome = "failed"
        report.longrepr = "a whole file was skipped: %s" % (report.longrepr,)
