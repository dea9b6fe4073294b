"""A program at a terminal, as the measurements see it: what it loses or changes is found out. The
programs here are a few lines of Python 3, some of them faulty on purpose."""

import random
import re
import sys

import pytest

import main
import programs
import session
from figures import Samples
from programs import Program, Start
from report import FIGURES, TARGETS, Report
from rounds import Rounds, shuffled
from works import Typed, Work, words

# Reads single keys and echoes them. A key or a line can be spoilt, or all come to an end.
SHELL = """
import os, sys, termios, time
fault = %r
old = termios.tcgetattr(0)
new = termios.tcgetattr(0)
new[3] &= ~(termios.ICANON | termios.ECHO)
lines = open(sys.argv[1], "wb")
termios.tcsetattr(0, termios.TCSADRAIN, new)
number = 0
line = b""
os.write(1, b"0> ")
while True:
    key = os.read(0, 1)
    if key == b"\\x04":
        break
    if key in b"\\r\\n":
        if fault == "loses a line" and number == 2:
            line = None
        if line is not None:
            lines.write(line + b"\\n")
        number += 1
        line = b""
        os.write(1, b"\\n%%d> " %% number)
        continue
    if fault == "dies" and number == 1:
        sys.exit(3)
    if not (fault == "changes a key" and number == 1 and key == b"c"):
        line += key
    if not (fault == "shows nothing" and number == 1):
        os.write(1, key)
if fault == "invents a line":
    lines.write(b"more\\n")
lines.close()
sys.exit(7 if fault == "fails" else 0)
"""


def shell(fault=None, name="shell"):
    return Program(name, "a " + name, [sys.executable, "-S", "-c", SHELL % fault])


@pytest.fixture
def start():
    starter = Start()
    yield starter
    starter.close()


@pytest.fixture
def patience(monkeypatch):
    monkeypatch.setattr(session, "PATIENCE", 2.0)


class FewKeys(Work):
    figures = ("time", "all")

    def turn(self, at, program, number):
        at.send(b"ab")
        took = at.press(b"c", b"c")
        at.enter(b"abc")
        return {"time": took, "all": [took, took]}


def measured(start, *compared, passes=1, turns=3):
    samples = Samples()
    Rounds(start, samples, lambda text: None).do(FewKeys("few"), list(compared), passes, turns)
    return samples


@pytest.mark.parametrize("read, difference", [
    ([b"a", b"b"], None),
    ([b"a", b"c"], "line 1 was b'b' and was read as b'c'"),
    ([b"a"], "1 of 2 lines were not read"),
    ([], "2 of 2 lines were not read"),
    ([b"a", b"b", b""], "1 lines were read that nobody typed"),
])
def test_every_difference_is_found(read, difference):
    assert session.first_difference([b"a", b"b"], read) == difference


def test_a_program_that_does_its_work_has_figures(start):
    samples = measured(start, shell(), passes=2)
    assert samples.wrong == {}
    assert len(samples.of("time", "shell")) == 6
    assert all(0 < value < 1e9 for value in samples.of("time", "shell"))
    assert len(samples.of("all", "shell")) == 2, "one 99th percentile for each pass"


@pytest.mark.parametrize("fault, why", [
    ("loses a line", "1 of 3 lines were not read"),
    ("changes a key", "line 1 was b'abc' and was read as b'ab'"),
    ("invents a line", "1 lines were read that nobody typed"),
    ("fails", "ended with status 7"),
    ("dies", "the program has ended"),
    ("shows nothing", "no answer within"),
])
def test_a_program_at_fault_is_wrong_and_not_fast(start, patience, fault, why):
    samples = measured(start, shell(fault, "faulty"), shell())
    assert why in samples.wrong["few", "faulty"]
    assert samples.of("time", "faulty") == []
    assert samples.of("all", "faulty") == []
    assert len(samples.of("time", "shell")) == 3, "the others go on"


def test_what_is_missing_is_not_started(start):
    samples = measured(start, Program("gone", "gone", ["/no/such/program"], missing="it is gone"))
    assert samples.wrong == {} and samples.values == {}


def test_escape_sequences_are_not_taken_for_text(start):
    program = Program("colours", "colours", [sys.executable, "-S", "-c", """
import os, time
os.write(1, b"\\x1b[31mno\\x1b[0m \\x1b[Jx\\x1b]0;title y\\x07\\x1b(Bwon\\x1b[1Cder\\n")
time.sleep(60)
"""])
    at = start.session(program)
    try:
        assert at.wait_for(b"x") == b"no "
        assert at.wait_for(b"der") == b"won"
    finally:
        at.close()


def test_typed_keys_are_measured_and_checked(start):
    samples = Samples()
    Rounds(start, samples, lambda text: None).do(Typed("typed"), [shell()], 1, 2)
    assert samples.wrong == {}
    assert set(samples.values) == set(Typed.figures)
    assert samples.median("typed_p99", "shell") >= samples.median("typed_p50", "shell")


def test_neighbouring_keys_differ():
    keys = words(100, 30)
    assert len(keys) == 100
    assert all(a != b for a, b in zip(keys, keys[1:]))


def test_the_order_changes_but_slow_programs_go_first():
    compared = [Program(name, name, [], slow=name == "slow") for name in ("a", "b", "slow", "c")]
    dice = random.Random(1)
    orders = {"".join(p.name for p in shuffled(compared, dice)) for _ in range(100)}
    assert orders == {"slow" + rest for rest in ("abc", "acb", "bac", "bca", "cab", "cba")}


# --- The page

def page(samples):
    compared = [Program(programs.FLOOR, "the floor", []), Program(programs.USUAL, "the usual", []),
                Program("other", "the other", [], missing="it is not here"),
                Program(programs.OURS, "ours", [])]
    return Report(samples, compared, main.all_works(), {}).page(["a machine"], "bench/run")


def test_the_page_tells_medians_ratios_and_verdicts():
    samples = Samples()
    for ours, theirs in [(900, 1000), (1000, 2000), (1100, 3000)]:
        samples.add("typed_cpu", programs.OURS, ours)
        samples.add("typed_cpu", programs.FLOOR, theirs)
    text = page(samples)
    assert "| typed key: processor time | the floor | 1 | 0.500 (0.433 to 0.700) | met |" in text
    assert "| typed key: processor time | µs | 2.00 | – | – | 1.00 |" in text
    assert "- the other: not measured, it is not here" in text
    assert "| idle: wake-ups | itself | 0 | – | not measured |" in text


def test_the_page_tells_what_was_wrong():
    samples = Samples()
    samples.set_wrong("pasted", programs.FLOOR, "2 of 9 lines were not read")
    text = page(samples)
    assert "- the floor: WRONG in pasted: 2 of 9 lines were not read" in text
    assert re.search(r"\| pasted key: processor time \| µs \| wrong \| – \| – \| – \|", text)


def test_every_figure_is_measured_and_has_a_title():
    measured_somewhere = {figure for work in main.all_works() for figure in work.figures}
    assert measured_somewhere == {figure for figure, _, _ in FIGURES}
    assert {target.figure for target in TARGETS} <= measured_somewhere


def test_every_work_has_an_amount():
    assert [work.name for work in main.all_works()] == list(main.AMOUNTS)
