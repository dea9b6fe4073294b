"""Log events while a line is awaited, from a monitor library that does what the test tells it."""

import os
import signal

import pytest

from harness import Raised, Returned
from monitor import CALLBACK, ScriptedMonitor
from processes import processor_seconds, state
from screen import Wrapped
from test_invariant import failed_assertion


@pytest.fixture
def watched(terminal, tmp_path):
    """Starts a shell over a scripted monitor: `shell, monitor = watched(kind, columns=20)`."""
    monitors = []

    def start(kind="fifo", callback="on_log", **options):
        monitor = ScriptedMonitor(tmp_path, kind)
        monitors.append(monitor)
        shell = terminal(variables=monitor.variables(), **options)
        shell.do(CALLBACK)
        # The module borrows the callback: the shell has to keep it.
        shell.do("callback = " + callback)
        shell.do("Tavorin.loggingSyncEnabledIs(%r, callback)" % monitor.name)
        return shell, monitor

    yield start
    for monitor in monitors:
        monitor.close()


def read(shell, arguments="'> '"):
    shell.ask("Tavorin.readline(%s)" % arguments)
    shell.wait_for_prompt()


# --- What the screen shows

@pytest.mark.parametrize("columns", [20, 80, 132])
@pytest.mark.parametrize("cursor", ["at the end", "in the middle", "at the beginning"])
@pytest.mark.parametrize("rows", ["part of a row", "a whole row", "several rows"])
def test_a_message_stands_above_the_line_which_stands_again(watched, columns, cursor, rows):
    length = {"part of a row": columns // 2, "a whole row": columns - 2,
              "several rows": columns * 2 + 5}[rows]
    keys, position = {"at the end": ("", length), "in the middle": ("<left>" * (length // 3),
                      length - length // 3), "at the beginning": ("<ctrl-a>", 0)}[cursor]
    line = ("abcdefghij" * length)[:length]
    shell, monitor = watched(columns=columns, rows=12)
    wrapped = Wrapped("> " + line, columns, 2 + position)
    read(shell)
    shell.type(line + keys)
    wrapped.wait(shell)
    monitor.send((3, 4))
    wrapped.wait(shell, above=wrapped.rows + ["log 3 4"])
    shell.type("X<enter>")
    assert shell.outcome() == Returned(line[:position] + "X" + line[position:])


def test_several_messages_stand_one_below_the_other(watched):
    shell, monitor = watched()
    read(shell)
    shell.type("half")
    shell.wait_for_row(0, "> half")
    for number in range(3):
        monitor.send((number, 0))
        shell.wait_for_screen("log %d 0" % number)
        shell.wait_for_cursor(2 * number + 2, 6)
    assert [shell.row(n) for n in range(7)] == [
        "> half", "log 0 0", "> half", "log 1 0", "> half", "log 2 0", "> half"]
    shell.type("<enter>")
    assert shell.outcome() == Returned("half")


@pytest.mark.parametrize("result", ["None", "0", "-1", "False", "0L"])
def test_without_being_asked_the_line_is_not_drawn_again(watched, result):
    shell, monitor = watched(callback="lambda *both: (report('log'), %s)[1]" % result)
    read(shell)
    shell.type("half")
    shell.wait_for_row(0, "> half")
    written = bytes(shell.output)
    monitor.send((1, 2))
    shell.next_report("log")
    shell.type("x")
    shell.wait_for_row(0, "> halfx")
    assert bytes(shell.output) == written + b"x"
    shell.type("<enter>")
    assert shell.outcome() == Returned("halfx")


@pytest.mark.parametrize("result", ["1", "True", "5L", "1000000"])
def test_a_result_above_0_has_the_line_drawn_again(watched, result):
    shell, monitor = watched(callback="lambda *both: (sys.stdout.write('\\r\\n'), %s)[1]" % result)
    read(shell)
    shell.type("half")
    shell.wait_for_row(0, "> half")
    monitor.send((1, 2))
    shell.wait_for_row(1, "> half")
    shell.type("<enter>")
    assert shell.outcome() == Returned("half")


@pytest.mark.parametrize("keys", ["", "<ctrl-a>"])
def test_without_being_asked_a_message_under_several_rows_stays(watched, keys):
    shell, monitor = watched(
        callback="lambda *both: (sys.stdout.write('\\r\\nnews'), sys.stdout.flush(), "
                 "report('log'))[2]", columns=20)
    read(shell)
    line = Wrapped("> " + "x" * 50, 20, 2 if keys else None)
    shell.type("x" * 50 + keys)
    line.wait(shell)
    monitor.send((1, 2))
    shell.next_report("log")
    for number, row in enumerate(line.rows + ["news", ""]):
        shell.wait_for_row(number, row)
    shell.type("<enter>")
    assert shell.outcome() == Returned("x" * 50)


@pytest.mark.parametrize("result", ["None", "0", "-1"])
@pytest.mark.parametrize("keys", ["", "<ctrl-a>", "<left>" * 20])
def test_a_status_row_moves_no_cursor(watched, keys, result):
    """A function that saves and restores the cursor leaves it where it was."""
    shell, monitor = watched(
        callback=r"lambda first, second: (sys.stdout.write('\0337\033[24H%%s\0338' %% first), "
                 "sys.stdout.flush(), %s)[-1]" % result, columns=20)
    read(shell)
    line = Wrapped("> " + "x" * 50, 20, {"": None, "<ctrl-a>": 2}.get(keys, 32))
    shell.type("x" * 50 + keys)
    line.wait(shell)
    for number in (1, 2):
        monitor.send((number, 0))
        shell.wait_for_row(23, str(number))
        shell.wait_for_cursor(*line.cursor)
    shell.type("<enter>")
    assert shell.outcome() == Returned("x" * 50)


@pytest.mark.parametrize("prompt, rows_above, last_row", [
    (r"\001\033[1m\002sw1\001\033[0m\002> ", [], "sw1> "),
    (r"\001\033[1m\002#\001\033[0m\002", [], "#"),
    (r"one\ntwo> ", ["one"], "two> "),
    (r"\a\a> ", [], "> "),
])
def test_a_message_under_a_prompt_of_any_kind(watched, prompt, rows_above, last_row):
    shell, monitor = watched(columns=20)
    shell.ask("Tavorin.readline('%s')" % prompt)
    shell.wait_until(shell.is_editing, "a line to be edited")
    shell.type("x" * 30 + "<ctrl-a>")
    line = Wrapped(last_row + "x" * 30, 20, len(last_row))
    line.wait(shell, above=rows_above)
    monitor.send((3, 4))
    line.wait(shell, above=rows_above + line.rows + ["log 3 4"])
    shell.type("<enter>")
    assert shell.outcome() == Returned("x" * 30)


def test_what_is_not_echoed_is_not_shown_by_a_message(watched):
    """Nor how long it is."""
    shell, monitor = watched(settings={"ECHO": False, "ICANON": False}, columns=20)
    shell.ask("Tavorin.readline('password: ')")
    shell.wait_for_prompt("password: ", editing=False)
    shell.type("secret" * 10)
    shell.wait_for_sleep()
    monitor.send((1, 1))
    shell.wait_for_row(1, "log 1 1")
    shell.type("<enter>")
    assert shell.outcome() == Returned("secret" * 10)
    assert b"secret" not in bytes(shell.output)


def test_a_silent_callback_leaves_a_line_of_several_rows_as_it_was(watched):
    shell, monitor = watched(callback="lambda *both: report('log')", columns=20)
    read(shell)
    shell.type("x" * 50)
    shell.wait_for_cursor(2, 12)
    shell.type("<ctrl-a>")
    shell.wait_for_cursor(0, 2)
    monitor.send((1, 2))
    shell.next_report("log")
    shell.type("y")
    shell.wait_for_row(0, "> y" + "x" * 17)
    shell.wait_for_cursor(0, 3)
    assert [shell.row(n) for n in range(1, 4)] == ["x" * 20, "x" * 13, ""]
    shell.type("<enter>")
    assert shell.outcome() == Returned("y" + "x" * 50)


# --- Delivery

def test_an_event_is_served_before_a_key_that_is_there_at_the_same_time(watched):
    shell, monitor = watched()
    shell.do("def complete(key, line, position):\n    report('completed')\n")
    read(shell, "'> ', complete")
    os.kill(shell.pid, signal.SIGSTOP)
    shell.wait_until(lambda: state(shell.pid) == "T", "the shell to be stopped")
    shell.type("<tab>")
    monitor.send((1, 1))
    os.kill(shell.pid, signal.SIGCONT)
    shell.next_report("completed")
    order = [entry["event"] for entry in shell.reports if entry["event"] in ("log", "completed")]
    assert order == ["log", "completed"]
    shell.type("<enter>")
    assert shell.outcome() == Returned("")


def test_ten_thousand_events_and_a_thousand_keys_all_arrive_in_order(watched):
    shell, monitor = watched(callback="lambda *both: events.append(both) or len(events) % 100 == 0")
    read(shell)
    line = "".join(chr(97 + number % 26) for number in range(1000))
    sent = 0
    for number, letter in enumerate(line):
        batch = [(event, -event) for event in range(sent, sent + 10)]
        shell.type(letter)
        shell.wait_until(lambda: monitor.send_if_room(*batch), "room for events")
        sent += len(batch)
    shell.type("<enter>")
    assert shell.outcome() == Returned(line)
    read(shell)         # for the events that came after the Enter
    shell.wait_until(lambda: not monitor.pending(), "all events to be taken")
    shell.type("<enter>")
    shell.outcome()
    assert shell.do("events == [(n, -n) for n in range(10000)]") is True


def test_events_wait_while_no_line_is_read(watched):
    shell, monitor = watched()
    monitor.send((1, 1), (2, 2))
    assert shell.do("events") == []
    read(shell)
    shell.wait_for_screen("log 2 2")
    shell.type("<enter>")
    assert shell.outcome() == Returned("")
    assert shell.do("events") == [[1, 1], [2, 2]]


def test_waiting_costs_no_processor_time(watched, terminal):
    """While another shell starts up, works and ends, the waiting one is never woken."""
    def wake_ups(shell):
        with open("/proc/%d/status" % shell.pid) as status:
            return [row for row in status if "ctxt_switches" in row]
    shell, monitor = watched()
    read(shell)
    shell.type("half")
    shell.wait_for_row(0, "> half")
    shell.wait_until(lambda: state(shell.pid) == "S", "the shell to be waiting")
    before = wake_ups(shell)
    assert terminal().do("sum(range(1000000))") == 499999500000
    assert wake_ups(shell) == before


def test_a_monitor_without_a_descriptor_is_not_waited_for(watched):
    shell, monitor = watched("silent")
    read(shell)
    monitor.send((1, 1))
    shell.type("keys<enter>")
    assert shell.outcome() == Returned("keys")
    assert shell.do("events") == []


def test_a_descriptor_above_1023_is_served(watched):
    shell, monitor = watched("high")
    read(shell)
    shell.type("half")
    shell.wait_for_row(0, "> half")
    monitor.send((5, 6))
    shell.wait_for_row(1, "log 5 6")
    shell.wait_for_row(2, "> half")
    shell.type("<enter>")
    assert shell.outcome() == Returned("half")


@pytest.mark.parametrize("kind", ["fifo", "high"])
def test_a_terminal_above_1023_is_read(watched, kind):
    shell, monitor = watched(kind)
    shell.do("import resource\n"
             "hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]\n"
             "resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))\n"
             "os.dup2(0, 2000)\n"
             "sys.stdin = os.fdopen(2000)\n")
    read(shell)
    monitor.send((5, 6))
    shell.wait_for_screen("log 5 6")
    shell.type("typed<enter>")
    assert shell.outcome() == Returned("typed")


# --- Switching it on and off

def test_without_a_callback_logging_is_switched_off(watched):
    shell, monitor = watched()
    assert shell.do("Tavorin.loggingSyncEnabledIs(%r)" % monitor.name) is None
    assert monitor.calls() == ["open " + monitor.name, "close"]
    read(shell)
    monitor.send((1, 1))
    shell.type("keys<enter>")
    assert shell.outcome() == Returned("keys")
    assert shell.do("events") == []


def test_a_closed_descriptor_of_the_monitor_leaves_the_reader_at_rest(watched):
    shell, monitor = watched()
    shell.do("[os.close(int(fd)) for fd in os.listdir('/proc/self/fd')"
             " if os.path.realpath('/proc/self/fd/' + fd) == os.path.realpath(%r)]" % monitor.path)
    read(shell)
    shell.type("abc")
    shell.wait_for_row(0, "> abc")
    shell.wait_for_sleep()
    shell.type("<enter>")
    assert shell.outcome() == Returned("abc")
    assert monitor.calls().count("process") <= len("abc\n") + 1


def test_switching_off_twice_closes_once(watched):
    shell, monitor = watched()
    for _ in range(2):
        assert shell.do("Tavorin.loggingSyncEnabledIs('any name', None)") is None
    assert monitor.calls() == ["open " + monitor.name, "close"]


def test_a_second_callback_changes_nothing_until_logging_was_off(watched):
    shell, monitor = watched()
    shell.do("other = []")
    assert shell.do("Tavorin.loggingSyncEnabledIs('errno:1', lambda *b: other.append(b))") is None
    read(shell)
    monitor.send((1, 1))
    shell.wait_for_screen("log 1 1")
    shell.type("<enter>")
    shell.outcome()
    assert shell.do("other") == []
    shell.do("Tavorin.loggingSyncEnabledIs('')")
    shell.do("second = lambda *both: other.append(both) or report('log')")
    shell.do("Tavorin.loggingSyncEnabledIs(%r, second)" % monitor.name)
    read(shell)
    monitor.send((2, 2))
    shell.wait_until(lambda: len(shell.reports_of("log")) == 2, "the second callback")
    shell.type("<enter>")
    shell.outcome()
    assert (shell.do("events"), shell.do("other")) == ([[1, 1]], [[2, 2]])


def test_switching_on_needs_no_editor(watched):
    shell, monitor = watched()
    assert shell.do("Tavorin.keyBindingsEnabled()") is False
    assert bytes(shell.output) == b""
    shell.assert_settings_as_before()


@pytest.mark.parametrize("number,text", [(2, "No such file or directory"),
                                         (13, "Permission denied"), (24, "Too many open files")])
def test_a_monitor_that_cannot_be_opened_is_reported_and_left_off(watched, number, text):
    shell, monitor = watched()
    shell.do("Tavorin.loggingSyncEnabledIs('')")
    assert shell.do("Tavorin.loggingSyncEnabledIs('errno:%d', on_log)" % number) is None
    expected = ("create inotify event: %s\n" % text).encode()
    shell.wait_until(lambda: bytes(shell.errors) == expected, "the report of the failure")
    shell.do("Tavorin.loggingSyncEnabledIs(%r, on_log)" % monitor.name)
    assert monitor.calls()[-2:] == ["open errno:%d" % number, "open " + monitor.name]


@pytest.mark.parametrize("arguments,message", [
    ("", "loggingSyncEnabledIs() takes at least 1 argument (0 given)"),
    ("None", "loggingSyncEnabledIs() argument 1 must be string, not None"),
    ("'f', None, 1", "loggingSyncEnabledIs() takes at most 2 arguments (3 given)")])
def test_wrong_arguments_change_nothing(watched, arguments, message):
    shell, monitor = watched()
    shell.ask("Tavorin.loggingSyncEnabledIs(%s)" % arguments)
    assert shell.outcome() == Raised("TypeError", message)
    assert monitor.calls() == ["open " + monitor.name]


def test_a_callback_may_switch_logging_off(watched):
    shell, monitor = watched(callback="lambda *both: (events.append(both), report('log'), "
                                      "Tavorin.loggingSyncEnabledIs(''))[2]")
    read(shell)
    monitor.send((1, 1))
    shell.next_report("log")
    monitor.send((2, 2))
    shell.type("keys<enter>")
    assert shell.outcome() == Returned("keys")
    assert shell.do("events") == [[1, 1]]
    assert monitor.calls() == ["open " + monitor.name, "process", "close"]


@pytest.mark.parametrize("number", [0, 30])
def test_after_a_callback_has_switched_logging_off_the_wait_is_one(watched, terminal, number):
    """Also where the terminal's descriptor is above that of the log, which is closed now."""
    shell, monitor = watched(callback="lambda *both: (Tavorin.loggingSyncEnabledIs(''), "
                                      "report('log'))[1]")
    shell.do("os.dup2(0, %d)\nsys.stdin = os.fdopen(%d)" % (number, number))
    read(shell)
    monitor.send((1, 1))
    shell.next_report("log")
    shell.wait_until(lambda: state(shell.pid) == "S", "the shell to be waiting")
    before = processor_seconds(shell.pid)
    assert terminal().do("sum(range(1000000))") == 499999500000
    assert processor_seconds(shell.pid) == before
    shell.type("keys<enter>")
    assert shell.outcome() == Returned("keys")


# --- References

def test_the_module_takes_no_reference_to_the_callback(watched):
    shell, monitor = watched()
    count = "sys.getrefcount(callback)"
    before = shell.do(count)
    shell.do("Tavorin.loggingSyncEnabledIs('')")
    assert shell.do(count) == before
    shell.do("Tavorin.loggingSyncEnabledIs(%r, callback)" % monitor.name)
    assert shell.do(count) == before


@pytest.mark.parametrize("result", ["1234567", "None", "[]", "text"])
def test_results_hold_their_references(watched, result):
    shell, monitor = watched(callback="lambda *both: (events.append(both), result)[1]")
    shell.do("text = 'not a number'\nresult = %s" % result)
    before = shell.do("[sys.getrefcount(result), sys.getrefcount(None)]")
    read(shell)
    monitor.send(*[(number, 0) for number in range(1000)])
    shell.wait_until(lambda: not monitor.pending(), "all events to be taken")
    shell.type("<enter>")
    shell.outcome()
    after = shell.do("[sys.getrefcount(result), sys.getrefcount(None)]")
    assert max(abs(a - b) for a, b in zip(before, after)) < 50


# --- Callbacks that fail

# The exception that is set on the thread after a read; reading it clears it.
STANDING = """
import ctypes
fetch = ctypes.PyDLL(None).PyErr_Occurred
fetch.restype = ctypes.c_void_p
"""


def read_and_look(shell):
    """Read a line and see which exception the callback has left standing."""
    shell.do(STANDING)
    shell.ask("[Tavorin.readline('> '), fetch()]")
    shell.wait_for_prompt()


@pytest.mark.parametrize("callback,left", [
    ("lambda *both: (report('log'), 1 / 0)",
     Raised("ZeroDivisionError", "integer division or modulo by zero")),
    ("lambda *both: (report('log'), 'text')[1]", Raised("TypeError", "an integer is required")),
    ("lambda only_one: None",
     Raised("TypeError", "<lambda>() takes exactly 1 argument (2 given)")),
])
def test_what_a_failing_callback_raises_is_left_standing(watched, callback, left):
    shell, monitor = watched(callback=callback)
    read_and_look(shell)
    shell.type("half")
    shell.wait_for_row(0, "> half")
    written = bytes(shell.output)
    monitor.send((1, 1))
    shell.wait_until(lambda: "process" in monitor.calls(), "the event to be served")
    shell.type("x")
    shell.wait_for_row(0, "> halfx")
    assert bytes(shell.output) == written + b"x"
    shell.type("<enter>")
    assert shell.outcome() == left
    read(shell)
    shell.type("next<enter>")
    assert shell.outcome() == Returned("next")


def test_a_callback_that_cannot_be_called_ends_the_process_at_its_first_event(watched):
    shell, monitor = watched(callback="'a text'")
    read(shell)
    shell.type("half")
    shell.wait_for_row(0, "> half")
    monitor.send((1, 1))
    assert failed_assertion(shell) == (
        "/src/Cli/Tavorin", "671", "conlog_callback", "PyCallable_Check( callback )")


# --- Signals meanwhile

@pytest.mark.parametrize("number,message", [
    (signal.SIGINT, "Ctrl-C pressed"), (signal.SIGTSTP, "Ctrl-Z pressed")])
def test_an_interrupt_waits_for_the_callback_to_return(watched, number, message):
    """The signal is there before the callback is told to go on, which it then does to its end."""
    shell, monitor = watched(callback="lambda *both: (report('log'), wait_for_go(), "
                                      "report('back'))[2]")
    read(shell)
    shell.type("half")
    shell.wait_for_row(0, "> half")
    monitor.send((1, 1))
    shell.next_report("log")
    shell.signal(number)
    shell.go()
    shell.next_report("back")
    assert shell.outcome() == Raised("KeyboardInterrupt", message)
    shell.assert_settings_as_before()
    read(shell)
    shell.type("next<enter>")
    assert shell.outcome() == Returned("next")


def test_a_control_key_typed_during_the_callback_acts_after_it(watched):
    shell, monitor = watched(callback="lambda *both: (report('log'), wait_for_go())[1]")
    read(shell)
    monitor.send((1, 1))
    shell.next_report("log")
    shell.type("<ctrl-c>")
    shell.go()
    assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")
    shell.assert_settings_as_before()


def test_a_program_that_the_callback_starts_has_no_signal_blocked(watched):
    shell, monitor = watched(callback="lambda *both: report('mask', value=subprocess.check_output("
                                      "['grep', '-E', 'SigBlk|SigIgn', '/proc/self/status']))")
    shell.do("import subprocess")
    usual = shell.do("subprocess.check_output(['grep', '-E', 'SigBlk|SigIgn', '/proc/self/status'])")
    read(shell)
    monitor.send((1, 1))
    assert shell.next_report("mask")["value"] == usual
    shell.type("<enter>")
    assert shell.outcome() == Returned("")
