"""Signals by the thousand while lines are typed, and the terminal's other end going away in every
state that a read can be in: no key is lost, and nothing spins or crashes.

TAVORIN_STORM_SECONDS sets how long each storm lasts.
"""

import itertools
import os
import random
import signal
import time

import pytest

from harness import Raised, Returned
from monitor import ScriptedMonitor
from processes import processor_seconds, waits_in_write

SECONDS = float(os.environ.get("TAVORIN_STORM_SECONDS", "0.6"))

STORM = [signal.SIGWINCH, signal.SIGCONT, signal.SIGCHLD, signal.SIGALRM]

CHILD = """
import threading
import subprocess

taken = [0]
def note(number, frame):
    taken[0] += 1

def completer(key, line, position):
    return '-'
"""

# What a shell may have in place for its children and its timers.
HANDLERS = "signal.signal(signal.SIGCHLD, note); signal.signal(signal.SIGALRM, note)"
IGNORED = "signal.signal(signal.SIGCHLD, signal.SIG_IGN); signal.signal(signal.SIGALRM, note)"
DEFAULT = "signal.signal(signal.SIGCHLD, signal.SIG_DFL); signal.signal(signal.SIGALRM, note)"

EDITED = "<left><left>x<ctrl-e><backspace>y<ctrl-a>z<tab>"


def edit_line(shell, text, between):
    """Type a line key by key, calling `between` before each; returns the line that must come back.

    It begins when the line before has come back: keys that arrive between two reads are edited by
    the terminal, which knows other keys.
    """
    shell.ask("Tavorin.readline('> ', completer)")
    shell.wait_until(shell.is_editing, "a line to be edited")
    for keys in list(text) + [EDITED, "<enter>"]:
        between()
        shell.type(keys)
    return "z" + text[:-2] + "x" + text[-2:-1] + "y-"


def storm(shell, numbers):
    """Something to call before each key: it sends the next few signals of `numbers`."""
    upcoming = itertools.cycle(numbers)

    def between():
        for _ in range(3):
            os.kill(shell.pid, next(upcoming))
    return between


@pytest.fixture
def shell(terminal):
    shell = terminal(columns=100)
    shell.do(CHILD)
    return shell


def read_lines_in(shell, between):
    """Read lines for the duration of a storm, and prove that each is whole and the shell as it was."""
    masks = shell.do("signal_masks()")
    number = 0
    deadline = time.monotonic() + SECONDS
    while time.monotonic() < deadline or number < 5:
        number += 1
        line = edit_line(shell, "this is line %d " % number, between)
        assert shell.outcome() == Returned(line)
    assert shell.do("signal_masks()") == masks
    shell.assert_settings_as_before()
    shell.read_line()


@pytest.mark.parametrize("handlers", [HANDLERS, IGNORED, DEFAULT],
                         ids=["handlers", "SIGCHLD ignored", "SIGCHLD at its default"])
@pytest.mark.parametrize("numbers", [[number] for number in STORM] + [STORM],
                         ids=[number.name for number in STORM] + ["all"])
def test_no_key_is_lost(shell, handlers, numbers):
    shell.do(handlers)
    read_lines_in(shell, storm(shell, numbers))
    if signal.SIGALRM in numbers or (signal.SIGCHLD in numbers and handlers == HANDLERS):
        assert shell.do("taken[0]") > 0


def test_sizes_that_really_change(shell):
    shell.do(HANDLERS)
    columns = [100]

    def between():
        columns[0] = 60 + (columns[0] * 7 + 1) % 60
        shell.resize(24, columns[0])

    read_lines_in(shell, between)


def test_a_timer_of_the_shell(shell):
    """Which runs on while the line is read; its handler waits for the end of the line."""
    shell.do(HANDLERS)
    shell.do("signal.setitimer(signal.ITIMER_REAL, 0.0003, 0.0003)")
    read_lines_in(shell, lambda: None)
    shell.do("signal.setitimer(signal.ITIMER_REAL, 0)")
    assert shell.do("taken[0]") > 0


@pytest.mark.parametrize("handlers", [HANDLERS, IGNORED, DEFAULT],
                         ids=["handlers", "SIGCHLD ignored", "SIGCHLD at its default"])
def test_children_that_exit(shell, handlers):
    """Real ones, which another thread of the shell starts while lines are read."""
    shell.do(handlers)
    shell.do("stopping = threading.Event()\n"
             "started = [0]\n"
             "def start_children():\n"
             "    while not stopping.is_set():\n"
             "        pid = os.fork()\n"
             "        if pid == 0:\n"
             "            os._exit(0)\n"
             "        started[0] += 1\n"
             "        try:\n"
             "            os.waitpid(pid, 0)\n"
             "        except OSError:\n"
             "            pass\n"
             "starter = threading.Thread(target=start_children)\n"
             "starter.daemon = True\n"
             "starter.start()\n")
    read_lines_in(shell, lambda: None)
    shell.do("stopping.set()\nstarter.join()")
    assert shell.do("started[0]") > 0


def test_children_that_the_completer_starts(shell):
    """A shell that runs a program for each completion, under a handler of SIGCHLD."""
    shell.do(HANDLERS)
    shell.do("def completer(key, line, position):\n"
             "    return subprocess.Popen(['printf', '%s', '-'], stdout=subprocess.PIPE)"
             ".communicate()[0]\n")
    read_lines_in(shell, lambda: None)


class TestTheEndOfTheProcess:
    """SIGTERM and SIGHUP give the terminal back before they end the process, whatever the read is
    about; at a plain prompt they do so, too, which the tests of single signals show."""

    STATES = {
        "in a search": "abc<ctrl-r>show",
        "behind an escape": "abc<esc>",
        "in an escape sequence": "abc<esc>[1;",
        "behind a quote": "abc<ctrl-v>",
        "behind a count": "abc<meta-1>",
        "in history": "<up>",
        "after a completion": "abc<tab>",
    }

    @pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP],
                             ids=lambda number: number.name)
    @pytest.mark.parametrize("state", STATES)
    def test_at_its_default(self, shell, number, state):
        shell.do("Tavorin.addHistory('show version', 'exec', '')")
        shell.begin_line(call="Tavorin.readline('> ', completer)")
        shell.type(self.STATES[state])
        shell.wait_until(shell.has_taken_all_keys, "the keys to be taken")
        shell.signal(number)
        assert shell.wait_for_end() == -number
        shell.assert_settings_as_before()

    @pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP],
                             ids=lambda number: number.name)
    def test_in_a_storm_of_others(self, shell, number):
        shell.do(HANDLERS)
        between = storm(shell, STORM)
        shell.begin_line("abc", "Tavorin.readline('> ', completer)")
        for key in "defghijklmnop":
            between()
            shell.type(key)
        shell.signal(number)
        assert shell.wait_for_end() == -number
        shell.assert_settings_as_before()


# What is under way when the terminal's other end is closed: what was typed, and nothing else.
TYPED = dict(TestTheEndOfTheProcess.STATES, **{
    "at the prompt": "",
    "half typed": "abc",
    "with a prefix of a key": "abc<ctrl-x>",
    "in a search without a match": "<ctrl-r>nothing",
    "in a long line": "x" * 1900,
})

NULL = Raised("EOFError", "readline returned NULL")


@pytest.fixture(params=["SIG_DFL", "SIG_IGN", "note"])
def disposition(request):
    return request.param


def check_the_end(shell, disposition):
    """After the hang-up: the process ends by it, or this read and all later ones end at once."""
    if disposition == "SIG_DFL":
        assert shell.wait_for_end() == -signal.SIGHUP
        return
    assert shell.outcome() == NULL
    for _ in range(20):
        shell.ask("Tavorin.readline('> ', completer)")
        assert shell.outcome() == NULL
    assert processor_seconds(shell.pid) < 5
    if disposition == "note":
        assert shell.do("taken[0]") == 1


def begin(shell, disposition, typed=""):
    shell.do("signal.signal(signal.SIGHUP, %s)"
             % (disposition if disposition == "note" else "signal." + disposition))
    shell.do("Tavorin.addHistory('show version', 'exec', '')")
    shell.begin_line(call="Tavorin.readline('> ', completer)")
    shell.type(typed)
    shell.wait_until(shell.has_taken_all_keys, "the keys to be taken")


class TestHangUp:
    @pytest.mark.parametrize("state", TYPED)
    def test_at_rest(self, shell, disposition, state):
        begin(shell, disposition, TYPED[state])
        shell.hang_up()
        check_the_end(shell, disposition)

    def test_with_keys_waiting(self, shell, disposition):
        """Which the kernel may keep or drop: a line that was complete may still come back."""
        begin(shell, disposition)
        shell.type("abc<esc>[")
        shell.hang_up()
        check_the_end(shell, disposition)

    def test_in_the_completer(self, shell, disposition):
        shell.do("def completer(key, line, position):\n"
                 "    if key == '\\t':\n"
                 "        report('completing')\n"
                 "        wait_for_go()\n"
                 "    return 'd'\n")
        begin(shell, disposition)
        shell.type("<tab>")
        shell.next_report("completing")
        shell.hang_up()
        if disposition != "SIG_DFL":
            shell.go()
        check_the_end(shell, disposition)

    def test_in_a_completer_that_writes(self, shell, disposition):
        """Its write fails, in whatever way; the read ends as it would without it."""
        shell.do("def completer(key, line, position):\n"
                 "    report('completing')\n"
                 "    wait_for_go()\n"
                 "    try:\n"
                 "        sys.stdout.write('x' * 100000)\n"
                 "        sys.stdout.flush()\n"
                 "    except IOError:\n"
                 "        pass\n")
        begin(shell, disposition)
        shell.type("<tab>")
        shell.next_report("completing")
        shell.hang_up()
        if disposition != "SIG_DFL":
            shell.go()
        check_the_end(shell, disposition)

    def test_with_the_output_full(self, shell, disposition):
        begin(shell, disposition, "0123456789" * 150)
        shell.stop_reading()
        shell.type("<ctrl-l>" * 200)
        shell.wait_until(lambda: waits_in_write(shell.pid), "the output to be full")
        shell.hang_up()
        check_the_end(shell, disposition)

    def test_between_lines(self, shell, disposition):
        begin(shell, disposition, "abc<enter>")
        assert shell.outcome() == Returned("abc")
        shell.hang_up()
        if disposition == "SIG_DFL":
            assert shell.wait_for_end() == -signal.SIGHUP
            return
        shell.ask("Tavorin.readline('> ', completer)")
        check_the_end(shell, disposition)

    def test_before_the_first_line(self, shell, disposition):
        shell.do("signal.signal(signal.SIGHUP, %s)"
                 % (disposition if disposition == "note" else "signal." + disposition))
        shell.hang_up()
        if disposition == "SIG_DFL":
            assert shell.wait_for_end() == -signal.SIGHUP
            return
        shell.ask("Tavorin.readline('> ', completer)")
        check_the_end(shell, disposition)

    @pytest.mark.parametrize("answer", [0, 1])
    def test_in_the_log_function(self, terminal, tmp_path, disposition, answer):
        monitor = ScriptedMonitor(tmp_path)
        shell = terminal(variables=monitor.variables())
        shell.do(CHILD)
        shell.do("def on_log(first, second):\n"
                 "    report('log')\n"
                 "    wait_for_go()\n"
                 "    return %d\n"
                 "Tavorin.loggingSyncEnabledIs('%s', on_log)" % (answer, monitor.name))
        begin(shell, disposition, "abc")
        monitor.send((1, 2))
        shell.next_report("log")
        shell.hang_up()
        if disposition != "SIG_DFL":
            shell.go()
        check_the_end(shell, disposition)
        monitor.close()


@pytest.mark.parametrize("key, message", [("<ctrl-c>", "Ctrl-C pressed"),
                                          ("<ctrl-z>", "Ctrl-Z pressed")])
def test_an_interrupt_close_behind_a_key(shell, key, message):
    """The driver takes back the keys that nobody has read when it sends the signal.  A reader that
    has just been told of one must not wait for it, deaf to the signal."""
    seed = int(os.environ.get("TAVORIN_STORM_SEED") or random.SystemRandom().randrange(10 ** 6))
    print("TAVORIN_STORM_SEED=%d" % seed)
    dice = random.Random(seed)
    deadline = time.monotonic() + 2 * SECONDS
    while time.monotonic() < deadline:
        shell.ask("Tavorin.readline('> ')")
        shell.wait_until(shell.is_editing, "a line to be edited")
        shell.type("x" * dice.randint(1, 3))
        until = time.monotonic() + dice.random() * 0.0002
        while time.monotonic() < until:
            pass
        shell.type(key)
        assert shell.outcome() == Raised("KeyboardInterrupt", message)
    shell.read_line()
