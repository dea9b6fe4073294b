"""Every program that is measured does every work rightly, a little of it. What of them is not
installed on this machine is left out; the module and the floor that it is held against are not.
"""

import os
import pathlib
import sys

import pytest

import main
import programs
import works
from figures import Samples
from rounds import Idle, Rounds

ROOT = pathlib.Path(__file__).resolve().parents[2]


@pytest.fixture(scope="module")
def compared():
    return programs.all_programs(str(ROOT), os.environ["TAVORIN_BUILD_DIR"],
                                 os.environ["TAVORIN_PYTHON"], sys.executable,
                                 os.environ.get("LD_LIBRARY_PATH", ""))


@pytest.fixture
def rounds():
    start = programs.Start()
    yield Rounds(start, Samples(), lambda text: None)
    start.close()


def check(work, rounds, compared):
    assert rounds.samples.wrong == {}
    for name in (programs.FLOOR, programs.OURS):
        (program,) = [program for program in compared if program.name == name]
        assert program.missing is None
        for figure in work.figures:
            assert rounds.samples.median(figure, name) is not None


WORKS = [work for work in main.all_works() if isinstance(work, works.Work)
         and not work.name.endswith("-100000")]


@pytest.mark.parametrize("work", WORKS, ids=[work.name for work in WORKS])
def test_the_work_is_done_rightly(work, rounds, compared):
    rounds.do(work, compared, 1, 2)
    check(work, rounds, compared)


def test_nobody_wakes_up_idle(rounds, compared):
    work = Idle()
    work.do(rounds, compared, 0.2)
    check(work, rounds, compared)
    assert rounds.samples.of("idle_wakeups", programs.OURS) == [0]
