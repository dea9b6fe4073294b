"""What the scripts of this project promise, tried on a copy of them.

Nothing is installed, fetched or built here: the commands that would do it are
stand-ins, which note what they were called with. Whether it all works with the
real ones is what scripts/check-fresh tells.
"""

import os
import re
import shutil
import subprocess
from pathlib import Path

import pytest

SCRIPTS = Path(__file__).resolve().parents[2] / "scripts"


class Project:
    """A copy of the scripts in a folder with a blank in its name, and a folder
    of stand-ins that comes first on the PATH."""

    def __init__(self, folder):
        self.folder = folder / "the project"
        shutil.copytree(SCRIPTS, self.folder / "scripts")
        self.bin = folder / "bin"
        self.bin.mkdir()
        self.calls = folder / "calls"
        self.python = self.stand_in("good-python", 'echo "$0"')
        # Every package is installed, and nothing else is asked for.
        self.stand_in(
            "dpkg-query", 'shift 3; for package; do echo "$package installed"; done')
        self.stand_in("apt-get", "exit 1")
        self.stand_in("python2.7", "echo no such version >&2; exit 127")
        self.stand_in("python2", "exit 127")

    def stand_in(self, name, body):
        path = self.bin / name
        path.write_text(
            '#!/bin/bash\n{ printf %%s "${0##*/}"; printf " %%s" "$@"; echo; } >>"%s"\n%s\n'
            % (self.calls, body))
        path.chmod(0o755)
        return path

    def called(self, name):
        """The arguments of each call of that stand-in."""
        if not self.calls.exists():
            return []
        return [line[len(name) + 1:] for line in self.calls.read_text().splitlines()
                if line.split(" ")[0] == name]

    def run(self, *command, **environment):
        variables = {"PATH": "%s:/usr/bin:/bin" % self.bin, "LC_ALL": "C"}
        variables.update({name: str(value) for name, value in environment.items()})
        return subprocess.run(
            [str(part) for part in command], env=variables, cwd=self.folder,
            stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=120)

    def script(self, name, *arguments, **environment):
        return self.run(self.folder / "scripts" / name, *arguments, **environment)

    def function(self, commands, **environment):
        """Runs these commands where the functions of lib.sh are known."""
        return self.run("bash", "-euo", "pipefail", "-c",
                        ". scripts/lib.sh\n" + commands, **environment)


@pytest.fixture
def project(tmp_path):
    return Project(tmp_path)


# ---------------------------------------------------------------------------
# Installing packages


def some_missing(project):
    project.stand_in("dpkg-query", 'echo "cmake installed"; '
                     'echo "g++ config-files"; echo "ninja-build not-installed"; exit 1')
    project.stand_in("sudo", '[[ $1 != -n ]] || shift; exec "$@"')


@pytest.mark.parametrize("profile", ["run", "test", "bench", "tools"])
def test_nothing_is_done_when_nothing_is_missing(project, profile):
    done = project.script("setup", profile, PYTHON=project.python)
    assert done.returncode == 0, done.stderr
    assert done.stdout == ""
    assert project.called("apt-get") == []


def test_exactly_what_is_missing_is_installed(project):
    some_missing(project)
    project.stand_in("apt-get", "exit 0")
    done = project.script("setup", "run", PYTHON=project.python)
    assert done.returncode == 0, done.stderr
    update, install = project.called("apt-get")
    assert update.endswith("update")
    assert install.endswith("install --no-install-recommends g++ ninja-build libedit-dev")


def test_a_source_that_cannot_be_read_does_not_stop_the_installing(project):
    some_missing(project)
    project.stand_in("apt-get", '[[ "$*" != *update ]]')
    done = project.script("setup", PYTHON=project.python)
    assert done.returncode == 0, done.stderr


def test_failing_to_install_is_told_with_what_apt_said(project):
    some_missing(project)
    project.stand_in("apt-get", "echo no such package >&2; exit 100")
    done = project.script("setup", PYTHON=project.python)
    assert done.returncode == 4
    assert "no such package" in done.stderr
    assert "libedit-dev" in done.stderr


def test_without_root_or_sudo_the_packages_are_named(project):
    some_missing(project)
    done = project.function('can_be_root() { return 1; }\n'
                            'install_packages "${RUN_PACKAGES[@]}"')
    assert done.returncode == 3
    assert "g++ ninja-build libedit-dev" in done.stderr
    assert project.called("apt-get") == []


@pytest.mark.parametrize("arguments", [["all"], ["run", "test"], [""]])
def test_an_unknown_profile_is_refused(project, arguments):
    done = project.script("setup", *arguments, PYTHON=project.python)
    assert done.returncode == 2
    assert "usage" in done.stderr


@pytest.mark.parametrize("arguments", [["all"], ["--lines"], ["--lines", "many"], ["--minutes", "-1"]])
def test_an_unknown_kind_of_soak_is_refused(project, arguments):
    done = project.script("soak", *arguments, PYTHON=project.python)
    assert done.returncode == 2
    assert "usage" in done.stderr


# ---------------------------------------------------------------------------
# Choosing a Python 2.7


def test_the_python_that_was_asked_for_is_taken_as_named(project):
    done = project.script("setup", "python", PYTHON="../bin/good-python")
    assert done.returncode == 0, done.stderr
    assert done.stdout.endswith("/good-python\n")
    assert os.path.samefile(done.stdout.strip(), project.python)
    assert os.path.isabs(done.stdout)


@pytest.mark.parametrize("body, why", [
    ("echo no such version >&2; exit 127", "no such version"),
    ('exec python3 "$@"', "Python 3"),
    ("exit 1", "no answer"),
])
def test_an_unusable_python_that_was_asked_for_is_refused(project, body, why):
    project.stand_in("bad-python", body)
    done = project.script("setup", PYTHON="bad-python")
    assert done.returncode == 5
    assert why in done.stderr


def test_a_python_that_is_not_there_is_refused(project):
    done = project.script("setup", PYTHON="/no/such/python")
    assert done.returncode == 5
    assert "/no/such/python" in done.stderr


def test_a_stand_in_on_the_path_that_does_not_work_is_passed_over(project):
    project.stand_in("python2", "echo %s" % project.python)
    done = project.script("setup", "python")
    assert done.returncode == 0, done.stderr
    assert done.stdout == "%s\n" % project.python


def private_python(project):
    path = project.folder / ".python2.7/tree/usr/bin/python2.7"
    path.parent.mkdir(parents=True)
    shutil.copy(project.python, path)
    (path.parents[1] / "lib/x86_64-linux-gnu").mkdir(parents=True)
    return path


def test_the_private_python_is_taken_when_the_path_has_none(project):
    path = private_python(project)
    done = project.script("setup", "python")
    assert done.returncode == 0, done.stderr
    assert done.stdout == "%s\n" % path
    assert project.called("apt-get") == []


def test_only_the_private_python_has_libraries_of_its_own(project):
    path = private_python(project)
    done = project.function('python_libraries "%s"; python_libraries /usr/bin/python2.7' % path)
    assert done.stdout == "%s\n" % (path.parents[1] / "lib/x86_64-linux-gnu")


# ---------------------------------------------------------------------------
# Fetching the private Python


def test_a_fetch_that_fails_leaves_nothing(project):
    (project.bin / "apt-get").unlink()
    killed = project.folder / ".python2.7/fetch.killed"
    killed.mkdir(parents=True)
    done = project.script("setup", "python",
                          TAVORIN_DEBIAN_MIRROR="file:/no/such/mirror")
    assert done.returncode == 6, done.stderr
    assert "could not be fetched" in done.stderr
    assert done.stdout == ""
    assert os.listdir(project.folder / ".python2.7") == ["lock"]


def test_a_fetch_without_a_known_mirror_says_so(project):
    done = project.function("debian_mirrors() { :; }\nchoose_python")
    assert done.returncode == 6
    assert "TAVORIN_DEBIAN_MIRROR" in done.stderr


# Source lists of no real hosts.  WEB stands for the scheme, so that nothing here reads as an address
# to fetch from.
ONE_LINE = """\
# deb WEB/commented.example/debian bookworm main
deb-src WEB/sources.example/debian bookworm main
deb WEB/security.example/debian-security bookworm-security main
deb WEB/other.example/tools bookworm-other main
deb WEB/sections.example/tools bookworm tools
deb WEB/another.example/tools bookworm main
deb [arch=amd64 signed-by=/k.gpg] WEB/main.example/debian/ bookworm main contrib
deb WEB/main.example/debian bookworm-updates main
"""

DEB822 = """\
Types: deb
URIs: WEB/main.example/debian
Suites: bookworm bookworm-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg

Enabled: no
Types: deb
URIs: WEB/disabled.example/debian
Suites: bookworm
Components: main

Types: deb
URIs: WEB/security.example/debian-security
Suites: bookworm-security
Components: main
"""


@pytest.mark.parametrize("name, text, expected", [
    ("one.list", ONE_LINE, ["http://main.example/debian", "http://another.example/tools"]),
    ("two.sources", DEB822, ["http://main.example/debian"]),
    ("none.list", "", []),
])
def test_the_mirrors_come_from_the_source_lists(project, tmp_path, name, text, expected):
    (project.bin / "apt-get").unlink()
    parts = tmp_path / "parts"
    parts.mkdir()
    codename = re.search(r"^VERSION_CODENAME=(\S+)", Path("/etc/os-release").read_text(),
                         re.MULTILINE).group(1)
    text = text.replace("bookworm", codename).replace("WEB", "http:/")
    (parts / name).write_text(text)
    settings = tmp_path / "apt.conf"
    settings.write_text('Dir::Etc::sourcelist "/dev/null";\n'
                        'Dir::Etc::sourceparts "%s";\n' % parts)
    done = project.function('debian_mirrors "%s"' % (tmp_path / "work"), APT_CONFIG=settings)
    assert done.stdout.split() == expected


# ---------------------------------------------------------------------------
# Building and running


def buildable(project):
    project.stand_in("cmake", "true")
    (project.folder / "examples").mkdir()
    (project.folder / "examples/shell.py").write_text("")
    return project.stand_in("good-python", """
        [[ $2 == -c || $1 == -c ]] && { echo "$0"; exit; }
        echo "$$"; echo "$PYTHONPATH"; printf '<%s>' "${@:2}" """)


def test_the_demo_becomes_the_shell(project):
    python = buildable(project)
    process = subprocess.Popen(
        [project.folder / "scripts/demo", "one", "two words"],
        env={"PATH": "%s:/usr/bin:/bin" % project.bin, "PYTHON": str(python),
             "PYTHONPATH": "/elsewhere"},
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    output, _ = process.communicate(timeout=60)
    assert output.splitlines() == [
        str(process.pid), "%s/build:/elsewhere" % project.folder, "<one><two words>"]


def test_a_failed_build_is_shown_and_runs_nothing(project):
    python = buildable(project)
    project.stand_in("cmake", "echo it is broken; exit 1")
    done = project.script("demo", PYTHON=python)
    assert done.returncode == 1
    assert "it is broken" in done.stderr
    assert done.stdout == ""


def test_a_build_that_works_says_little(project):
    python = buildable(project)
    project.stand_in("cmake", "echo so much to tell")
    done = project.script("build", PYTHON=python)
    assert done.returncode == 0
    assert len(done.stderr.splitlines()) <= 2
    assert done.stdout == ""


@pytest.mark.parametrize("stored, afresh", [("good-python", False), ("other", True)])
def test_another_python_makes_the_configuring_start_afresh(project, stored, afresh):
    python = buildable(project)
    (project.folder / "build").mkdir()
    (project.folder / "build/CMakeCache.txt").write_text(
        "TAVORIN_PYTHON:FILEPATH=%s/%s\nCMAKE_HOME_DIRECTORY:INTERNAL=%s\n"
        "TAVORIN_TESTS:BOOL=ON\n" % (project.bin, stored, project.folder))
    done = project.script("build", PYTHON=python)
    assert done.returncode == 0
    configure, build = project.called("cmake")
    assert ("--fresh" in configure) == afresh
    assert "-DTAVORIN_PYTHON=%s" % python in configure
    assert "-DTAVORIN_TESTS=ON" in configure
    assert build.endswith("--target=Tavorin")


# ---------------------------------------------------------------------------
# Testing


def runner_says(project, text, status=0):
    """Makes the test runner say that, and prepares what comes before it."""
    python = buildable(project)
    for name in "build", "build-debug", "build-clang", "build-asan":
        (project.folder / name).mkdir()
    said = project.bin / "said"
    said.write_text(text)
    project.stand_in("ctest", 'cat "%s"; exit %d' % (said, status))
    return python


PASSED = "1/2 Test #1: a ....   Passed\n\n100% tests passed, 0 tests failed out of 2\n"
FAILED = "1/2 Test #1: a ....***Failed\n\n50% tests passed, 1 tests failed out of 2\n"
SKIPPED = ("1/2 Test #1: a ....***Skipped\n\n100% tests passed, 0 tests failed out of 2\n"
           "\nThe following tests did not run:\n\t  1 - a (Skipped)\n")
NONE = "No tests were found!!!\n"


def test_passed_tests_pass_in_every_build(project):
    python = runner_says(project, PASSED)
    done = project.script("test", PYTHON=python)
    assert done.returncode == 0, done.stderr
    assert done.stdout.splitlines()[-4:] == [
        name + ": 100% tests passed, 0 tests failed out of 2"
        for name in ("release", "debug", "clang", "asan")]
    calls = project.called("ctest")
    assert ["^unit$" in call for call in calls] == [False, True, True, False]
    assert all("-LE ^long$" in call for call in calls)


@pytest.mark.parametrize("text, status", [
    (FAILED, 8), (SKIPPED, 0), (NONE, 0), ("", 0), (PASSED, 1)])
def test_whatever_else_fails(project, text, status):
    python = runner_says(project, text, status)
    done = project.script("test", "--fast", PYTHON=python)
    assert done.returncode == 1
    assert len(project.called("ctest")) == 1


def test_a_failed_build_fails_the_tests(project):
    python = runner_says(project, PASSED)
    project.stand_in("cmake", "[[ $* != *clang* ]]")
    done = project.script("test", PYTHON=python)
    assert done.returncode == 1
    assert len(project.called("ctest")) == 3
    assert "clang: the build failed" in done.stdout


def test_arguments_are_handed_on(project):
    python = runner_says(project, PASSED)
    done = project.script("test", "--long", "--fast", "--", "-R", "some", PYTHON=python)
    assert done.returncode == 0
    call, = project.called("ctest")
    assert call.endswith("-R some")
    assert "-LE" not in call


def test_a_selection_may_leave_builds_without_tests_but_not_all(project):
    python = runner_says(project, NONE)
    assert project.script("test", "--", "-R", "x", PYTHON=python).returncode == 1
    project.stand_in("ctest", '[[ $* != *build-asan* ]] || cat "%s"'
                     % (project.bin / "said"))
    (project.bin / "said").write_text(PASSED)
    assert project.script("test", "--", "-R", "x", PYTHON=python).returncode == 0


def test_an_unknown_option_is_refused(project):
    assert project.script("test", "--quick", PYTHON=project.python).returncode == 2


# ---------------------------------------------------------------------------
# Reading, counting and watching the code


@pytest.mark.parametrize("script", ["coverage", "memcheck", "lint", "stock-symptoms"])
def test_the_tools_tell_their_use_and_refuse_anything_else(project, script):
    told = project.script(script, "--help")
    assert told.returncode == 0
    assert "usage: scripts/" + script in told.stdout
    for arguments in ["--all"], [""], ["--quick", "all"]:
        refused = project.script(script, *arguments, PYTHON=project.python)
        assert refused.returncode == 2
        assert "usage" in refused.stderr


@pytest.mark.parametrize("script", ["coverage", "memcheck"])
def test_a_failed_build_is_watched_by_nobody(project, script):
    python = buildable(project)
    project.stand_in("cmake", "echo it is broken; exit 1")
    for name in "ctest", "valgrind", "gcovr":
        project.stand_in(name, "true")
    done = project.script(script, PYTHON=python)
    assert done.returncode == 1
    assert "it is broken" in done.stderr
    assert [project.called(name) for name in ("ctest", "valgrind", "gcovr")] == [[], [], []]


def test_coverage_is_told_though_a_test_fails(project):
    python = runner_says(project, FAILED, 8)
    (project.folder / "build-coverage").mkdir()
    (project.folder / "build-coverage/old.gcda").write_text("")
    project.stand_in("gcovr", "echo the table")
    done = project.script("coverage", "--quick", PYTHON=python)
    assert done.returncode == 1
    assert "the table" in done.stdout
    assert not (project.folder / "build-coverage/old.gcda").exists()
    call, = project.called("ctest")
    assert "^unit$" in call and "terminal" not in call
    (project.bin / "said").write_text(PASSED)
    project.stand_in("ctest", "exit 0")
    assert project.script("coverage", PYTHON=python).returncode == 0


@pytest.mark.parametrize("said, valgrind_status, status, verdict", [
    ("[  PASSED  ] 9 tests.", 0, 0, "0 errors by memcheck; the tests passed"),
    ("==7== Invalid read of size 4", 99, 1, "1 errors by memcheck; the tests failed"),
    ("==7== Invalid read of size 4", 0, 1, "1 errors by memcheck; the tests passed"),
    ("[  FAILED  ] 1 test.", 1, 1, "0 errors by memcheck; the tests failed"),
])
def test_what_memcheck_finds(project, said, valgrind_status, status, verdict):
    python = buildable(project)
    (project.folder / "build-debug").mkdir()
    project.stand_in("valgrind", 'echo "%s"; exit %d' % (said, valgrind_status))
    done = project.script("memcheck", PYTHON=python)
    assert done.returncode == status, done.stderr
    assert done.stdout.splitlines()[-5:] == [
        "%s: %s" % (name, verdict)
        for name in ("history_tests", "keymaps_tests", "vesker_tests", "layer_tests", "fuzz_replay")]
    assert len(project.called("valgrind")) == 5


@pytest.mark.parametrize("finds", [None, "clang-format", "cppcheck", "shellcheck", "clang-tidy"])
def test_lint_runs_all_tools_and_fails_if_one_finds_something(project, finds):
    python = buildable(project)
    for folder in "src", "platform", "tests", "bench", ".ci":
        (project.folder / folder).mkdir()
        (project.folder / folder / "run").write_text("#!/usr/bin/env bash\n")
    (project.folder / "src/some.cc").write_text("")
    tools = ["clang-format", "cppcheck", "shellcheck", "clang-tidy"]
    for tool in tools:
        project.stand_in(tool, "exit %d" % (tool == finds))
    done = project.script("lint", PYTHON=python)
    assert done.returncode == (finds is not None), done.stderr
    assert done.stdout.splitlines() == [
        "%s found %s." % (tool, "something" if tool == finds else "nothing") for tool in tools]
    assert all(len(project.called(tool)) == 1 for tool in tools)
