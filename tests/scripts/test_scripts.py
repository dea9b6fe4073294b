"""What setting up and testing say when something is wrong, tried on a copy of the scripts.

Nothing is installed, fetched or built here: the commands that would do it are stand-ins.  That all goes
well with the real ones is what scripts/check-fresh tells, and the test of the documents.
"""

import shutil
import subprocess
from pathlib import Path

import pytest

SCRIPTS = Path(__file__).resolve().parents[2] / "scripts"


class Project:
    """A copy of the scripts in a folder with a blank in its name, and a folder of stand-ins that comes
    first on the PATH.  Every package is installed, cmake builds, and the Python is one that is taken."""

    def __init__(self, folder):
        self.folder = folder / "the project"
        shutil.copytree(SCRIPTS, self.folder / "scripts")
        self.bin = folder / "bin"
        self.bin.mkdir()
        self.stand_in("good-python", 'echo "$0"')
        self.stand_in("dpkg-query", 'shift 3; for package; do echo "$package installed"; done')
        self.stand_in("apt-get", "exit 1")
        self.stand_in("cmake", "true")

    def stand_in(self, name, body):
        path = self.bin / name
        path.write_text("#!/bin/bash\n%s\n" % body)
        path.chmod(0o755)

    def run(self, *command, python="good-python"):
        variables = {"PATH": "%s:/usr/bin:/bin" % self.bin, "LC_ALL": "C", "PYTHON": python}
        return subprocess.run(command, env=variables, cwd=self.folder, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=120)


@pytest.fixture
def project(tmp_path):
    return Project(tmp_path)


def test_without_root_or_sudo_setup_names_the_missing_packages(project):
    project.stand_in("dpkg-query", 'echo "cmake installed"; echo "g++ config-files"; '
                     'echo "ninja-build not-installed"; exit 1')
    with open(project.folder / "scripts/lib.sh", "a") as functions:
        functions.write("can_be_root() { return 1; }\n")
    done = project.run("scripts/setup")
    assert done.returncode == 3
    assert done.stderr.endswith("neither root nor sudo is at hand to install them: "
                                "g++ ninja-build libedit-dev libncurses-dev\n")


@pytest.mark.parametrize("body, why", [
    ("echo no such version >&2; exit 127", "no such version"),
    ('exec python3 "$@"', "it is Python 3"),
    ("exit 1", "it gave no answer"),
    (None, "no command that can be run"),
])
def test_an_unusable_python_is_refused(project, body, why):
    if body is not None:
        project.stand_in("bad-python", body)
    done = project.run("scripts/setup", python="bad-python")
    assert done.returncode == 5
    assert "PYTHON=bad-python is no" in done.stderr and why in done.stderr


# --- What scripts/test makes of what ctest says and ends with

def says(text, status=0):
    return "printf '%%s' '%s'; exit %d" % (text, status)


PASSED = "1/2 Test #1: a ....   Passed\n\n100% tests passed, 0 tests failed out of 2\n"
FAILED = "1/2 Test #1: a ....***Failed\n\n50% tests passed, 1 tests failed out of 2\n"
SKIPPED = ("1/2 Test #1: a ....***Skipped\n\n100% tests passed, 0 tests failed out of 2\n"
           "\nThe following tests did not run:\n\t  1 - a (Skipped)\n")
NONE = "No tests were found!!!\n"


@pytest.fixture
def tested(project):
    for name in "build", "build-debug", "build-clang", "build-asan":
        (project.folder / name).mkdir()
    project.stand_in("ctest", says(PASSED))
    return project


def test_passed_tests_pass_in_every_build(tested):
    done = tested.run("scripts/test")
    assert done.returncode == 0, done.stderr
    assert done.stdout.splitlines()[-4:] == [
        name + ": 100% tests passed, 0 tests failed out of 2"
        for name in ("release", "debug", "clang", "asan")]


@pytest.mark.parametrize("text, status", [
    (FAILED, 8), (SKIPPED, 0), (NONE, 0), ("", 0), (PASSED, 1)],
    ids=["failed", "skipped", "none", "silent", "status"])
def test_whatever_else_fails(tested, text, status):
    tested.stand_in("ctest", says(text, status))
    assert tested.run("scripts/test", "--fast").returncode == 1


@pytest.mark.parametrize("command, body", [
    ("cmake", "[[ $* != *clang* ]]"),
    ("ctest", "[[ $* == *clang* ]] || { %s; }" % says(PASSED)),
], ids=["unbuilt", "untested"])
def test_one_build_is_enough_to_fail(tested, command, body):
    tested.stand_in(command, body)
    assert tested.run("scripts/test").returncode == 1
