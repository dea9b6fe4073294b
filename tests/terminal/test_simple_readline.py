"""`Tavorin.simpleReadline`: a line without the module's own set-up and signal handling."""

import signal

import pytest

from harness import Raised, Returned

SIMPLE = "Tavorin.simpleReadline('> ')"
END_OF_INPUT = Raised("EOFError", "simpleReadline returned NULL")


def test_it_can_be_the_very_first_call(shell):
    shell.begin_line("ac", SIMPLE)
    shell.type("<left>b<enter>")
    assert shell.outcome() == Returned("abc")
    shell.assert_settings_as_before()


def test_a_read_with_set_up_can_follow(shell):
    shell.begin_line("abc", SIMPLE)
    shell.type("<enter>")
    assert shell.outcome() == Returned("abc")
    shell.do("def completer(key, line, position):\n    return 'd'\n")
    shell.begin_line("abc", "Tavorin.readline('> ', completer)")
    shell.type("<tab><enter>")
    assert shell.outcome() == Returned("abcd")
    shell.assert_settings_as_before()


def test_it_follows_a_read_with_set_up(shell):
    shell.read_line()
    for line in ("abc", ""):
        shell.begin_line(line, SIMPLE)
        shell.type("<enter>")
        assert shell.outcome() == Returned(line)
        shell.assert_settings_as_before()
    shell.read_line()


@pytest.mark.parametrize("set_up", [False, True])
def test_end_of_input(shell, set_up):
    if set_up:
        shell.read_line()
    for _ in range(2):
        shell.begin_line("", SIMPLE)
        shell.type("<ctrl-d>")
        assert shell.outcome() == END_OF_INPUT
        shell.assert_settings_as_before()
    shell.read_line()


def test_another_thread_runs_meanwhile(shell):
    shell.do("import threading\n"
             "def echo():\n"
             "    while True:\n"
             "        line = os.read(source, 100)\n"
             "        if not line: return\n"
             "        report('echo', line=line)\n"
             "source, sink = os.pipe()\n"
             "thread = threading.Thread(target=echo)\n"
             "thread.start()")
    shell.begin_line("", "[os.write(sink, 'x'), " + SIMPLE + "][1]")
    assert shell.next_report("echo")["line"] == "x"
    shell.type("abc<enter>")
    assert shell.outcome() == Returned("abc")
    shell.do("os.close(sink)\nthread.join()")


@pytest.fixture(params=[False, True], ids=["first call", "after a readline"])
def any_shell(shell, request):
    """A shell in which the module's editor is set up, and one in which it is not."""
    if request.param:
        shell.read_line()
    return shell


class TestSignals:
    """The module installs no handler: signals are the shell's own."""

    @pytest.mark.parametrize("key, number", [("<ctrl-c>", signal.SIGINT),
                                             ("<ctrl-z>", signal.SIGTSTP)])
    def test_a_handler_is_called_and_the_line_goes_on(self, any_shell, key, number):
        shell = any_shell
        shell.do("report_signals(signal.SIGINT, signal.SIGTSTP)")
        before = shell.do("signal_masks()")
        shell.begin_line("abc", SIMPLE)
        shell.type(key)
        shell.wait_until(shell.is_editing, "editing to go on")
        shell.type("def<enter>")
        assert shell.outcome() == Returned("abcdef")
        assert [report["number"] for report in shell.reports_of("signal")] == [number]
        assert shell.do("signal_masks()") == before
        shell.assert_settings_as_before()
        shell.read_line()

    @pytest.mark.parametrize("key", ["<ctrl-c>", "<ctrl-z>"])
    def test_an_ignored_signal_changes_nothing(self, any_shell, key):
        shell = any_shell
        shell.do("signal.signal(signal.SIGINT, signal.SIG_IGN)\n"
                 "signal.signal(signal.SIGTSTP, signal.SIG_IGN)")
        before = shell.do("signal_masks()")
        shell.begin_line("abc", SIMPLE)
        shell.type(key)
        shell.type("def<enter>")
        assert shell.outcome() == Returned("abcdef")
        assert shell.do("signal_masks()") == before
        shell.assert_settings_as_before()
        shell.read_line()

    def test_the_interpreter_s_interrupt_comes_after_the_line(self, any_shell):
        shell = any_shell
        shell.begin_line("abc", "line = " + SIMPLE + "\nfor _ in range(10000): pass")
        shell.type("<ctrl-c>def<enter>")
        assert shell.outcome() == Raised("KeyboardInterrupt", "")
        shell.assert_settings_as_before()
        shell.read_line()

    def test_the_default_action_ends_the_process_with_the_terminal_given_back(self, any_shell):
        shell = any_shell
        shell.do("signal.signal(signal.SIGINT, signal.SIG_DFL)")
        shell.begin_line("abc", SIMPLE)
        shell.type("<ctrl-c>")
        assert shell.wait_for_end() == -signal.SIGINT
        shell.assert_settings_as_before()

    def test_a_signal_after_a_completion_is_the_shell_s_own_too(self, shell):
        shell.do("report_signals(signal.SIGINT)\n"
                 "def completer(key, line, position):\n    return 'd'\n")
        shell.begin_line("", "Tavorin.readline('> ', completer)")
        shell.type("<enter>")
        assert shell.outcome() == Returned("")
        shell.begin_line("abc", SIMPLE)
        shell.type("<tab>")
        shell.wait_for_cursor_row("> abcd")
        shell.type("<ctrl-c>")
        assert shell.wait_until(lambda: shell.is_editing(), "editing to go on")
        shell.type("e<enter>")
        assert shell.outcome() == Returned("abcde")
        assert len(shell.reports_of("signal")) == 1
        shell.assert_settings_as_before()


class TestStopping:
    """Ctrl-Z with the default action, for a shell that runs under job control."""

    @pytest.fixture
    def job(self, terminal):
        return terminal(job_control=True)

    def stop_and_continue(self, job):
        job.type("<ctrl-z>")
        job.wait_for_job_state("stopped")
        assert job.job_states[-1]["signal"] == signal.SIGTSTP
        job.assert_settings_as_before()
        job.signal(signal.SIGCONT)
        job.wait_for_job_state("continued")
        job.wait_until(job.is_editing, "editing to go on")

    def test_the_line_goes_on_with_what_was_typed(self, job):
        job.begin_line("abc", SIMPLE)
        self.stop_and_continue(job)
        job.wait_for_cursor_row("> abc")
        job.type("def<enter>")
        assert job.outcome() == Returned("abcdef")
        job.assert_settings_as_before()
        job.read_line()

    def test_it_can_happen_twice(self, job):
        job.begin_line("abc", SIMPLE)
        self.stop_and_continue(job)
        self.stop_and_continue(job)
        job.type("<enter>")
        assert job.outcome() == Returned("abc")
        job.assert_settings_as_before()

    def test_the_dispositions_are_as_before(self, job):
        before = job.do("signal_masks()")
        job.begin_line("abc", SIMPLE)
        self.stop_and_continue(job)
        job.type("<enter>")
        assert job.outcome() == Returned("abc")
        assert job.do("signal_masks()") == before


class TestAnExceptionInTheCompleter:
    """The read ends, and the exception waits for the next `readline`."""

    @pytest.fixture
    def shell(self, shell):
        shell.do("def completer(key, line, position):\n    raise ValueError('from ' + line)\n")
        shell.begin_line("", "Tavorin.readline('> ', completer)")
        shell.type("<enter>")
        assert shell.outcome() == Returned("")
        shell.begin_line("abc", SIMPLE)
        shell.type("<tab>")
        return shell

    def test_the_simple_read_returns_nothing(self, shell):
        assert shell.outcome() == END_OF_INPUT
        shell.assert_settings_as_before()

    def test_the_next_readline_raises_it(self, shell):
        assert shell.outcome() == END_OF_INPUT
        shell.begin_line("x")
        shell.type("<enter>")
        assert shell.outcome() == Raised("ValueError", "from abc")
        shell.read_line()


def test_it_does_not_become_the_reading_thread(shell):
    """That is the thread of the latest readline call."""
    shell.do("import ctypes, threading\n"
             "id_of_reader = ctypes.c_ulong.in_dll(ctypes.CDLL(Tavorin.__file__), "
             "'readlineThreadId')\n"
             "def read():\n    report('read', line=Tavorin.simpleReadline('> '))")
    shell.read_line()
    before = shell.do("id_of_reader.value")
    assert before != 0
    shell.do("reader = threading.Thread(target=read)\nreader.start()")
    shell.wait_for_prompt()
    shell.type("abc<enter>")
    assert shell.next_report("read")["line"] == "abc"
    shell.do("reader.join()")
    assert shell.do("id_of_reader.value") == before
