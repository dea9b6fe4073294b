"""Handing the module to a new user on a new terminal."""

import os
import pty
import select

import pytest

from harness import Raised, Returned
from tty_settings import read_settings

# Opens the terminal of a new user in place of the present one, as a shell does.
NEW_USER = """
def new_user(path):
    Tavorin.resetInput()
    sys.stdin = open(path, 'r')
    sys.stdout = open(path, 'w', 1)
"""


class SecondTerminal:
    """A further pseudo-terminal, on which nothing is drawn: only its bytes count."""

    def __init__(self):
        self.master, self.slave = pty.openpty()
        self.path = os.ttyname(self.slave)
        self.found = read_settings(self.slave)
        self.output = b""

    def wait_for(self, shell, data):
        shell.wait_until(lambda: self._has(data), "%r on the second terminal" % data)

    def _has(self, data):
        while select.select([self.master], [], [], 0)[0]:
            self.output += os.read(self.master, 65536)
        return data in self.output

    def type(self, data):
        os.write(self.master, data)

    def close(self):
        os.close(self.master)
        os.close(self.slave)


@pytest.fixture
def second():
    terminal = SecondTerminal()
    yield terminal
    terminal.close()


def read_line(shell, keys="typed<enter>"):
    shell.begin_line(call="Tavorin.readline('> ', None, 'exec', '')")
    shell.type(keys)
    return shell.outcome()


def test_a_line_without_echo_leaves_nothing_of_its_terminal(terminal, second):
    """As of a password: the prompt after it belongs to the new user's terminal."""
    shell = terminal(settings={"ECHO": False})
    shell.ask("Tavorin.readline('> ')")
    shell.wait_for_prompt("> ", editing=False)
    shell.type("abc<enter>")
    assert shell.outcome() == Returned("abc")
    shell.do(NEW_USER + "new_user(%r)" % second.path)
    shell.ask("Tavorin.readline('new> ')")
    second.wait_for(shell, b"new> ")


def test_a_reset_empties_the_history(shell):
    shell.do("Tavorin.addHistory('line', 'exec', '')")
    read_line(shell)
    assert shell.do("Tavorin.resetInput()") is None
    assert shell.do("Tavorin.history()") == []


def test_a_reset_before_any_set_up_makes_no_editor(shell):
    """The references that it drops are the ones that a set-up takes: here the test takes them."""
    shell.do("import ctypes; [ctypes.pythonapi.Py_IncRef(ctypes.py_object(f))"
             " for f in (sys.stdin, sys.stdout)]")
    shell.do("Tavorin.addHistory('early', 'exec', '')")
    shell.do("Tavorin.resetInput()")
    assert shell.do("Tavorin.history()") == []
    assert shell.do("Tavorin.keyBindingsEnabled()") is False
    assert bytes(shell.output) == b""
    shell.assert_settings_as_before()


@pytest.mark.parametrize("arguments", ["", "1", "'a', None, 3"])
def test_its_arguments_are_ignored(shell, arguments):
    read_line(shell)
    assert shell.do("Tavorin.resetInput(%s)" % arguments) is None


def test_a_reset_gives_back_the_references_of_the_set_up(shell):
    counts = "[sys.getrefcount(sys.stdin), sys.getrefcount(sys.stdout)]"
    before = shell.do(counts)
    read_line(shell)
    assert shell.do(counts) == [count + 1 for count in before]
    shell.do("Tavorin.resetInput()")
    assert shell.do(counts) == before


def test_the_next_read_is_from_the_new_users_terminal(shell, second):
    shell.do(NEW_USER)
    assert read_line(shell) == Returned("typed")
    written = bytes(shell.output)
    shell.do("new_user(%r)" % second.path)
    shell.ask("Tavorin.readline('second> ')")
    second.wait_for(shell, b"second> ")
    second.type(b"by the second\x01X\r")
    assert shell.outcome() == Returned("Xby the second")
    assert bytes(shell.output) == written
    shell.assert_settings_as_before()
    assert not second.found.differences(read_settings(second.slave))


def test_nothing_of_the_first_user_is_left(shell, second):
    shell.do(NEW_USER)
    shell.do("Tavorin.addHistory('secret', 'exec', '')")
    assert read_line(shell, "<ctrl-v>killed<ctrl-u>typed<enter>") == Returned("typed")
    shell.do("new_user(%r)" % second.path)
    shell.ask("Tavorin.readline('second> ', None, 'exec')")
    second.wait_for(shell, b"second> ")
    second.type(b"\x10\x10\x19\x1f\r")      # recall, recall, yank, undo
    assert shell.outcome() == Returned("")
    assert b"secret" not in second.output and b"killed" not in second.output


def test_what_belongs_to_the_shell_is_kept(shell, second):
    shell.do(NEW_USER)
    shell.do("Tavorin.newHistoryMode('A', ''); Tavorin.newHistoryMode('B', 'A')")
    shell.do("Tavorin.historyLimitIs(2)")
    read_line(shell)
    shell.do("new_user(%r)" % second.path)
    assert shell.do("Tavorin.keyBindingsEnabled()") is True
    shell.do("[Tavorin.addHistory(line, 'A', '') for line in 'abc']")
    assert shell.do("Tavorin.history('B')") == ["b", "c"]
    shell.ask("Tavorin.readline('second> ', None, 'B')")
    second.wait_for(shell, b"second> ")
    second.type(b"\x10\r")
    assert shell.outcome() == Returned("c")


@pytest.mark.parametrize("arrives", ["before", "after"])
def test_an_old_terminal_may_be_hung_up(shell, arrives):
    """The old terminal is gone by the time the new one is set up."""
    old, new = SecondTerminal(), SecondTerminal()
    shell.do(NEW_USER)
    shell.do("signal.signal(signal.SIGHUP, signal.SIG_IGN)")
    shell.do("sys.stdin, sys.stdout = open(%r), open(%r, 'w', 1)" % (old.path, old.path))
    shell.ask("Tavorin.readline('old> ')")
    old.wait_for(shell, b"old> ")
    if arrives == "before":
        old.close()
        assert shell.outcome() == Raised("EOFError", "readline returned NULL")
    else:
        old.type(b"line\r")
        assert shell.outcome() == Returned("line")
        old.close()
    shell.do("new_user(%r)" % new.path)
    shell.ask("Tavorin.readline('new> ')")
    new.wait_for(shell, b"new> ")
    new.type(b"fresh\r")
    assert shell.outcome() == Returned("fresh")
    assert not new.found.differences(read_settings(new.slave))
    new.close()


def test_a_closed_terminal_may_be_followed_by_one_on_the_same_descriptor(shell, second):
    """Nothing of the old editor may reach a file that has its descriptor number now."""
    first = SecondTerminal()
    shell.do(NEW_USER)
    shell.do("sys.stdin, sys.stdout = open(%r), open(%r, 'w', 1)" % (first.path, first.path))
    shell.ask("Tavorin.readline('first> ')")
    first.wait_for(shell, b"first> ")
    first.type(b"line\r")
    assert shell.outcome() == Returned("line")
    shell.do("descriptor = sys.stdin.fileno()")
    shell.do("new_user(%r)" % second.path)
    shell.ask("Tavorin.readline('second> ')")
    second.wait_for(shell, b"second> ")
    second.type(b"line\r")
    assert shell.outcome() == Returned("line")
    assert not second.found.differences(read_settings(second.slave))
    first.close()


def test_a_simple_read_between_reset_and_set_up_is_the_end_of_input(shell):
    read_line(shell)
    shell.do("Tavorin.resetInput()")
    shell.type("typed ahead<enter>")
    shell.ask("Tavorin.simpleReadline('> ')")
    assert shell.outcome() == Raised("EOFError", "simpleReadline returned NULL")
    shell.ask("Tavorin.readline('> ')")
    assert shell.outcome() == Returned("typed ahead")


def test_a_new_editor_carries_the_applications_name(shell, tmp_path):
    """The user's settings file can bind keys for one application by name."""
    settings = tmp_path / "editrc"
    settings.write_text("OmbrelCli:bind ^G ed-move-to-beg\n")
    shell.do("os.environ['EDITRC'] = %r" % str(settings))
    assert read_line(shell, "b<ctrl-g>a<enter>") == Returned("ba")
    shell.do("Tavorin.resetInput()")
    assert read_line(shell, "b<ctrl-g>a<enter>") == Returned("ab")


def test_many_hand_overs_leak_nothing(shell, second):
    """The number of descriptors stays the same, and so does memory after a warm-up of some hundreds,
    except for what the terminal library leaks with each look-up of a terminal type: 32 bytes,
    including the allocator's own."""
    shell.do(NEW_USER + """
def memory():
    with open('/proc/self/statm') as file:
        return int(file.read().split()[1])
def hand_over(times):
    for _ in xrange(times):
        Tavorin.keyBindingsEnabledIs(True)
        Tavorin.addHistory('a line', 'exec', '')
        new_user(path)
    return [memory(), len(os.listdir('/proc/self/fd'))]
path = %r
Tavorin.keyBindingsEnabledIs(True)
""" % second.path)
    pages, descriptors = shell.do("hand_over(500)")
    pages_then, descriptors_then = shell.do("hand_over(%d)" % HAND_OVERS)
    assert descriptors_then == descriptors
    if not UNDER_SANITIZERS:
        of_library = HAND_OVERS * 32 // 4096
        assert pages_then - pages < of_library + 50, "%d pages more" % (pages_then - pages)


# The sanitizers make each take many times as long, and keep freed memory back on purpose.
UNDER_SANITIZERS = bool(os.environ.get("TAVORIN_PRELOAD"))
HAND_OVERS = 200 if UNDER_SANITIZERS else 10000
