"""`Tavorin.readline`: how a line read ends, and in what state it leaves the shell."""

import os
import signal

import pytest

from harness import Raised, Returned

CTRL_C = Raised("KeyboardInterrupt", "Ctrl-C pressed")
CTRL_Z = Raised("KeyboardInterrupt", "Ctrl-Z pressed")
END_OF_INPUT = Raised("EOFError", "readline returned NULL")

# How a read can end, and what it then returns or raises.  "abc" is on the line already.
WAYS_TO_END = [
    pytest.param("<enter>", Returned("abc"), id="enter"),
    pytest.param("<ctrl-c>", CTRL_C, id="ctrl-c"),
    pytest.param("<ctrl-z>", CTRL_Z, id="ctrl-z"),
    pytest.param("<ctrl-u><ctrl-d>", END_OF_INPUT, id="ctrl-d"),
]


def bits(mask):
    """The signals in a mask as the kernel shows it."""
    value = int(mask, 16)
    return {number for number in range(1, 65) if value & 1 << (number - 1)}


@pytest.mark.parametrize("keys, outcome", WAYS_TO_END)
class TestTheEndOfARead:
    def test_its_outcome(self, shell, keys, outcome):
        shell.begin_line("abc")
        shell.type(keys)
        assert shell.outcome() == outcome
        shell.assert_settings_as_before()

    def test_the_next_line_is_right(self, shell, keys, outcome):
        shell.begin_line("abc")
        shell.type(keys)
        assert shell.outcome() == outcome
        shell.read_line()

    def test_it_can_come_again_and_again(self, shell, keys, outcome):
        for _ in range(20):
            shell.begin_line("abc")
            shell.type(keys)
            assert shell.outcome() == outcome
            shell.assert_settings_as_before()
        shell.read_line()

    def test_handled_signals_are_handled_as_before(self, shell, keys, outcome):
        shell.do("report_signals(signal.SIGINT, signal.SIGTSTP)")
        before = shell.do("signal_masks()")
        shell.begin_line("abc")
        shell.type(keys)
        assert shell.outcome() == outcome
        assert shell.do("signal_masks()") == before
        assert shell.reports_of("signal") == []
        for number in (signal.SIGINT, signal.SIGTSTP):
            shell.signal(number)
            assert shell.next_report("signal")["number"] == number

    @pytest.mark.parametrize("disposition", ["SIG_DFL", "SIG_IGN"])
    def test_other_dispositions_are_as_before(self, shell, keys, outcome, disposition):
        shell.do("signal.signal(signal.SIGINT, signal.%s)\n"
                 "signal.signal(signal.SIGTSTP, signal.%s)" % (disposition, disposition))
        before = shell.do("signal_masks()")
        ignored = {signal.SIGINT, signal.SIGTSTP} & bits(before["SigIgn"])
        assert bool(ignored) == (disposition == "SIG_IGN")
        shell.begin_line("abc")
        shell.type(keys)
        assert shell.outcome() == outcome
        assert shell.do("signal_masks()") == before

    def test_the_interpreter_s_own_handlers_are_as_before(self, shell, keys, outcome):
        before = shell.do("signal_masks()")
        shell.begin_line("abc")
        shell.type(keys)
        assert shell.outcome() == outcome
        assert shell.do("signal_masks()") == before
        shell.do("report('idle')")
        shell.signal(signal.SIGINT)
        shell.next_report("stray interrupt")
        shell.read_line()

    def test_the_lock_is_held_again(self, shell, keys, outcome):
        """Another thread and the reading one go on taking turns."""
        start_counting(shell)
        shell.begin_line("abc")
        wait_for_counts(shell)
        shell.type(keys)
        assert shell.outcome() == outcome
        wait_for_counts(shell)
        assert shell.do("sum(range(1000))") == 499500
        shell.read_line()
        shell.do("stop_counting()")


def start_counting(shell):
    """Start a second Python thread in the shell that reports how far it has counted."""
    shell.do("import threading, time\n"
             "stopping = threading.Event()\n"
             "def count():\n"
             "    counted = 0\n"
             "    while not stopping.is_set():\n"
             "        counted += 1\n"
             "        report('count', counted=counted)\n"
             "        time.sleep(0.005)\n"
             "counter = threading.Thread(target=count)\n"
             "counter.start()\n"
             "def stop_counting():\n"
             "    stopping.set()\n"
             "    counter.join()\n")


def wait_for_counts(shell):
    """Wait until the second thread has gone on counting."""
    counted = len(shell.reports_of("count"))
    shell.wait_until(lambda: len(shell.reports_of("count")) >= counted + 5,
                     "the other thread to count on")


def test_another_thread_runs_while_a_line_is_awaited(shell):
    start_counting(shell)
    shell.begin_line("ab")
    wait_for_counts(shell)
    shell.type("c")
    wait_for_counts(shell)
    shell.type("<enter>")
    assert shell.outcome() == Returned("abc")
    shell.do("stop_counting()")


def test_the_process_runs_on_after_ctrl_z(terminal):
    """Even where the process could be stopped: it is a job under job control."""
    shell = terminal(job_control=True)
    for _ in range(3):
        shell.begin_line("abc")
        shell.type("<ctrl-z>")
        assert shell.outcome() == CTRL_Z
        shell.assert_settings_as_before()
    shell.read_line()
    assert [state["state"] for state in shell.job_states] == ["started"]


def test_ctrl_d_on_a_line_with_text_is_no_end(shell):
    shell.begin_line("abc")
    shell.type("<ctrl-d><enter>")
    assert shell.outcome() == Returned("abc")


def test_end_of_input_can_come_first(shell):
    shell.begin_line()
    shell.type("<ctrl-d>")
    assert shell.outcome() == END_OF_INPUT
    shell.read_line()


def test_a_byte_255_reads_as_end_of_input(shell):
    shell.begin_line()
    shell.paste(b"\xff")
    assert shell.outcome() == END_OF_INPUT
    shell.read_line()


def test_the_module_s_handlers_are_in_place_only_during_a_read(shell):
    shell.do("signal.signal(signal.SIGINT, signal.SIG_IGN)\n"
             "signal.signal(signal.SIGTSTP, signal.SIG_IGN)")
    assert {signal.SIGINT, signal.SIGTSTP} <= bits(shell.do("signal_masks()")["SigIgn"])
    shell.begin_line("abc")
    with open("/proc/%d/status" % shell.pid) as status:
        caught = dict(line.split(":", 1) for line in status)["SigCgt"]
    assert {signal.SIGINT, signal.SIGTSTP} <= bits(caught)
    shell.type("<enter>")
    assert shell.outcome() == Returned("abc")
    assert {signal.SIGINT, signal.SIGTSTP} <= bits(shell.do("signal_masks()")["SigIgn"])


def test_signals_sent_by_another_process_count_as_their_keys(shell):
    for number, outcome in ((signal.SIGINT, CTRL_C), (signal.SIGTSTP, CTRL_Z)):
        shell.begin_line("abc")
        shell.signal(number)
        assert shell.outcome() == outcome
        shell.assert_settings_as_before()
    shell.read_line()


@pytest.mark.parametrize("number, outcome", [(signal.SIGINT, CTRL_C), (signal.SIGTSTP, CTRL_Z)])
def test_a_signal_that_waits_for_the_read_ends_it(shell, number, outcome):
    """The shell blocks the signal, gets one, and unblocks it when the line read is under way."""
    shell.do("import ctypes\n"
             "libc = ctypes.CDLL(None)\n"
             "one = (ctypes.c_ulong * 16)(1 << (%d - 1))\n"
             "report_signals(%d)\n" % (number, number))
    shell.do("libc.pthread_sigmask(0, one, None)")
    shell.signal(number)
    shell.ask("Tavorin.readline('> ')")
    assert shell.outcome() == outcome
    assert shell.reports_of("signal") == []
    shell.do("libc.pthread_sigmask(1, one, None)")
    shell.read_line()


def test_two_signals_at_once_are_two(shell):
    """One ends the read; the other is the shell's own."""
    shell.do("report_signals(signal.SIGINT, signal.SIGTSTP)")
    both = {CTRL_C: signal.SIGTSTP, CTRL_Z: signal.SIGINT}
    for first, second in [(signal.SIGINT, signal.SIGTSTP), (signal.SIGTSTP, signal.SIGINT)] * 10:
        shell.begin_line("abc")
        shell.signal(first)
        shell.signal(second)
        outcome = shell.outcome()
        assert outcome in both
        assert shell.next_report("signal")["number"] == both[outcome]
        shell.assert_settings_as_before()
    assert not shell.has_report("signal")
    shell.read_line()


class TestArguments:
    def test_keys_of_a_history_mode(self, shell):
        for arguments in ("None, 'exec'", "None, 'config', 'exec'", "None, 'x', 'unknown'"):
            shell.begin_line("abc", "Tavorin.readline('> ', %s)" % arguments)
            shell.type("<enter>")
            assert shell.outcome() == Returned("abc")

    def test_the_prompt_is_taken_as_it_stands(self, shell):
        shell.ask("Tavorin.readline('100%s %n\\\\> ')")
        shell.wait_for_row(0, "100%s %n\\> ")
        shell.type("abc<enter>")
        assert shell.outcome() == Returned("abc")
        assert shell.row(0) == "100%s %n\\> abc"

    def test_the_prompt_follows_what_python_printed(self, shell):
        shell.ask("sys.stdout.write('hello\\n')\nline = Tavorin.readline('> ')")
        shell.wait_for_prompt()
        shell.type("abc<enter>")
        assert shell.outcome() == Returned(None)
        assert [shell.row(0), shell.row(1)] == ["hello", "> abc"]

    def test_a_callable_that_is_none_completes_nothing(self, shell):
        shell.begin_line("ab", "Tavorin.readline('> ', None)")
        shell.type("<tab>?c<enter>")
        assert shell.outcome() == Returned("abc")

    def test_wrong_arguments_read_nothing(self, shell):
        shell.ask("Tavorin.readline('> ', None, 5)")
        assert shell.outcome().type == "TypeError"
        shell.assert_settings_as_before()
        assert shell.output == b""
        shell.read_line()


class TestOtherInterrupts:
    """KeyboardInterrupts that no key pressed during the read has caused."""

    def test_another_thread_interrupts_the_main_one(self, shell, tmp_path):
        """The interpreter can act on it only when it runs again: after the line."""
        signpost = tmp_path / "signpost"
        os.mkfifo(signpost)
        shell.do("import thread, threading\n"
                 "def interrupt():\n"
                 "    open(%r).read()\n"
                 "    thread.interrupt_main()\n"
                 "    report('interrupted')\n" % str(signpost))
        shell.do("threading.Thread(target=interrupt).start()")
        shell.begin_line("ab", "Tavorin.readline('> ')\nfor _ in range(10000): pass")
        signpost.write_text("go")
        shell.next_report("interrupted")
        shell.type_and_see("c")
        shell.type("<enter>")
        assert shell.outcome() == Raised("KeyboardInterrupt", "")
        shell.assert_settings_as_before()
        shell.read_line()

    def test_a_line_that_names_one(self, shell):
        shell.begin_line("KeyboardInterrupt: Ctrl-C pressed")
        shell.type("<enter>")
        assert shell.outcome() == Returned("KeyboardInterrupt: Ctrl-C pressed")
        shell.read_line()

    def test_a_completer_that_raises_one(self, shell):
        shell.do("def completer(key, line, position):\n"
                 "    raise KeyboardInterrupt('of my own')\n")
        shell.begin_line("abc", "Tavorin.readline('> ', completer)")
        shell.type("<tab>")
        assert shell.outcome() == Raised("KeyboardInterrupt", "of my own")
        shell.assert_settings_as_before()
        shell.read_line()


class TestManyReads:
    def test_a_thousand_lines_leave_no_descriptor_open(self, shell):
        shell.do("def descriptors():\n    return len(os.listdir('/proc/self/fd'))\n")
        shell.read_line()
        before = shell.do("descriptors()")
        shell.ask("[Tavorin.readline('> ') for _ in range(1000)]")
        shell.wait_for_prompt()
        shell.paste(b"abc\r" * 1000)
        assert shell.outcome() == Returned(["abc"] * 1000)
        assert shell.do("descriptors()") == before


READ_ON_A_THREAD = """
import threading
def read():
    Tavorin.readline('> ')
reader = threading.Thread(target=read)
reader.daemon = True
reader.start()
"""


def test_a_process_that_leaves_while_a_thread_reads(shell):
    shell.do(READ_ON_A_THREAD)
    shell.wait_for_prompt()
    shell.ask("sys.exit(3)")
    assert shell.wait_for_end() == 3
    shell.assert_settings_as_before()


def test_a_forked_child_that_leaves_meanwhile_changes_nothing(shell):
    """Its own exit does not affect the line."""
    shell.do("import ctypes\n"
             "def completer(key, line, position):\n"
             "    child = os.fork()\n"
             "    if child == 0:\n        ctypes.CDLL(None).exit(0)\n"
             "    report('left', status=os.waitpid(child, 0)[1])\n")
    shell.begin_line("abc", "Tavorin.readline('> ', completer)")
    shell.type("<tab>")
    assert shell.next_report("left")["status"] == 0
    assert shell.is_editing()
    shell.type("<enter>")
    assert shell.outcome() == Returned("abc")
    shell.assert_settings_as_before()


class TestReadlineThreadId:
    """The exported number of the thread that reads lines."""

    @pytest.fixture
    def shell(self, shell):
        shell.do("import ctypes, thread, threading\n"
                 "library = ctypes.CDLL(Tavorin.__file__)\n"
                 "def thread_id():\n"
                 "    return ctypes.c_ulong.in_dll(library, 'readlineThreadId').value\n")
        return shell

    def test_it_is_zero_before_any_line(self, shell):
        assert shell.do("thread_id()") == 0

    def test_a_line_records_its_thread(self, shell):
        shell.ask("Tavorin.readline('> ')")
        shell.type("<enter>")
        assert shell.outcome() == Returned("")
        assert shell.do("thread_id() == thread.get_ident()") is True

    def test_a_simple_line_does_not(self, shell):
        shell.ask("Tavorin.simpleReadline('> ')")
        shell.type("<enter>")
        assert shell.outcome() == Returned("")
        assert shell.do("thread_id()") == 0

    def test_a_line_in_another_thread_records_that_one(self, shell):
        shell.do("def read():\n"
                 "    report('read', line=Tavorin.readline('> '), thread=thread.get_ident())\n")
        shell.do("threading.Thread(target=read).start()")
        shell.wait_for_prompt()
        shell.type("<enter>")
        other = shell.next_report("read")["thread"]
        assert shell.do("thread_id()") == other
        assert shell.do("thread.get_ident()") != other
