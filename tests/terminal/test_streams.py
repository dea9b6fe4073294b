"""The streams that the editor uses, closed or exchanged while a line is read and between lines."""

import signal

import pytest

from harness import Raised, Returned
from test_invariant import start_reading_thread
from test_log_monitor import watched     # a fixture
from test_reset_input import second     # a fixture
from tty_settings import apply_settings, read_settings

END = Raised("EOFError", "readline returned NULL")

# As a shell does for a new user: files of its own, whose C streams are gone once they are closed.
OWN_FILES = """
def open_terminal(path):
    sys.stdin, sys.stdout = open(path, 'r'), open(path, 'w', 1)
open_terminal(os.ttyname(0))
"""

# What code that runs within a read does to the streams.
DAMAGES = {
    "input closed": "sys.stdin.close()",
    "output closed": "sys.stdout.close()",
    "both closed": "sys.stdin.close(); sys.stdout.close()",
    "input closed and opened again": "sys.stdin.close(); sys.stdin = open(os.ttyname(1))",
    "input's descriptor closed": "os.close(sys.stdin.fileno())",
    "output's descriptor closed": "os.close(sys.stdout.fileno())",
    "another file behind the input": "os.dup2(os.open('/dev/zero', os.O_RDWR), sys.stdin.fileno())",
    "another file behind the output": "os.dup2(os.open('/dev/null', os.O_RDWR), sys.stdout.fileno())",
    "reset": "Tavorin.resetInput()",
    "reset and closed": "Tavorin.resetInput(); sys.stdin.close(); sys.stdout.close()",
    "reset and let go": "Tavorin.resetInput(); sys.stdin = sys.stdout = None",
}
RESULTS = ["None", "'text'"]


def callback(shell, damage, result):
    """A function that does the damage when it is called, whatever its arguments are."""
    shell.do("def damage(*arguments):\n    %s\n    return %s\n" % (damage, result))


@pytest.mark.parametrize("files", ["", OWN_FILES], ids=["process", "own"])
@pytest.mark.parametrize("damage", DAMAGES)
class TestWithinARead:
    """The line ends as at the end of input, and the terminal is given back."""

    @pytest.mark.parametrize("result", RESULTS)
    def test_by_a_completer(self, shell, files, damage, result):
        shell.do(files)
        callback(shell, DAMAGES[damage], result)
        shell.begin_line("abc", "Tavorin.readline('> ', damage)")
        shell.type("<tab>")
        assert shell.outcome() == END
        shell.assert_settings_as_before()

    @pytest.mark.parametrize("result", ["None", "1"])
    def test_by_a_log_callback(self, watched, files, damage, result):
        shell, monitor = watched(callback="lambda *both: damage()")
        shell.do(files)
        callback(shell, DAMAGES[damage], result)
        shell.begin_line("abc")
        monitor.send((1, 2))
        assert shell.outcome() == END
        shell.assert_settings_as_before()

    def test_by_a_completer_that_raises(self, shell, files, damage):
        shell.do(files)
        callback(shell, DAMAGES[damage], "1 / 0")
        shell.begin_line("abc", "Tavorin.readline('> ', damage)")
        shell.type("<tab>")
        assert shell.outcome().type == "ZeroDivisionError"
        shell.assert_settings_as_before()


@pytest.mark.parametrize("damage", ["input closed", "output closed", "both closed"])
def test_what_is_closed_between_two_lines_is_the_end_of_input(shell, damage):
    """A reset and new files make the shell as good as before."""
    shell.do(OWN_FILES)
    shell.read_line()
    shell.do(DAMAGES[damage])
    for call in ("readline", "simpleReadline"):
        shell.ask("Tavorin.%s('> ')" % call)
        assert shell.outcome() == Raised("EOFError", "%s returned NULL" % call)
    shell.assert_settings_as_before()
    shell.do("Tavorin.resetInput(); open_terminal(os.ttyname(0))")
    shell.read_line()


def test_the_terminal_is_given_back_through_its_name_if_no_descriptor_is_left(shell):
    shell.do("def damage(*arguments): [os.close(fd) for fd in (0, 1, 2)]\n")
    shell.begin_line("abc", "Tavorin.readline('> ', damage)")
    shell.type("<tab>")
    assert shell.outcome() == END
    shell.assert_settings_as_before()


def test_another_terminal_on_the_same_descriptor_is_left_alone(shell, second):
    shell.do("def damage(*arguments): os.dup2(os.open(%r, os.O_RDWR | os.O_NOCTTY), 0)\n"
             % second.path)
    shell.begin_line("abc", "Tavorin.readline('> ', damage)")
    others = second.found.changed({"ECHOE": False, "VERASE": 8})
    apply_settings(second.slave, others)
    shell.type("<tab>")
    assert shell.outcome() == END
    shell.assert_settings_as_before()
    assert not others.differences(read_settings(second.slave))


class TestByAnotherThread:
    """A second thread reads the line; the main one is the other."""

    @pytest.fixture
    def reading(self, shell):
        shell.do(OWN_FILES)
        shell.do("import threading\n"
                 "def read():\n"
                 "    try:\n        report('line', line=Tavorin.readline('> '))\n"
                 "    except EOFError as end:\n        report('line', line=str(end))\n"
                 "reader = threading.Thread(target=read)")
        shell.do("reader.start()")
        shell.wait_for_prompt()
        shell.type_and_see("abc")
        yield shell
        shell.do("reader.join()")
        shell.assert_settings_as_before()

    @pytest.mark.parametrize("name", ["stdin", "stdout"])
    def test_a_file_in_use_cannot_be_closed(self, reading, name):
        """Python's own rule for a file that is being read, or written to."""
        reading.ask("sys.%s.close()" % name)
        assert reading.outcome() == Raised(
            "IOError", "close() called during concurrent operation on the same file object")
        reading.type("<enter>")
        assert reading.next_report("line")["line"] == "abc"

    def test_a_reset_is_refused(self, reading):
        reading.ask("Tavorin.resetInput()")
        assert reading.outcome() == Raised(
            "RuntimeError", "resetInput was called while another thread reads a line")
        reading.type("<enter>")
        assert reading.next_report("line")["line"] == "abc"

    def test_a_closed_descriptor_ends_the_input_at_the_next_key(self, reading):
        reading.do("os.close(sys.stdin.fileno())")
        reading.type("d")
        assert reading.next_report("line")["line"] == "readline returned NULL"


def test_a_signal_gives_the_terminal_back_after_the_descriptor_was_closed(shell):
    """The wait goes on with the file that was behind the descriptor when it began."""
    start_reading_thread(shell)
    shell.wait_for_sleep()
    shell.do("os.close(0)")
    shell.signal(signal.SIGTERM)
    assert shell.wait_for_end() == -signal.SIGTERM
    shell.assert_settings_as_before()


def test_the_editor_is_not_set_up_anew_within_a_read(shell):
    shell.do("def completer(*arguments):\n"
             "    Tavorin.resetInput()\n"
             "    Tavorin.keyBindingsEnabledIs(True)\n")
    shell.begin_line("abc", "Tavorin.readline('> ', completer)")
    shell.type("<tab>")
    assert shell.outcome() == Raised(
        "RuntimeError", "the line editor cannot be set up while a line is read")
    shell.read_line()


def test_files_can_be_closed_after_a_line_that_a_signal_ended(shell):
    """No use of the files is left over."""
    shell.do(OWN_FILES)
    shell.begin_line("abc")
    shell.type("<ctrl-c>")
    assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")
    shell.do("sys.stdin.close(); sys.stdout.close()")


@pytest.mark.parametrize("missing", ["editor", "history"])
@pytest.mark.parametrize("call", ["Tavorin.readline('> ')", "Tavorin.keyBindingsEnabledIs(True)"])
def test_without_memory_for_the_editor_there_is_an_exception(terminal, call, missing):
    shell = terminal(opened=True)
    shell.do("import ctypes; inside = ctypes.CDLL(Tavorin.__file__)")
    counts = "[sys.getrefcount(sys.stdin), sys.getrefcount(sys.stdout)]"
    before = shell.do(counts)
    shell.do("inside.run_out_of_memory(%r)" % missing)
    shell.ask(call)
    assert shell.outcome() == Raised("MemoryError", "the line editor cannot be set up")
    assert shell.do(counts) == before
    shell.do("inside.run_out_of_memory('')")
    shell.read_line()
