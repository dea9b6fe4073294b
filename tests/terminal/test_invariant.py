"""What must never happen ends the process at once, with a report of fixed wording."""

import ctypes
import re
import signal

import pytest

from harness import PIPE, Returned

ASSERTION = re.compile(rb"^[^:\n]*: (?P<file>[^:\n]*):(?P<line>\d+): (?P<function>[^\n]*): "
                       rb"Assertion `(?P<condition>.*)' failed\.$", re.MULTILINE)


def wait_for_abort(shell):
    """Wait until the child has aborted; it must have given the terminal back before."""
    assert shell.wait_for_end() == -signal.SIGABRT
    shell.assert_settings_as_before()


def failed_assertion(shell):
    """The C library's report of a failed assertion: file, line, function, condition."""
    wait_for_abort(shell)
    found = ASSERTION.findall(bytes(shell.errors))
    assert len(found) == 1, bytes(shell.errors)
    return tuple(part.decode() for part in found[0])


def start_reading_thread(shell, wait_for_read=None):
    """Have a second thread read a line, and wait until it does; returns the thread's id."""
    shell.do("import thread, threading, time\n"
             "def read():\n"
             "    report('reader', thread=thread.get_ident())\n"
             "    Tavorin.readline('> ')\n"
             "    report('read')\n")
    shell.do("threading.Thread(target=read).start()")
    (wait_for_read or shell.wait_for_prompt)()
    return shell.next_report("reader")["thread"]


@pytest.mark.parametrize("call", ["Tavorin.readline('$ ')", "Tavorin.simpleReadline('$ ')"])
def test_two_threads_cannot_read_at_once(shell, call):
    start_reading_thread(shell)
    shell.ask(call)
    assert failed_assertion(shell) == (
        "/src/Cli/Tavorin", "64", "releaseGil", "savedPyThreadState == ((void *)0)")


def test_a_completion_outside_of_a_read(shell):
    shell.do("import ctypes\n"
             "def completer(key, line, position): pass\n")
    shell.begin_line("", "Tavorin.readline('> ', completer)")
    shell.type("<enter>")
    assert shell.outcome() == Returned("")
    shell.ask("ctypes.PyDLL(Tavorin.__file__).complete_line(0, 9)")
    assert failed_assertion(shell) == (
        "/src/Cli/Tavorin", "57", "acquireGil", "savedPyThreadState != ((void *)0)")


@pytest.mark.parametrize("call", ["Tavorin.simpleReadline('> ')",
                                  "Tavorin.readline('> ', completer)"])
def test_a_completion_with_an_exception_still_waiting(shell, call):
    shell.do("def completer(key, line, position):\n    raise ValueError\n")
    shell.begin_line("", "Tavorin.readline('> ', completer)")
    shell.type("<enter>")
    assert shell.outcome() == Returned("")
    shell.begin_line("abc", "Tavorin.simpleReadline('> ')")
    shell.type("<tab>")
    assert shell.outcome().type == "EOFError"
    shell.begin_line("def", call)
    shell.type("<tab>")
    file, _, function, condition = failed_assertion(shell)
    assert (file, function, condition) == (
        "/src/Cli/Tavorin", "complete_line", "py_lhandler_ptype == ((void *)0)")


class TestASignalOnTheWrongThread:
    """A second thread reads the line, and the signal is delivered to the main one."""

    @pytest.fixture
    def reader(self, shell):
        """The id of the reading thread."""
        return start_reading_thread(shell)

    def main_thread(self, shell):
        return shell.do("thread.get_ident()")

    def send(self, shell, number):
        """To the main thread: the kernel may give a signal for the process to either."""
        assert ctypes.CDLL(None).tgkill(shell.pid, shell.pid, number) == 0

    def test_sigint_tells_both_threads(self, shell, reader):
        main = self.main_thread(shell)
        assert main != reader
        self.send(shell, signal.SIGINT)
        wait_for_abort(shell)
        expected = ("Assertion failed: readlineThreadId == pthread_self /src/Cli/Tavorin:515 "
                    "(%d, %d)" % (reader, main))
        assert expected.encode() in bytes(shell.output)

    def test_the_report_is_not_lost_where_output_is_a_pipe(self, terminal):
        shell = terminal(stdout=PIPE)
        # Without a prompt, the sign of a read is that Ctrl-Z is handled.
        start_reading_thread(shell, lambda: shell.wait_until(
            lambda: int(shell.do("signal_masks()")["SigCgt"], 16) >> (signal.SIGTSTP - 1) & 1,
            "the thread to read"))
        self.send(shell, signal.SIGINT)
        wait_for_abort(shell)
        assert b"pthread_self /src/Cli/Tavorin:515 (" in bytes(shell.piped)

    def test_sigtstp_tells_none(self, shell, reader):
        self.send(shell, signal.SIGTSTP)
        wait_for_abort(shell)
        expected = b"Assertion failed: readlineThreadId == pthread_self /src/Cli/Tavorin:533"
        assert re.search(re.escape(expected) + rb"\r?\n", bytes(shell.output))


@pytest.mark.parametrize("number, message", [(signal.SIGINT, "Ctrl-C pressed"),
                                             (signal.SIGTSTP, "Ctrl-Z pressed")])
def test_a_signal_on_the_reading_thread_is_in_order(shell, number, message):
    """The main thread keeps the signal out, so the kernel picks the thread that reads."""
    shell.do("import ctypes, threading\n"
             "def read():\n"
             "    try:\n        Tavorin.readline('> ')\n"
             "    except KeyboardInterrupt as error:\n        report('ended', text=str(error))\n")
    shell.do("reader = threading.Thread(target=read)\n"
             "reader.start()")
    shell.wait_for_prompt()
    shell.do("one = (ctypes.c_ulong * 16)(1 << (%d - 1))\n"
             "ctypes.CDLL(None).pthread_sigmask(0, one, None)" % number)
    shell.signal(number)
    assert shell.next_report("ended")["text"] == message
    shell.do("reader.join()")
    shell.assert_settings_as_before()
