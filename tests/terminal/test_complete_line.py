"""complete_line as a command function: the other way from a key to the Python callable."""

import pytest

from harness import Raised, Returned

CHILD = """
import ctypes
def completer(key, line, position):
    report("completion", key=key, line=line, position=position)
    if isinstance(answer, Exception):
        raise answer
    return answer
Tavorin.keyBindingsEnabledIs(True)
"""


@pytest.fixture
def shell(terminal):
    """A shell in which Ctrl-X runs complete_line with `completer`, which returns `answer`."""
    shell = terminal(opened=True)
    shell.do(CHILD)
    assert shell.do("ctypes.PyDLL(Tavorin.__file__).bind_complete_line(24)") == 0
    return shell


def begin(shell, answer, keys, completer="completer"):
    shell.do("answer = " + answer)
    shell.begin_line(call="Tavorin.readline('> ', %s)" % completer)
    shell.type(keys)


ANSWERS = [
    ("'sion'", "sh ver<ctrl-a><ctrl-x>", "sh version", ("\x18", "sh ver", 6)),
    ("None", "ab<ctrl-x>c", "abc", ("\x18", "ab", 2)),
    ("''", "ab<ctrl-x>c", "abc", ("\x18", "ab", 2)),
    (r"'\b\bab'", "xyz<ctrl-x>", "xab", ("\x18", "xyz", 3)),
    (r"'\b\b\b\bq'", "ab<ctrl-x>", "q", ("\x18", "ab", 2)),
    ("'ab'", "<ctrl-x>", "ab", ("\x18", "", 0)),
    ("'-'", "a<esc>5<ctrl-x>b", "a-b", ("\x18", "a", 1)),
]


@pytest.mark.parametrize("answer, keys, line, call", ANSWERS, ids=[row[0] for row in ANSWERS])
def test_answer(shell, answer, keys, line, call):
    begin(shell, answer, keys + "<enter>")
    assert shell.outcome() == Returned(line)
    calls = [(c["key"], c["line"], c["position"]) for c in shell.reports_of("completion")]
    assert calls == [call]
    shell.assert_settings_as_before()


def test_the_completed_line_is_shown(shell):
    begin(shell, "'sion'", "sh ver<ctrl-a><ctrl-x>")
    shell.wait_for_row(0, "> sh version")
    shell.wait_for_cursor(0, 12)
    shell.type("<enter>")
    assert shell.outcome() == Returned("sh version")


def test_without_a_callable_nothing_happens(shell):
    begin(shell, "'no'", "ab<ctrl-x>c<enter>", completer="None")
    assert shell.outcome() == Returned("abc")


def test_both_ways_on_one_line(shell):
    begin(shell, "'-'", "a<ctrl-x>b<tab>c<ctrl-x><enter>")
    assert shell.outcome() == Returned("a-b-c-")
    assert [c["key"] for c in shell.reports_of("completion")] == ["\x18", "\t", "\x18"]


@pytest.mark.parametrize("answer, raised", [("ValueError('no')", Raised("ValueError", "no")),
                                            ("42", None)])
def test_an_exception_ends_the_read(shell, answer, raised):
    begin(shell, answer, "ab<ctrl-x>")
    outcome = shell.outcome()
    assert outcome.type == "TypeError" if raised is None else outcome == raised
    shell.assert_settings_as_before()
    shell.read_line()


@pytest.mark.parametrize("key, message", [("<ctrl-c>", "Ctrl-C pressed"),
                                          ("<ctrl-z>", "Ctrl-Z pressed")])
def test_a_signal_after_it_ends_the_read(shell, key, message):
    begin(shell, "'sion'", "sh ver<ctrl-x>")
    shell.wait_for_row(0, "> sh version")
    shell.type(key)
    assert shell.outcome() == Raised("KeyboardInterrupt", message)
    shell.assert_settings_as_before()
    shell.read_line()
