"""The example shell, used at a terminal as a person would use it."""

import os
import re
import signal
import subprocess

import pytest

from harness import Returned, sanitizer_environment
from monitor import assert_bursts_are_shown, assert_whole_lines_count
from processes import waits_in_select

EXAMPLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "examples", "shell.py")


@pytest.fixture
def start(terminal):
    """Starts the example shell: `start(seconds between log messages)`.  `first` is run before it."""
    def start(seconds=1000, first="", **options):
        shell = terminal(**options)
        shell.do(first)
        shell.do("sys.argv = ['shell.py', '%s']" % seconds)
        shell.ask("execfile(%r, {'__name__': '__main__'})" % os.path.abspath(EXAMPLE))
        shell.wait_for_cursor_row("device>")
        return shell
    return start


def rows(shell):
    """The screen down to the cursor."""
    return [shell.row(number) for number in range(shell.cursor[0] + 1)]


def enter(shell, keys, prompt):
    """Type a line at a prompt, and wait for the next one; returns the rows in between."""
    first = shell.cursor[0]
    shell.type(keys + "<enter>")
    shell.wait_until(lambda: shell.row(shell.cursor[0]) == prompt.rstrip()
                     and shell.cursor[1] == len(prompt) and shell.cursor[0] > first, "the prompt")
    return rows(shell)[first + 1:-1]


def interrupt(shell, key):
    """Type Ctrl-C or Ctrl-Z, and wait for the prompt that follows.

    Until a completion is over, though its result is on the screen, the two keys are the shell's and
    not the line's; and until the prompt is there, what is typed may go into the line that they drop.
    """
    shell.wait_until(lambda: waits_in_select(shell.pid, shell.pid), "the reader to wait for a key")
    shown = len(shell.output)
    shell.type(key)
    shell.wait_until(lambda: re.search(rb"\n[^\n]*[>#] $", shell.output[shown:])
                     and shell.is_editing(), "the prompt after " + key)


def leave(shell):
    interrupt(shell, "<ctrl-z>")
    shell.type("exit<enter>")
    assert shell.outcome() == Returned(None)
    shell.assert_settings_as_before()


def test_it_uses_every_function(shell):
    with open(EXAMPLE) as file:
        example = file.read()
    names = shell.do("[name for name in dir(Tavorin) if not name.startswith('_')]")
    assert len(names) == 12
    assert [name for name in names if "Tavorin.%s(" % name not in example] == []


def test_a_session_from_start_to_end(start, tmp_path):
    shell = start(rows=60, variables={"TMPDIR": str(tmp_path)})
    shell.type("sh<tab>")
    shell.wait_for_cursor_row("device> show")
    shell.type("?")
    shell.wait_for_cursor(3, 13)
    assert rows(shell) == [
        "device> show",
        "  history          The lines that can be recalled here",
        "  interfaces       The interfaces and their descriptions",
        "device> show"]
    assert enter(shell, "int", "device> ") == ["  eth0     uplink", "  eth1"]
    assert enter(shell, "terminal monitor", "device> ") == []
    shell.type("conf")
    shell.wait_for_cursor_row("device> conf")
    (log,) = tmp_path.glob("device-*.log")
    with open(log, "a") as file:
        file.write("eth7: link up\n")
    shell.wait_for_screen("eth7: link up")
    shell.wait_for_cursor_row("device> conf")
    assert enter(shell, "", "device(config)# ") == []
    assert enter(shell, "hostname r1", "r1(config)# ") == []
    assert enter(shell, "int eth1", "r1(config-eth1)# ") == []
    assert enter(shell, "desc customers", "r1(config-eth1)# ") == []
    assert enter(shell, "show history", "r1(config-eth1)# ") == [
        "  show int", "  terminal monitor", "  conf", "  hostname r1", "  int eth1",
        "  desc customers", "  show history"]
    assert enter(shell, "interface eth0", "r1(config-eth0)# ") == []
    # The lines of the other interface's mode are not for this one; those of the modes above are.
    shell.type("<up>")
    shell.wait_for_cursor_row("r1(config-eth0)# int eth1")
    shell.type("<ctrl-u>")
    shell.wait_for_cursor_row("r1(config-eth0)#")
    assert enter(shell, "exit", "r1(config)# ") == []
    shell.type("nonsense")
    shell.wait_for_cursor_row("r1(config)# nonsense")
    shell.type("<ctrl-c>")
    shell.wait_for_cursor_row("r1(config)#")
    shell.type("<ctrl-z>")
    shell.wait_for_cursor_row("r1>")
    assert enter(shell, "show interfaces", "r1> ") == ["  eth0     uplink",
                                                        "  eth1     customers"]
    # Back in exec mode, nothing of the modes below is recalled.
    assert enter(shell, "show history", "r1> ") == [
        "  show int", "  terminal monitor", "  conf", "  show interfaces", "  show history"]
    assert enter(shell, "clear history", "Forget all lines? [y/n] ") == []
    assert enter(shell, "y", "r1> ") == []
    assert enter(shell, "show history", "r1> ") == ["  show history"]
    shell.type("exit<enter>")
    assert shell.outcome() == Returned(None)
    shell.assert_settings_as_before()


def test_a_paste(start):
    """Its question marks and tabs are text, in all of its lines."""
    shell = start()
    assert b"\x1b[?2004h" in shell.output
    shell.paste(b"\x1b[200~configure\rhostname r?1\rinterface\teth0\rdesc wh\x1b[201~")
    shell.wait_for_cursor_row("r?1(config-eth0)# desc wh")
    shell.type("y<enter>")
    leave(shell)
    assert shell.output.rstrip().endswith(b"\x1b[?2004l")


COMPLETIONS = [
    # name, keys, the line that then stands
    ("a unique word is completed", "conf<tab>", "configure "),
    ("a word that is whole gets its blank", "show<tab>", "show "),
    ("as far as it is common", "te<tab>", "terminal "),
    ("the second word, too", "show h<tab>", "show history "),
    ("after words that are cut short", "no t<tab>m<tab>", "no terminal monitor "),
]


@pytest.mark.parametrize("keys, line", [row[1:] for row in COMPLETIONS],
                         ids=[row[0] for row in COMPLETIONS])
def test_tab_completes(start, keys, line):
    shell = start()
    shell.type(keys)
    shell.wait_for_cursor(0, len("device> " + line))
    shell.wait_for_row(0, ("device> " + line).rstrip())
    leave(shell)


def test_tab_lists_what_is_ambiguous(start):
    shell = start()
    shell.type("c<tab>")
    shell.wait_for_row(3, "device> c")
    assert rows(shell) == ["device> c", "  clear            Forget something",
                           "  configure        Change what the device does", "device> c"]
    leave(shell)


@pytest.mark.parametrize("keys, listed", [
    ("show ?", ["history", "interfaces"]),
    ("sh?", ["show"]),
    ("show history ?", ["<lt>enter>"]),
    ("terminal width ?", ["<lt>columns>"]),
    ("te ?", ["monitor", "paste", "width"]),
    ("nonsense ?", ["%"]),
])
def test_question_mark_lists_and_inserts_nothing(start, keys, listed):
    shell = start()
    shell.type(keys)
    line = "device> " + keys[:-1]
    shell.wait_for_cursor(len(listed) + 1, len(line))
    shell.wait_for_row(len(listed) + 1, line)
    assert [row.split()[0] for row in rows(shell)[1:-1]] == [
        word.replace("<lt>", "<") for word in listed]
    assert rows(shell)[-1] == line.rstrip()
    leave(shell)


@pytest.mark.parametrize("line, answer", [
    ("nonsense", "% No such command"), ("show", "% Incomplete"),
    ("show history now", "% No such command"),
    ("hi li x", "% Not a number from 0 to 1000000: x"), ("hostname x", "% No such command"),
    ("c", "% Ambiguous: clear or configure"), ("no t", "% Incomplete"),
    ("no t x", "% No such command")])
def test_what_is_wrong_is_told(start, line, answer):
    shell = start()
    assert enter(shell, line, "device> ") == [answer]
    leave(shell)


def test_a_log_message_comes_above_the_half_typed_line(start):
    shell = start(seconds=0.2)
    shell.type("terminal monitor<enter>")
    shell.wait_for_row(1, "device>")
    shell.type("show inter")
    shell.wait_for_screen("eth1: link down")
    shell.wait_for_cursor_row("device> show inter")
    shell.type("faces<enter>")
    shell.wait_for_screen("uplink")
    shell.type("no terminal monitor<enter>")
    leave(shell)


def test_messages_in_pieces(shell):
    shell.do("example = {'__name__': 'example'}")
    shell.do("execfile(%r, example)" % os.path.abspath(EXAMPLE))
    shell.do("log = example['Log'](1000)")
    assert_whole_lines_count(shell.do("log.name"), lambda: shell.do("log.show_news(0, 0)"))
    shell.do("log.remove()")


def test_messages_in_bursts(start, tmp_path):
    shell = start(variables={"TMPDIR": str(tmp_path)})
    assert enter(shell, "terminal monitor", "device> ") == []
    shell.type_and_see("show inter")
    (log,) = tmp_path.glob("device-*.log")
    assert_bursts_are_shown(shell, log, "device> show inter")
    shell.type("<ctrl-u>")
    leave(shell)


def test_the_monitor_can_be_switched_on_twice(start):
    """Tavorin keeps using the callback that it borrowed first."""
    shell = start(seconds=0.2)
    assert enter(shell, "terminal monitor", "device> ") == []
    shell.type("terminal monitor<enter>")
    shell.wait_for_screen("eth1: link down")
    shell.wait_for_screen("eth0: link up")
    shell.type("no terminal monitor<enter>")
    leave(shell)


# Notes, for each function that is lent to Tavorin, whether the one lent before is still there.
LENDING = """
import gc, weakref
lent = {'readline': [], 'loggingSyncEnabledIs': []}
def lend(name, function):
    if function is not None:
        gc.collect()
        lent[name].append(weakref.ref(function))
def alive(name):
    return [reference() is not None for reference in lent[name]]
real_readline, real_logging = Tavorin.readline, Tavorin.loggingSyncEnabledIs
def readline(prompt, function, key, parent):
    lend('readline', function)
    report('alive', names=alive('readline') + alive('loggingSyncEnabledIs'))
    del function
    return real_readline(prompt, lent['readline'][-1](), key, parent)
def logging(name, function=None):
    lend('loggingSyncEnabledIs', function)
    real_logging(name, *([] if function is None else [function]))
Tavorin.readline, Tavorin.loggingSyncEnabledIs = readline, logging
"""


def test_what_tavorin_borrows_lives_on(start):
    shell = start(first=LENDING)
    for line in ("show history", "terminal monitor", "terminal monitor", "show history"):
        enter(shell, line, "device> ")
    shell.wait_until(lambda: len(shell.reports_of("alive")) == 5, "the fifth line to be read")
    assert shell.reports_of("alive")[-1]["names"] == [True] * 7
    leave(shell)


def test_without_recording_nothing_is_recalled(start):
    shell = start()
    assert enter(shell, "history limit 0", "device> ") == []
    assert enter(shell, "show history", "device> ") == []
    assert enter(shell, "history limit 2", "device> ") == []
    for line in ("show interfaces", "show history"):
        enter(shell, line, "device> ")
    assert enter(shell, "show history", "device> ") == ["  show interfaces", "  show history"]
    leave(shell)


def test_paste_takes_tab_and_question_mark_as_they_are(start):
    shell = start()
    assert enter(shell, "terminal paste", "device> ") == []
    assert enter(shell, "what?", "device> ") == ["% No such command"]
    assert enter(shell, "no terminal paste", "device> ") == []
    shell.type("conf<tab>")
    shell.wait_for_cursor_row("device> configure")
    leave(shell)


def test_the_next_user_finds_no_lines(start):
    shell = start()
    enter(shell, "show interfaces", "device> ")
    shell.type("logout<enter>")
    shell.wait_for_cursor_row("This is device. Press Enter to start.")
    assert enter(shell, "", "device> ") == []
    assert enter(shell, "show history", "device> ") == ["  show history"]
    leave(shell)


# --- Questions

QUESTIONS = [("clear history", "Forget all lines? [y/n]"),
             ("logout", "This is device. Press Enter to start.")]


@pytest.fixture(params=QUESTIONS, ids=[line for line, _ in QUESTIONS])
def asked(start, request):
    """A shell under job control, where Ctrl-Z could stop it, at one of its own questions."""
    shell = start(job_control=True)
    enter(shell, "show history", "device> ")
    line, question = request.param
    shell.type(line + "<enter>")
    shell.wait_for_cursor_row(question)
    shell.wait_until(shell.is_editing, "the question to be answered")
    shell.question = question
    return shell


def assert_all_is_well(shell):
    """<tab> completes again, and nothing of the question is left over."""
    shell.type("conf<tab>")
    shell.wait_for_cursor(shell.cursor[0], len("device> configure "))
    shell.wait_for_cursor_row("device> configure")
    assert not [state for state in shell.job_states if state["state"] == "stopped"]
    leave(shell)


def test_ctrl_c_drops_a_question_when_it_is_answered(asked):
    asked.type("<ctrl-c>y<enter>")
    asked.wait_for_cursor_row("device>")
    if "y/n" in asked.question:
        assert enter(asked, "show history", "device> ")[0] == "  show history"
    assert_all_is_well(asked)


def test_ctrl_z_at_a_question_does_nothing(asked):
    asked.signal(signal.SIGTSTP)
    asked.type("<ctrl-z>")
    asked.type_and_see("no")
    asked.wait_for_cursor_row(asked.question + " no" if "y/n" in asked.question
                              else asked.question + "no")
    asked.type("<enter>")
    asked.wait_for_cursor_row("device>")
    assert_all_is_well(asked)


def test_ctrl_d_is_no_answer_to_a_question(asked):
    asked.type("<ctrl-d>")
    asked.wait_for_cursor_row("device>")
    if "y/n" in asked.question:
        assert "  clear history" in enter(asked, "show history", "device> ")
    assert_all_is_well(asked)


@pytest.mark.parametrize("key", ["<tab>", "?"])
def test_nothing_is_completed_at_a_question(asked, key):
    row = asked.cursor[0]
    asked.type("sh" + key + "x")
    asked.wait_until(lambda: asked.row(row).endswith("x"), "the key to insert itself")
    assert asked.cursor[0] == row
    asked.type("<enter>")
    asked.wait_for_cursor_row("device>")
    assert_all_is_well(asked)


def test_a_terminal_would_obey_no_name(start):
    shell = start()
    enter(shell, "configure", "device(config)# ")
    for command in ("hostname ", "interface "):
        assert enter(shell, command + "<ctrl-v><ctrl-a>x", "device(config)# ") == [
            "% Not a name: '\\x01x'"]
    leave(shell)


@pytest.mark.parametrize("arguments", [["--help"], ["abc"], ["-1"], ["0"], ["nan"], ["inf"],
                                       ["1", "2"]], ids=" ".join)
def test_an_argument_that_makes_no_sense_gets_the_usage(arguments):
    environment = dict(os.environ, PYTHONPATH=os.environ["TAVORIN_MODULE_DIR"],
                       **sanitizer_environment())
    done = subprocess.run([os.environ["TAVORIN_PYTHON"], EXAMPLE] + arguments, env=environment,
                          stdin=subprocess.DEVNULL, capture_output=True, text=True)
    assert (done.returncode, done.stdout) == (2, "")
    assert done.stderr.startswith("usage: ") and len(done.stderr.splitlines()) == 1


def test_a_width_for_a_terminal_without_one(start):
    shell = start(rows=0, columns=0)
    shell.screen.resize(24, 40)
    assert enter(shell, "terminal width 40", "device> ") == []
    shell.type("x" * 50)
    shell.wait_for_cursor(2, 18)
    assert rows(shell)[1:] == ["device> " + "x" * 32, "x" * 18]
    shell.type("<ctrl-a><ctrl-k>")
    leave(shell)


def test_ctrl_d_leaves_mode_by_mode(start):
    shell = start()
    enter(shell, "configure", "device(config)# ")
    enter(shell, "interface eth5", "device(config-eth5)# ")
    shell.type("<ctrl-d>")
    shell.wait_for_cursor_row("device(config)#")
    shell.type("<ctrl-d>")
    shell.wait_for_cursor_row("device>")
    shell.type("<ctrl-d>")
    assert shell.outcome() == Returned(None)
    shell.assert_settings_as_before()


def test_its_log_is_gone_when_it_ends(start, tmp_path):
    shell = start(variables={"TMPDIR": str(tmp_path)})
    assert [path.name for path in tmp_path.glob("device-*.log")] != []
    leave(shell)
    assert list(tmp_path.glob("device-*.log")) == []


# Reports each round of the thread that writes the log.
COUNTING = """
import time
real_sleep = time.sleep
def sleep(seconds):
    report('round')
    real_sleep(seconds)
time.sleep = sleep
"""


def test_its_log_does_not_come_back(start, tmp_path):
    shell = start(0.05, COUNTING, variables={"TMPDIR": str(tmp_path)})
    leave(shell)
    rounds = len(shell.reports_of("round"))
    shell.wait_until(lambda: len(shell.reports_of("round")) > rounds + 1, "another round")
    assert list(tmp_path.glob("device-*.log")) == []
