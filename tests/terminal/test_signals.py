"""Signals that arrive while a line is read, other than those of Ctrl-C and Ctrl-Z."""

import os
import signal

import pytest

from harness import Raised, Returned
from monitor import ScriptedMonitor
from processes import processor_seconds
from screen import Wrapped

READ_CALLS = ["Tavorin.readline('> ')", "Tavorin.simpleReadline('> ')"]


@pytest.fixture(params=READ_CALLS, ids=["readline", "simpleReadline"])
def call(request):
    return request.param


def was_handled(shell, number):
    """How often the shell's own handler of this signal has run."""
    return sum(report["number"] == number for report in shell.reports_of("signal"))


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGALRM,
                                    signal.SIGUSR1, signal.SIGCHLD, signal.SIGCONT,
                                    signal.SIGWINCH], ids=lambda number: number.name)
class TestAHandlerOfTheShell:
    def test_it_runs_after_the_line_and_the_line_is_kept(self, shell, call, number):
        shell.do("report_signals(%d)" % number)
        before = shell.do("signal_masks()")
        shell.begin_line("abc", call)
        shell.signal(number)
        shell.type("def<enter>")
        assert shell.outcome() == Returned("abcdef")
        assert shell.next_report("signal")["number"] == number
        assert was_handled(shell, number) == 1
        assert shell.do("signal_masks()") == before
        shell.assert_settings_as_before()

    def test_it_is_in_place_for_the_next_line_too(self, shell, call, number):
        shell.do("report_signals(%d)" % number)
        for times in (1, 2, 3):
            shell.begin_line("abc", call)
            shell.signal(number)
            shell.type("<enter>")
            assert shell.outcome() == Returned("abc")
            shell.wait_until(lambda: was_handled(shell, number) == times, "the handler")
        shell.assert_settings_as_before()

    def test_a_raising_handler_raises_after_the_line(self, shell, call, number):
        shell.do("def handler(number, frame):\n    raise ValueError(number)\n"
                 "signal.signal(%d, handler)" % number)
        shell.begin_line("abc", call + "\nfor _ in range(10000): pass")
        shell.signal(number)
        shell.type("def<enter>")
        assert shell.outcome() == Raised("ValueError", str(int(number)))
        shell.assert_settings_as_before()
        shell.read_line()


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGUSR1],
                         ids=lambda number: number.name)
def test_an_ignored_signal_changes_nothing(shell, call, number):
    shell.do("signal.signal(%d, signal.SIG_IGN)" % number)
    before = shell.do("signal_masks()")
    shell.begin_line("abc", call)
    shell.signal(number)
    shell.type("def<enter>")
    assert shell.outcome() == Returned("abcdef")
    assert shell.do("signal_masks()") == before
    shell.assert_settings_as_before()


def test_ctrl_backslash_ends_the_process_with_the_terminal_given_back(shell, call):
    shell.do("import resource; resource.setrlimit(resource.RLIMIT_CORE, (0, 0))")
    shell.begin_line("abc", call)
    shell.type("<ctrl-\\>")
    assert shell.wait_for_end() == -signal.SIGQUIT
    shell.assert_settings_as_before()


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP], ids=lambda number: number.name)
def test_the_default_action_ends_the_process_with_the_terminal_given_back(shell, call, number):
    shell.begin_line("abc", call)
    shell.signal(number)
    assert shell.wait_for_end() == -number
    shell.assert_settings_as_before()


@pytest.mark.parametrize("disposition", ["SIG_IGN", "SIG_DFL"])
@pytest.mark.parametrize("key, message", [("<ctrl-c>", "Ctrl-C pressed"),
                                          ("<ctrl-z>", "Ctrl-Z pressed")])
def test_ctrl_c_and_ctrl_z_do_not_depend_on_the_shell_s_disposition(shell, disposition, key,
                                                                    message):
    shell.do("signal.signal(signal.SIGINT, signal.%s)\n"
             "signal.signal(signal.SIGTSTP, signal.%s)" % (disposition, disposition))
    shell.begin_line("abc")
    shell.type(key)
    assert shell.outcome() == Raised("KeyboardInterrupt", message)
    shell.assert_settings_as_before()


class TestWindowSize:
    def test_a_wider_window_keeps_the_line(self, terminal, call):
        shell = terminal(columns=20)
        shell.begin_line("", call)
        shell.type("0123456789abcdefghijklm")
        shell.wait_for_row(1, "ijklm")
        shell.resize(24, 60)
        shell.wait_until(lambda: any(row.rstrip().endswith("0123456789abcdefghijklm")
                                     for row in shell.screen.display), "the line in one row")
        shell.type("<ctrl-a>x<enter>")
        assert shell.outcome() == Returned("x0123456789abcdefghijklm")
        shell.assert_settings_as_before()

    def test_a_narrower_window_keeps_the_line(self, shell, call):
        line = "0123456789" * 6
        shell.begin_line(line, call)
        shell.resize(24, 20)
        shell.type("abc<ctrl-a>x<ctrl-e>y<enter>")
        assert shell.outcome() == Returned("x" + line + "abcy")
        shell.assert_settings_as_before()

    def test_the_line_wraps_at_the_new_width(self, shell, call):
        shell.begin_line("abc", call)
        shell.resize(24, 20)
        shell.wait_until(lambda: shell.row(shell.cursor[0]).endswith("> abc"), "the line")
        shell.type("defghijklmnopqrstuvwxyz")
        shell.wait_for_cursor_row("stuvwxyz")
        shell.type("<enter>")
        assert shell.outcome() == Returned("abcdefghijklmnopqrstuvwxyz")

    def test_every_change_counts(self, shell, call):
        """Smaller and larger by turns, with keys between."""
        line = ""
        shell.begin_line(call=call)
        for number, columns in enumerate((40, 10, 132, 7, 80, 20, 3, 300, 15)):
            shell.resize(5 + number, columns)
            text = "%d-4567890123456789 " % number
            shell.type(text)
            line += text
        shell.type("<enter>")
        assert shell.outcome() == Returned(line)
        shell.assert_settings_as_before()
        shell.read_line()

    def test_a_change_between_two_lines(self, shell, call):
        shell.read_line()
        shell.resize(10, 20)
        shell.begin_line("", call)
        shell.type("0123456789abcdefghij<ctrl-a>x<enter>")
        assert shell.outcome() == Returned("x0123456789abcdefghij")

    def test_a_storm_of_changes_while_typing(self, shell, call):
        line = "".join("%d" % (number % 10) for number in range(300))
        shell.begin_line(call=call)
        for number, digit in enumerate(line):
            shell.type(digit)
            if number % 3 == 0:
                shell.resize(24, 10 + number % 90)
        shell.type("<enter>")
        assert shell.outcome() == Returned(line)
        shell.assert_settings_as_before()


class TestContinued:
    def test_a_continue_alone_keeps_the_line(self, shell, call):
        shell.begin_line("abc", call)
        shell.signal(signal.SIGCONT)
        shell.type("def<enter>")
        assert shell.outcome() == Returned("abcdef")
        shell.assert_settings_as_before()

    def test_a_stop_that_cannot_be_caught(self, terminal, call):
        """The editor could not give the terminal back, and whoever had it meanwhile did."""
        shell = terminal(job_control=True)
        shell.begin_line("abc", call)
        shell.signal(signal.SIGSTOP)
        shell.wait_for_job_state("stopped")
        shell.change_settings({"ICANON": True, "ECHO": True})
        shell.signal(signal.SIGCONT)
        shell.wait_for_job_state("continued")
        shell.wait_until(shell.is_editing, "editing to go on")
        shell.type("def<enter>")
        assert shell.outcome() == Returned("abcdef")


class TestASignalWithEveryKey:
    """A handler of the shell whose signal the editor has no use for: a timer's, a child's."""

    TEXT = "abcdefghijklmnopqrstuvwxyz" * 20

    @pytest.fixture
    def shell(self, terminal, call):
        shell = terminal(columns=600)
        shell.do("report_signals(signal.SIGUSR1)")
        shell.begin_line(call=call)
        for key in self.TEXT:
            shell.signal(signal.SIGUSR1)
            shell.type(key)
            shell.signal(signal.SIGUSR1)
        return shell

    def test_the_line_is_whole(self, shell):
        shell.type("<enter>")
        assert shell.outcome() == Returned(self.TEXT)
        shell.assert_settings_as_before()

    def test_the_screen_shows_it_whole(self, shell):
        """A write to the terminal that a signal cuts short loses what it should have shown."""
        shell.wait_for_row(0, "> " + self.TEXT)


def test_the_wait_for_a_key_is_a_wait(shell, call):
    """The reader sleeps; it does not poll for keys."""
    shell.begin_line("abc", call)
    shell.wait_for_sleep()
    shell.type("<enter>")
    assert shell.outcome() == Returned("abc")


class TestWithInputWaiting:
    """A signal is handled before keys that already wait; select alone would miss it."""

    @pytest.mark.parametrize("key, number, message", [
        ("<ctrl-c>", signal.SIGINT, "Ctrl-C pressed"),
        ("<ctrl-z>", signal.SIGTSTP, "Ctrl-Z pressed")])
    @pytest.mark.parametrize("noflsh", [False, True])
    def test_keys_behind_it_are_for_the_next_line(self, terminal, key, number, message, noflsh):
        shell = terminal(settings={"NOFLSH": noflsh})
        shell.do("report_signals(%d)" % number)
        for _ in range(20):
            shell.begin_line("abc")
            shell.type(key + "def<enter>")
            assert shell.outcome() == Raised("KeyboardInterrupt", message)
            shell.ask("Tavorin.readline('> ')")
            assert shell.outcome() == Returned("def")
        assert was_handled(shell, number) == 0
        shell.assert_settings_as_before()

    @pytest.mark.parametrize("number, message", [(signal.SIGINT, "Ctrl-C pressed"),
                                                 (signal.SIGTSTP, "Ctrl-Z pressed")])
    def test_input_without_end(self, terminal, number, message):
        with open("/dev/zero", "rb") as zero:
            shell = terminal(stdin=zero.fileno())
        shell.ask("Tavorin.readline('> ')")
        shell.wait_until(lambda: processor_seconds(shell.pid) > 0.1, "the line to be read")
        shell.signal(number)
        assert shell.outcome() == Raised("KeyboardInterrupt", message)

    @pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP, signal.SIGALRM])
    def test_input_without_end_and_the_end_of_the_process(self, terminal, call, number):
        with open("/dev/zero", "rb") as zero:
            shell = terminal(stdin=zero.fileno())
        shell.ask(call)
        shell.wait_until(lambda: processor_seconds(shell.pid) > 0.1, "the line to be read")
        shell.signal(number)
        assert shell.wait_for_end() == -number


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGCONT,
                                    signal.SIGWINCH], ids=lambda number: number.name)
class TestAHandlerThatTheCompleterInstalls:
    @pytest.fixture
    def shell(self, shell, number):
        shell.do("def completer(key, line, position):\n"
                 "    report_signals(%d)\n"
                 "    return 'd'" % number)
        shell.begin_line("abc", "Tavorin.readline('> ', completer)")
        shell.type("<tab>")
        shell.wait_for_cursor_row("> abcd")
        return shell

    def test_it_stays_after_the_read(self, shell, number):
        shell.type("<enter>")
        assert shell.outcome() == Returned("abcd")
        shell.do("os.kill(os.getpid(), %d)" % number)
        assert shell.next_report("signal")["number"] == number

    def test_in_the_read_it_gets_its_signal_like_any_other(self, shell, number):
        shell.signal(number)
        shell.type("e<enter>")
        assert shell.outcome() == Returned("abcde")
        assert shell.next_report("signal")["number"] == number
        shell.assert_settings_as_before()


def test_a_handler_for_ctrl_c_that_a_log_function_installs(terminal, tmp_path):
    """It would keep Ctrl-C from the line."""
    monitor = ScriptedMonitor(tmp_path)
    shell = terminal(variables=monitor.variables())
    shell.do("def on_log(first, second):\n"
             "    report_signals(signal.SIGINT)\n"
             "    report('called')\n"
             "Tavorin.loggingSyncEnabledIs('%s', on_log)" % monitor.name)
    shell.begin_line("abc")
    monitor.send((1, 2))
    shell.next_report("called")
    shell.wait_for_sleep()
    shell.type("<ctrl-c>")
    assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")
    monitor.close()


def test_a_default_action_that_the_completer_restores_gives_the_terminal_back(shell):
    shell.do("report_signals(signal.SIGTERM)\n"
             "def completer(key, line, position):\n"
             "    signal.signal(signal.SIGTERM, signal.SIG_DFL)\n"
             "    return 'd'")
    shell.begin_line("abc", "Tavorin.readline('> ', completer)")
    shell.type("<tab>")
    shell.wait_for_cursor_row("> abcd")
    shell.signal(signal.SIGTERM)
    assert shell.wait_for_end() == -signal.SIGTERM
    shell.assert_settings_as_before()


def test_a_handler_that_the_main_thread_installs_while_another_reads(shell):
    """It stays in force, too."""
    shell.do("import threading\n"
             "reader = threading.Thread(target=lambda: report('line', line=Tavorin.readline('> ')))\n"
             "reader.start()")
    shell.wait_until(shell.is_editing, "a line to be edited")
    shell.do("report_signals(signal.SIGTERM)")
    shell.type("abc<enter>")
    assert shell.next_report("line")["line"] == "abc"
    shell.do("reader.join()\nos.kill(os.getpid(), signal.SIGTERM)")
    shell.next_report("signal")


@pytest.mark.parametrize("number, end", [(signal.SIGINT, "KeyboardInterrupt"),
                                         (signal.SIGQUIT, None)])
@pytest.mark.parametrize("editing", [False, True], ids=["between lines", "in the next line"])
@pytest.mark.parametrize("lines", [0, 1, 2])
def test_a_program_that_a_thread_starts_in_a_line_and_that_ends_after_it(shell, number, end,
                                                                        editing, lines):
    """system() saves the dispositions of these two, and puts them back when the program ends."""
    for name in ("go", "end"):
        os.mkfifo(os.path.join(shell.home, name))
    shell.do("import threading, time\n"
             "def run():\n"
             "    os.read(os.open('go', os.O_RDONLY), 1)\n"
             "    os.system('touch started; read x < end')\n"
             "    report('over')\n"
             "threading.Thread(target=run).start()\n")
    shell.begin_line("abc")
    open_fifo(shell, "go")
    shell.wait_until(lambda: os.path.exists(os.path.join(shell.home, "started")), "the program")
    shell.type("<enter>")
    assert shell.outcome() == Returned("abc")
    open_fifo(shell, "end")
    shell.next_report("over")
    for _ in range(lines):
        shell.read_line()
    if editing:
        shell.begin_line("def")
    else:
        shell.ask("report('now') or time.sleep(1000)")
        shell.next_report("now")
    shell.signal(number)
    if end is None:
        assert shell.wait_for_end() == -number
    else:
        assert shell.outcome().type == end
    shell.assert_settings_as_before()


def test_a_program_that_a_thread_started_before_the_line(shell):
    """At its end, system() puts the shell's handler in the place of the one that ends the line."""
    os.mkfifo(os.path.join(shell.home, "end"))
    shell.do("import threading\n"
             "def run():\n"
             "    os.system('read x < end')\n"
             "    report('over')\n"
             "thread = threading.Thread(target=run)\n")
    before = shell.do("signal_masks()")
    shell.do("thread.start()")
    shell.wait_until(lambda: shell.do("signal_masks()") != before, "system() to begin")
    shell.begin_line("abc")
    open_fifo(shell, "end")
    shell.next_report("over")
    shell.wait_until(lambda: shell.type("<ctrl-c>") or not shell.is_editing(), "the line's end")
    shell.assert_settings_as_before()


def open_fifo(shell, name):
    """Has what waits for it go on."""
    with open(os.path.join(shell.home, name), "w") as fifo:
        fifo.write("x\n")


@pytest.mark.parametrize("settings", ["sane", "raw", "-isig -icrnl"])
def test_a_completer_that_sets_the_terminal_anew(shell, settings):
    shell.do("def completer(key, line, position):\n"
             "    os.system('stty %s')\n"
             "    return 'd'\n" % settings)
    shell.begin_line("abc", "Tavorin.readline('> ', completer)")
    shell.type("<tab>")
    shell.wait_for_cursor_row("> abcd")
    assert shell.is_editing()
    shell.type("<ctrl-c>")
    assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")
    shell.assert_settings_as_before()


def test_a_completer_that_closes_every_descriptor(shell):
    """As a careless way to start a program does."""
    shell.do("def completer(key, line, position):\n"
             "    kept = int(os.environ['TAVORIN_TEST_CHANNEL'])\n"
             "    os.closerange(3, kept)\n    os.closerange(kept + 1, 1024)\n"
             "    return 'd'\n")
    for _ in range(2):
        shell.begin_line("abc", "Tavorin.readline('> ', completer)")
        shell.type("<tab>")
        shell.wait_for_cursor_row("> abcd")
        shell.wait_for_sleep()
        shell.type("<ctrl-c>")
        assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")
        shell.assert_settings_as_before()


class TestDefaultActionsInACompletion:
    """The completer runs under the shell's own dispositions; the terminal is given back for them,
    also where they end or stop the process."""

    @pytest.fixture
    def start(self, terminal):
        def start(number, **options):
            shell = terminal(**options)
            shell.do("def completer(key, line, position):\n"
                     "    report('completing')\n"
                     "    wait_for_go()\n"
                     "    return 'd'\n"
                     "signal.signal(%d, signal.SIG_DFL)" % number)
            shell.begin_line("abc", "Tavorin.readline('> ', completer)")
            shell.type("<tab>")
            shell.next_report("completing")
            return shell
        return start

    def test_ctrl_c_ends_the_process(self, start):
        shell = start(signal.SIGINT)
        shell.type("<ctrl-c>")
        assert shell.wait_for_end() == -signal.SIGINT
        shell.assert_settings_as_before()

    def test_ctrl_z_stops_the_process(self, start):
        shell = start(signal.SIGTSTP, job_control=True)
        for _ in range(3):
            shell.type("<ctrl-z>")
            shell.wait_for_job_state("stopped")
            shell.assert_settings_as_before()
            shell.signal(signal.SIGCONT)
            shell.wait_for_job_state("continued")
        shell.go()
        shell.wait_until(shell.is_editing, "editing to go on")
        shell.type("e<enter>")
        assert shell.outcome() == Returned("abcde")
        shell.assert_settings_as_before()
        assert shell.do("signal.getsignal(signal.SIGTSTP) == signal.SIG_DFL") is True

    @pytest.mark.parametrize("key, message", [("<ctrl-c>", "Ctrl-C pressed"),
                                              ("<ctrl-z>", "Ctrl-Z pressed")])
    @pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTSTP])
    def test_afterwards_both_keys_end_the_read_again(self, start, number, key, message):
        shell = start(number)
        shell.go()
        shell.wait_for_cursor_row("> abcd")
        shell.type(key)
        assert shell.outcome() == Raised("KeyboardInterrupt", message)
        shell.assert_settings_as_before()

    def test_a_handler_that_the_completer_installs_takes_its_signal(self, terminal):
        shell = terminal()
        shell.do("signal.signal(signal.SIGTSTP, signal.SIG_DFL)\n"
                 "def completer(key, line, position):\n"
                 "    report_signals(signal.SIGTSTP)\n"
                 "    os.kill(os.getpid(), signal.SIGTSTP)\n"
                 "    return 'd'\n")
        shell.begin_line("abc", "Tavorin.readline('> ', completer)")
        shell.type("<tab>")
        shell.next_report("signal")
        shell.wait_for_cursor_row("> abcd")
        shell.type("<ctrl-z>")
        assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-Z pressed")
        shell.assert_settings_as_before()


@pytest.mark.parametrize("keys", ["", "<ctrl-a>", "<left>" * 30])
@pytest.mark.parametrize("end", ["<ctrl-c>", "<ctrl-z>", "SIGINT"])
def test_a_line_of_several_rows_stays_whole(terminal, keys, end):
    """What follows stands behind it, and what begins with a line end below it."""
    shell = terminal(columns=20)
    shell.do("def read():\n"
             "    try: Tavorin.readline('> ')\n"
             "    except KeyboardInterrupt: os.write(1, '!\\nbelow')")
    line = Wrapped("> " + "x" * 50, 20)
    shell.ask("read()")
    shell.wait_for_prompt()
    shell.type("x" * 50 + keys)
    shell.wait_until(shell.has_taken_all_keys, "the keys to be taken")
    if end == "SIGINT":
        shell.signal(signal.SIGINT)
    else:
        shell.type(end)
    shell.outcome()
    for number, row in enumerate(line.rows[:-1] + [line.rows[-1] + "!", "below", ""]):
        shell.wait_for_row(number, row)


@pytest.mark.parametrize("keys", ["", "<ctrl-a>"])
def test_continued_where_nothing_has_changed_a_line_stays_in_its_place(terminal, keys):
    shell = terminal(columns=20)
    shell.do("print 'earlier'")
    shell.ask("Tavorin.readline('> ')")
    shell.wait_for_prompt()
    line = Wrapped("> " + "x" * 50, 20, 2 if keys else None)
    shell.type("x" * 50 + keys)
    line.wait(shell, above=["earlier"])
    drawn = len(shell.output)
    shell.signal(signal.SIGCONT)
    shell.wait_until(lambda: len(shell.output) > drawn, "the line to be drawn again")
    line.wait(shell, above=["earlier"])
    shell.type("<enter>")
    assert shell.outcome() == Returned("x" * 50)
