"""The Python calls for history, judged by what they return and raise; no line is typed."""

import pytest

from harness import Raised, Returned


def add(shell, line, key, parent=""):
    return shell.do("Tavorin.addHistory(%r, %r, %r)" % (line, key, parent))


def lines(shell, *key):
    return shell.do("Tavorin.history(%s)" % ", ".join(map(repr, key)))


# --- Modes

def test_a_mode_is_made_below_its_parent(shell):
    assert shell.do("Tavorin.newHistoryMode('A', '')") is None
    assert shell.do("Tavorin.newHistoryMode('B', 'A')") is None
    add(shell, "a", "A")
    add(shell, "b", "B")
    assert lines(shell, "A") == ["a"]
    assert lines(shell, "B") == ["a", "b"]


def test_an_unknown_parent_is_a_key_error_and_makes_nothing(shell):
    shell.ask("Tavorin.newHistoryMode('C', 'P')")
    assert shell.outcome() == Raised("KeyError", "'P'")
    assert shell.do("Tavorin.addHistory('line', 'C', 'P')") is False


def test_a_mode_keeps_the_parent_that_it_was_made_with(shell):
    for key, parent in (("A", ""), ("B", "A"), ("X", "")):
        shell.do("Tavorin.newHistoryMode(%r, %r)" % (key, parent))
    assert shell.do("Tavorin.newHistoryMode('B', 'X')") is None
    assert shell.do("Tavorin.newHistoryMode('B', 'unknown')") is None
    add(shell, "of A", "A")
    add(shell, "of X", "X")
    assert lines(shell, "B") == ["of A"]


def test_an_empty_key_is_accepted_and_never_found(shell):
    assert shell.do("Tavorin.newHistoryMode('', '')") is None
    add(shell, "one", "")
    add(shell, "two", "A")
    assert lines(shell, "A") == ["two"]
    assert lines(shell, "") == ["one", "two"]


def test_a_new_mode_is_not_selected(shell):
    """A line that readline recalls is one of the mode in force, which a new mode must not change."""
    add(shell, "of A", "A")
    shell.do("Tavorin.newHistoryMode('B', '')")
    shell.begin_line()
    shell.type("<up><enter>")
    assert shell.outcome() == Returned("of A")


# --- Recording

@pytest.mark.parametrize("line", ["", " ", "\t", " \t\n\v\f\r "])
def test_a_white_line_is_not_recorded_and_its_parent_not_looked_up(shell, line):
    assert add(shell, line, "new", "unknown") is True
    assert lines(shell) == []
    assert shell.do("Tavorin.addHistory('x', 'below', 'new')") is False


def test_a_line_with_more_than_white_space_is_recorded_as_it_is(shell):
    assert add(shell, "  a\t", "A") is True
    assert lines(shell) == ["  a\t"]


def test_a_line_of_a_new_mode_below_an_unknown_parent_is_refused(shell):
    assert add(shell, "line", "new", "unknown") is False
    assert lines(shell) == []


def test_the_parent_of_a_known_mode_is_not_looked_at(shell):
    add(shell, "one", "A")
    assert add(shell, "two", "A", "unknown") is True
    assert lines(shell, "A") == ["one", "two"]


def test_a_refused_line_leaves_the_mode_in_force(shell):
    add(shell, "of A", "A")
    add(shell, "refused", "new", "unknown")
    shell.begin_line()
    shell.type("<up><enter>")
    assert shell.outcome() == Returned("of A")


def test_the_newest_line_is_not_recorded_again_in_any_mode(shell):
    add(shell, "same", "A")
    assert add(shell, "same", "A") is True
    assert add(shell, "same", "B") is True
    assert lines(shell) == ["same"]
    assert lines(shell, "B") == []


def test_an_older_line_is_recorded_again(shell):
    for line in ("one", "two", "one"):
        add(shell, line, "A")
    assert lines(shell) == ["one", "two", "one"]


def test_lines_come_back_byte_for_byte_at_any_length(shell):
    everything = "".join("\\x%02x" % byte for byte in range(1, 256))
    shell.do("all_bytes = '%s'" % everything)
    shell.do("stored = ['long' * n for n in (255, 256, 257, 25000)] + [all_bytes]")
    shell.do("[Tavorin.addHistory(line, 'A', '') for line in stored]")
    assert shell.do("Tavorin.history() == stored") is True


# --- Listing

def test_lines_are_listed_oldest_first_by_what_a_mode_sees(shell):
    add(shell, "a", "A")
    add(shell, "b", "B", "A")
    assert lines(shell, "A") == ["a"]
    assert lines(shell, "B") == ["a", "b"]
    assert lines(shell) == ["a", "b"]
    assert lines(shell, "unknown") == ["a", "b"]
    assert lines(shell, "") == ["a", "b"]


def test_listing_makes_a_new_list_each_time(shell):
    add(shell, "a", "A")
    assert shell.do("Tavorin.history().append('x')") is None
    assert lines(shell) == ["a"]


def test_listing_neither_selects_a_mode_nor_moves_the_cursor(shell):
    add(shell, "of A", "A")
    add(shell, "of B", "B")
    lines(shell, "A")
    shell.begin_line()
    shell.type("<up><enter>")
    assert shell.outcome() == Returned("of B")


def test_clearing_keeps_the_modes(shell):
    add(shell, "a", "A")
    add(shell, "b", "B", "A")
    assert shell.do("Tavorin.clearHistory()") is None
    assert lines(shell) == []
    assert add(shell, "again", "B", "unknown") is True
    add(shell, "above", "A", "unknown")
    assert lines(shell, "B") == ["again", "above"]


# --- The limit

def test_the_limit_is_1024_lines_at_first(shell):
    shell.do("[Tavorin.addHistory('line %d' % n, 'A', '') for n in range(1, 1026)]")
    recorded = lines(shell)
    assert len(recorded) == 1024
    assert (recorded[0], recorded[-1]) == ("line 2", "line 1025")


def test_a_smaller_limit_drops_the_oldest_lines_of_any_mode(shell):
    for number in range(5):
        add(shell, "line %d" % number, "AB"[number % 2])
    assert shell.do("Tavorin.historyLimitIs(3)") is None
    assert lines(shell) == ["line 2", "line 3", "line 4"]
    add(shell, "line 5", "A")
    assert lines(shell) == ["line 3", "line 4", "line 5"]


def test_a_larger_limit_keeps_everything(shell):
    shell.do("[Tavorin.addHistory('line %d' % n, 'A', '') for n in range(1024)]")
    shell.do("Tavorin.historyLimitIs(2000)")
    shell.do("[Tavorin.addHistory('more %d' % n, 'A', '') for n in range(976)]")
    assert len(lines(shell)) == 2000
    assert lines(shell)[0] == "line 0"


def test_a_limit_of_0_switches_recording_off(shell):
    add(shell, "before", "A")
    shell.do("Tavorin.historyLimitIs(0)")
    assert lines(shell) == []
    assert add(shell, "meanwhile", "A") is True
    assert lines(shell) == []
    shell.do("Tavorin.historyLimitIs(10)")
    add(shell, "after", "A")
    assert lines(shell) == ["after"]


def test_a_negative_limit_is_the_largest(shell):
    assert shell.do("Tavorin.historyLimitIs(-1)") is None
    shell.do("[Tavorin.addHistory('line %d' % n, 'A', '') for n in range(1100)]")
    assert len(lines(shell)) == 1100


@pytest.mark.parametrize("argument", ["'5'", "None", "[]"])
def test_a_limit_that_is_no_integer_changes_nothing(shell, argument):
    shell.do("Tavorin.historyLimitIs(2)")
    shell.ask("Tavorin.historyLimitIs(%s)" % argument)
    assert shell.outcome() == Raised("TypeError", "an integer is required")
    shell.do("[Tavorin.addHistory('line %d' % n, 'A', '') for n in range(3)]")
    assert lines(shell) == ["line 1", "line 2"]


def test_the_limit_leaves_the_history_keys_and_their_table_alone(shell):
    shell.do("""
import ctypes
class Row(ctypes.Structure):
    _fields_ = [('name', ctypes.c_char_p), ('slots', ctypes.c_void_p * 5)]
table = (Row * 14).in_dll(ctypes.CDLL(Tavorin.__file__), 'history_saved_invokers')
""")
    for limit in (0, 5, 0, 1024):
        shell.do("Tavorin.historyLimitIs(%d)" % limit)
        assert shell.do("[list(row.slots) for row in table]") == [[None] * 5] * 14
    assert shell.do("[row.name for row in table]") == [
        "beginning-of-history", "end-of-history", "forward-search-history",
        "history-search-backward", "history-search-forward", "next-history",
        "non-incremental-forward-search-history", "non-incremental-reverse-search-history",
        "non-incremental-forward-search-history-again",
        "non-incremental-reverse-search-history-again", "previous-history",
        "reverse-search-history", "vi-fetch-history", None]
    add(shell, "line", "A")
    shell.begin_line()
    shell.type("<up><enter>")
    assert shell.outcome() == Returned("line")


# --- Before the editor is set up

def test_recording_before_the_first_readline_makes_no_editor(shell):
    add(shell, "early", "A")
    assert lines(shell) == ["early"]
    assert shell.do("Tavorin.keyBindingsEnabled()") is False
    assert bytes(shell.output) == b""
    shell.assert_settings_as_before()
    shell.begin_line(call="Tavorin.readline('> ', None, 'A')")
    shell.type("<up><enter>")
    assert shell.outcome() == Returned("early")


def test_clearing_before_the_first_readline_makes_no_editor(shell):
    add(shell, "early", "A")
    shell.do("Tavorin.clearHistory()")
    assert lines(shell) == []
    assert shell.do("Tavorin.keyBindingsEnabled()") is False
    assert bytes(shell.output) == b""
    shell.assert_settings_as_before()


def test_lines_recorded_after_a_simple_read_are_kept(shell):
    """simpleReadline may make an editor before the module does, with a history of its own."""
    shell.begin_line(call="Tavorin.simpleReadline('> ')")
    shell.type("simple<enter>")
    assert shell.outcome() == Returned("simple")
    add(shell, "kept", "A")
    shell.begin_line()
    shell.type("<up><enter>")
    assert shell.outcome() == Returned("kept")


# --- References

CALLS = {
    "history": ("Tavorin.history()", "Tavorin.history(key)", "Tavorin.history('unknown')"),
    "newHistoryMode": ("Tavorin.newHistoryMode(key, parent)",),
    "addHistory": ("Tavorin.addHistory(line, key, parent)", "Tavorin.addHistory(other, key, parent)",
                   "Tavorin.addHistory(' ', key, parent)", "Tavorin.addHistory(line, new, new)"),
    "clearHistory": ("Tavorin.clearHistory()",),
    "historyLimitIs": ("Tavorin.historyLimitIs(5)", "Tavorin.historyLimitIs(0)"),
}


@pytest.mark.parametrize("name", sorted(CALLS))
def test_a_million_calls_hold_their_references(shell, name):
    shell.do("""
import sys
line, other, key, parent, new = 'a line', 'another', 'the key', 'the parent', 'the new'
watched = [None, True, False, line, other, key, parent, new]
def counts():
    return [sys.getrefcount(value) for value in watched]
def repeat(times):
    for _ in xrange(times):
        %s
Tavorin.newHistoryMode(parent, '')
Tavorin.newHistoryMode(key, parent)
Tavorin.historyLimitIs(5)
repeat(1000)
before = counts()
repeat(1000000 // %d)
after = counts()
""" % ("; ".join(CALLS[name]), len(CALLS[name])))
    changes = shell.do("[abs(b - a) for a, b in zip(before, after)]")
    assert max(changes) < 10, changes
