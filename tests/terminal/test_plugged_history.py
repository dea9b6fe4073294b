"""The module's store as the editor's history: the ten functions, reached as the editor does."""

import pytest

from harness import Returned

CHILD = """
import ctypes
inside = ctypes.PyDLL(Tavorin.__file__)
inside.current_history_mode.restype = ctypes.c_char_p

def call_history(operation, number=0, text=None):
    line = ctypes.c_char_p()
    result = inside.call_history(operation, number, text, ctypes.byref(line))
    return [result, line.value]

Tavorin.keyBindingsEnabledIs(True)
for line in ('one', 'two', 'three'):
    Tavorin.addHistory(line, 'A', '')
"""

FIRST, LAST, PREV, NEXT, SET, CURR, ADD, ENTER = 3, 4, 5, 6, 7, 8, 9, 10
CLEAR, DEL = 19, 22


@pytest.fixture
def shell(terminal):
    """A shell with the lines one, two and three in history."""
    shell = terminal(opened=True)
    shell.do(CHILD)
    return shell


def call(shell, *arguments):
    return shell.do("call_history(%s)" % ", ".join(map(repr, arguments)))


def test_each_operation_reaches_its_function(shell):
    assert call(shell, FIRST) == [0, "three"]
    assert call(shell, NEXT) == [0, "two"]
    assert call(shell, LAST) == [0, "one"]
    assert call(shell, PREV) == [0, "two"]
    assert call(shell, CURR) == [0, "two"]
    assert call(shell, SET, 3)[0] == 0
    assert call(shell, CURR) == [0, "three"]
    assert shell.do("Tavorin.history()") == ["one", "two", "three"]
    assert call(shell, ADD, 0, "!") == [0, "three!"]
    assert call(shell, ENTER, 0, "four") == [1, "four"]
    assert shell.do("Tavorin.history()") == ["one", "two", "three!", "four"]
    assert call(shell, DEL, 2) == [0, "two"]
    assert shell.do("Tavorin.history()") == ["one", "three!", "four"]
    assert call(shell, CLEAR)[0] == 0
    assert shell.do("Tavorin.history()") == []


def test_a_line_recorded_after_one_was_recalled_is_a_line_of_its_own(shell):
    shell.begin_line(call="Tavorin.readline('> ', None, 'A')")
    shell.type("<up><up><enter>")
    assert shell.outcome() == Returned("two")
    shell.do("Tavorin.addHistory('two', 'A', '')")
    assert shell.do("Tavorin.history()") == ["one", "two", "three", "two"]


def test_listing_leaves_the_cursor_where_it_is(shell):
    assert call(shell, SET, 2)[0] == 0
    shell.do("Tavorin.history(); Tavorin.history('A')")
    assert call(shell, CURR) == [0, "two"]


def test_listing_leaves_the_current_mode_as_it_is(shell):
    shell.do("Tavorin.newHistoryMode('B', '')")
    shell.do("Tavorin.history('B')")
    assert shell.do("inside.current_history_mode()") == "A"


def test_a_white_line_makes_and_selects_no_mode(shell):
    count = shell.do("inside.history_mode_count()")
    assert shell.do("Tavorin.addHistory(' ', 'new', '')") is True
    assert shell.do("Tavorin.addHistory(' ', 'B', 'A')") is True
    assert shell.do("inside.history_mode_count()") == count
    assert shell.do("inside.current_history_mode()") == "A"


def test_with_recording_off_modes_are_still_made_and_selected(shell):
    shell.do("Tavorin.historyLimitIs(0)")
    assert shell.do("Tavorin.addHistory('line', 'B', 'A')") is True
    assert shell.do("inside.current_history_mode()") == "B"
    assert shell.do("Tavorin.addHistory('line', 'A', '')") is True
    assert shell.do("inside.current_history_mode()") == "A"
    assert shell.do("Tavorin.history()") == []


def test_two_empty_keys_make_two_modes(shell):
    count = shell.do("inside.history_mode_count()")
    assert shell.do("Tavorin.newHistoryMode('', '')") is None
    assert shell.do("inside.history_mode_count()") == count + 2


def test_a_read_with_an_unknown_parent_leaves_no_mode(shell):
    shell.begin_line(call="Tavorin.readline('> ', None, 'B', 'unknown')")
    shell.type("<enter>")
    assert shell.outcome() == Returned("")
    assert shell.do("inside.current_history_mode()") is None
