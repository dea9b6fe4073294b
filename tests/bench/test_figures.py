"""The arithmetic of the measurements, and what is made of traces and profiles."""

import pytest

import counting
import figures
from figures import Ratio, Samples, Target


@pytest.mark.parametrize("share, expected", [(0, 1), (0.25, 2), (0.5, 3), (0.99, 4.96), (1, 5)])
def test_a_quantile_lies_between_values(share, expected):
    assert figures.quantile([5, 1, 4, 2, 3], share) == pytest.approx(expected)


def test_a_quantile_of_one_value_is_that_value():
    assert figures.quantile([7], 0.99) == 7


def test_a_ratio_is_that_of_the_medians_with_the_middle_half_of_the_rounds():
    found = figures.ratio([10, 20, 30, 40, 50], [10, 10, 10, 10, 10])
    assert found == Ratio(3, 2, 4)


def test_the_rounds_are_paired():
    """A round in which everything was slow says as much as one in which nothing was."""
    found = figures.ratio([1, 2, 100, 3, 1], [2, 4, 200, 6, 2])
    assert (found.low, found.high) == (0.5, 0.5)


@pytest.mark.parametrize("ours, theirs", [([], []), ([1], []), ([1, 2], [0, 0])])
def test_nothing_is_divided_by_nothing(ours, theirs):
    assert figures.ratio(ours, theirs) is None


def samples(ours, theirs):
    found = Samples()
    for value in ours:
        found.add("figure", "ours", value)
    for value in theirs:
        found.add("figure", "peer", value)
    return found


@pytest.mark.parametrize("ours, most, spread_counts, verdict", [
    ([9, 10, 11], 1.0, False, "met"),
    ([8, 8, 8], 0.8, False, "met"),
    ([11, 11, 11], 1.0, False, "missed by 10.0 %"),
    ([8, 11, 12], 1.0, True, "met within the spread"),
    ([8, 11, 12], 1.0, False, "missed by 10.0 %"),
    ([11, 11, 12], 1.0, True, "missed by 10.0 %"),
])
def test_a_target_is_judged_by_the_medians(ours, most, spread_counts, verdict):
    target = Target("figure", "peer", most, spread_counts)
    assert figures.judge(target, samples(ours, [10, 10, 10]), "ours")[1] == verdict


@pytest.mark.parametrize("value, verdict", [(0, "met"), (1, "missed")])
def test_a_target_without_a_peer_is_a_number(value, verdict):
    assert figures.judge(Target("figure", None, 0), samples([value], []), "ours")[1] == verdict


@pytest.mark.parametrize("peer", ["peer", None])
def test_what_was_not_measured_is_neither_met_nor_missed(peer):
    judged = figures.judge(Target("figure", peer, 1), samples([], []), "ours")
    assert judged == (None, "not measured")


def test_what_was_done_wrongly_has_no_figures():
    found = samples([1, 2], [3, 4])
    found.set_wrong("work", "peer", "it lost a key")
    found.set_wrong("work", "peer", "it ended")
    found.drop(["figure", "other"], "peer")
    assert found.median("figure", "peer") is None
    assert found.median("figure", "ours") == 1.5
    assert found.ratio("figure", "ours", "peer") is None
    assert found.wrong == {("work", "peer"): "it lost a key"}


def test_a_key_and_a_line_come_out_of_the_runs():
    counted = {name: {"read": 1000 + lines * (37 + keys * 3)}
               for name, (lines, keys) in counting.RUNS.items()}
    assert counting.a_key_and_a_line(counted) == ({"read": 3}, {"read": 37})


# --- What the tools write

TRACE = """\
41 execve("/x", ["x"], 0x1 /* 3 vars */) = 0
41 read(0, "a", 1)          = 1
42 pselect6(12, [0 11], NULL, NULL, NULL, {sigmask=[], sigsetsize=8} <unfinished ...>
41 write(1, "a", 1 <unfinished ...>
42 <... pselect6 resumed>) = 1 (in [0])
41 <... write resumed>) = 1
41 brk(0x5561)                  = 0x5561
41 --- SIGWINCH {si_signo=SIGWINCH} ---
41 read(0, "b", 1)          = 1
41 +++ exited with 0 +++
"""


def test_calls_are_counted_once_however_they_end_but_not_the_allocators(tmp_path):
    (tmp_path / "trace").write_text(TRACE)
    assert counting.read_strace(tmp_path / "trace") == {
        "execve": 1, "read": 2, "pselect6": 1, "write": 1}


PROFILE = """\
# callgrind format
version: 1
positions: line
events: Ir

ob=(1) /lib/libc.so.6
fl=(1) a.c
fn=(1) strlen
12 100
+3 20

ob=(2) /build/Module.so
fn=(2) read_char
7 5
cob=(1)
cfi=(1)
cfn=(1)
calls=3 12
* 120
cob=(3) /lib/libedit.so
cfn=(3) el_gets
calls=1 1
-2 900
8 2

ob=(3)
fn=(3)
1 780
totals: 907
"""


def test_instructions_belong_to_the_file_that_they_are_in(tmp_path):
    (tmp_path / "profile").write_text(PROFILE)
    assert counting.read_callgrind(tmp_path / "profile") == {
        "libc.so.6": 120, "Module.so": 7, "libedit.so": 780}


def test_names_that_only_one_run_has_count_as_none_in_the_others():
    runs = {"short": {}, "long": {"mmap": 8}, "few": {}, "many": {"write": 16}}
    key, line = counting.a_key_and_a_line(runs)
    assert key == {"mmap": 0.1, "write": 0}
    assert line == {"mmap": -0.1, "write": 2}
