"""A width given by the shell, for a terminal that cannot tell its own."""

import pytest

from harness import Raised, Returned


def set_up(shell):
    shell.do("Tavorin.keyBindingsEnabledIs(True)")


def type_line(shell, length):
    shell.begin_line()
    shell.type("x" * length)


@pytest.fixture
def sizeless(terminal):
    """A terminal that reports 0 rows and columns; the screen to look at is 40 columns wide."""
    shell = terminal(rows=0, columns=0)
    shell.screen.resize(24, 40)
    set_up(shell)
    return shell


def test_the_line_wraps_at_the_given_width(sizeless):
    assert sizeless.do("Tavorin.TerminalWidthIs(40)") is None
    type_line(sizeless, 60)
    sizeless.wait_for_cursor(1, 22)
    assert [sizeless.row(n) for n in (0, 1)] == ["> " + "x" * 38, "x" * 22]
    sizeless.type("<ctrl-a>")
    sizeless.wait_for_cursor(0, 2)
    sizeless.type("y<enter>")
    assert sizeless.outcome() == Returned("y" + "x" * 60)


@pytest.mark.parametrize("rows", [5, 24, 60])
def test_the_rows_are_kept(terminal, rows):
    shell = terminal(rows=rows, columns=0, opened=True)
    set_up(shell)
    shell.do("import ctypes\n"
             "size = (ctypes.c_int * 2)()\n"
             "def screen_size():\n"
             "    ctypes.PyDLL(Tavorin.__file__).screen_size(size)\n"
             "    return list(size)\n")
    shell.read_line()   # at its beginning the editor asks the terminal
    assert shell.do("screen_size()") == [rows, 80]
    shell.do("Tavorin.TerminalWidthIs(40)")
    assert shell.do("screen_size()") == [rows, 40]


def test_a_later_width_replaces_an_earlier_one(sizeless):
    sizeless.do("Tavorin.TerminalWidthIs(132)")
    sizeless.do("Tavorin.TerminalWidthIs(40)")
    type_line(sizeless, 60)
    sizeless.wait_for_cursor(1, 22)
    sizeless.type("<enter>")
    sizeless.outcome()


def test_the_width_does_not_outlive_its_editor(terminal):
    shell = terminal(rows=0, columns=0)
    shell.do("Tavorin.TerminalWidthIs(20)")
    set_up(shell)
    type_line(shell, 30)
    shell.wait_for_row(0, "> " + "x" * 30)
    shell.wait_for_cursor(0, 32)
    shell.type("<enter>")
    shell.outcome()


def test_a_terminal_that_knows_its_size_keeps_it(shell):
    set_up(shell)
    shell.do("Tavorin.TerminalWidthIs(20)")
    type_line(shell, 30)
    shell.wait_for_cursor(0, 32)
    shell.type("<enter>")
    shell.outcome()


@pytest.mark.parametrize("width", [0, 1, -1, -2147483648, 100000])
def test_an_odd_width_is_passed_on_and_the_line_is_still_read(sizeless, width):
    assert sizeless.do("Tavorin.TerminalWidthIs(%d)" % width) is None
    type_line(sizeless, 50)
    sizeless.type("<ctrl-a>y<enter>")
    assert sizeless.outcome() == Returned("y" + "x" * 50)


@pytest.mark.parametrize("arguments,message", [
    ("'80'", "an integer is required"),
    ("None", "an integer is required"),
    ("", "function takes exactly 1 argument (0 given)"),
    ("1, 2", "function takes exactly 1 argument (2 given)"),
])
def test_what_is_no_width_changes_nothing(sizeless, arguments, message):
    sizeless.do("Tavorin.TerminalWidthIs(40)")
    sizeless.ask("Tavorin.TerminalWidthIs(%s)" % arguments)
    assert sizeless.outcome() == Raised("TypeError", message)
    type_line(sizeless, 60)
    sizeless.wait_for_cursor(1, 22)
    sizeless.type("<enter>")
    sizeless.outcome()
