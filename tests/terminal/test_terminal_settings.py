"""The terminal is given back as it was found, on every way out of a read and on odd terminals."""

import signal

import pytest

from harness import Raised, Returned
from tty_settings import DISABLED

# Settings that a terminal may come with.  Without ECHO the line is not edited.
TERMINALS = {
    "ordinary": {},
    "ECHOCTL off": {"ECHOCTL": False},
    "ECHOE off": {"ECHOE": False},
    "ECHOK and ECHOKE off": {"ECHOK": False, "ECHOKE": False},
    "ICRNL off": {"ICRNL": False},
    "INLCR on": {"INLCR": True},
    "NOFLSH on": {"NOFLSH": True},
    "TOSTOP on": {"TOSTOP": True},
    "IEXTEN off": {"IEXTEN": False},
    "IXON off, IXANY on": {"IXON": False, "IXANY": True},
    "IUTF8 on": {"IUTF8": True},
    "ONLCR off": {"ONLCR": False},
    "OPOST off": {"OPOST": False},
    "another erase key": {"VERASE": 8},
    "other kill and word-erase keys": {"VKILL": 24, "VWERASE": 20},
    "VQUIT disabled": {"VQUIT": DISABLED},
    "VSUSP disabled": {"VSUSP": DISABLED},
    "VEOF disabled": {"VEOF": DISABLED},
    "VEOL and VEOL2 set": {"VEOL": 59, "VEOL2": 36},
    "VMIN and VTIME of no use": {"VMIN": 7, "VTIME": 9},
    "ICANON off": {"ICANON": False, "VMIN": 1, "VTIME": 0},
    "ECHO off": {"ECHO": False},
    "ECHO and ECHOCTL off": {"ECHO": False, "ECHOCTL": False},
}

CTRL_C = Raised("KeyboardInterrupt", "Ctrl-C pressed")
CTRL_Z = Raised("KeyboardInterrupt", "Ctrl-Z pressed")
END_OF_INPUT = Raised("EOFError", "readline returned NULL")

COMPLETER = """
def completer(key, line, position):
    report("completion")
    if "error" in line:
        raise ValueError(line)
    return "!"
"""

READ = "Tavorin.readline('> ', completer)"


@pytest.fixture(params=list(TERMINALS))
def name(request):
    """The name of a kind of terminal."""
    return request.param


@pytest.fixture
def shell(terminal, name):
    """A shell at that terminal, with a completer."""
    shell = terminal(settings=TERMINALS[name])
    shell.do(COMPLETER)
    return shell


def edits(name):
    """Whether lines are edited on this kind of terminal."""
    return TERMINALS[name].get("ECHO", True)


def begin(shell, name, keys="abc"):
    """Start a read, type `keys`, and wait until they have been taken where that shows."""
    shell.ask(READ)
    shell.wait_for_prompt(editing=edits(name))
    shown = len(shell.output)
    shell.type(keys)
    if edits(name):
        shell.wait_for_output(keys.encode(), shown)


class TestEveryTerminal:
    def test_a_line(self, shell, name):
        for line in ("abc", "", "def"):
            begin(shell, name, line)
            shell.type("<enter>")
            assert shell.outcome() == Returned(line)
            shell.assert_settings_as_before()

    def test_ctrl_c(self, shell, name):
        for _ in range(2):
            begin(shell, name)
            shell.type("<ctrl-c>")
            assert shell.outcome() == CTRL_C
            shell.assert_settings_as_before()

    def test_ctrl_z(self, shell, name):
        for _ in range(2):
            begin(shell, name)
            shell.type("<ctrl-z>")
            assert shell.outcome() == CTRL_Z
            shell.assert_settings_as_before()

    def test_ctrl_d(self, shell, name):
        for _ in range(2):
            begin(shell, name, "")
            shell.type("<ctrl-d>")
            assert shell.outcome() == END_OF_INPUT
            shell.assert_settings_as_before()

    @pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT],
                             ids=lambda number: number.name)
    def test_a_signal_that_ends_the_process(self, shell, name, number):
        begin(shell, name)
        shell.signal(number)
        assert shell.wait_for_end() == -number
        shell.assert_settings_as_before()

    def test_a_simple_line(self, shell, name):
        shell.ask("Tavorin.simpleReadline('> ')")
        shell.wait_for_prompt(editing=edits(name))
        shell.type("abc<enter>")
        assert shell.outcome() == Returned("abc")
        shell.assert_settings_as_before()

    def test_set_up_alone(self, shell, name):
        shell.do("Tavorin.keyBindingsEnabledIs(True)")
        shell.assert_settings_as_before()


@pytest.fixture(params=[name for name in TERMINALS if edits(name)])
def editing_shell(terminal, request):
    """A shell at each kind of terminal on which lines are edited, so that <tab> completes."""
    shell = terminal(settings=TERMINALS[request.param])
    shell.do(COMPLETER)
    return shell


class TestCompletion:
    def test_an_exception_in_the_completer(self, editing_shell):
        shell = editing_shell
        shell.begin_line("error", READ)
        shell.type("<tab>")
        assert shell.outcome() == Raised("ValueError", "error")
        shell.assert_settings_as_before()

    @pytest.mark.parametrize("key, outcome", [("<ctrl-c>", CTRL_C), ("<ctrl-z>", CTRL_Z)])
    def test_a_signal_after_a_completion(self, editing_shell, key, outcome):
        shell = editing_shell
        shell.begin_line("abc", READ)
        shell.type("<tab>")
        shell.wait_for_cursor_row("> abc!")
        shell.type(key)
        assert shell.outcome() == outcome
        shell.assert_settings_as_before()

    def test_a_line_after_a_completion(self, editing_shell):
        shell = editing_shell
        shell.begin_line("abc", READ)
        shell.type("<tab><enter>")
        assert shell.outcome() == Returned("abc!")
        shell.assert_settings_as_before()

    @pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT],
                             ids=lambda number: number.name)
    def test_a_signal_that_ends_the_process_while_the_completer_runs(self, editing_shell, number):
        shell = editing_shell
        shell.do("def completer(key, line, position):\n"
                 "    report('completion')\n"
                 "    wait_for_go()\n")
        shell.begin_line("abc", READ)
        shell.type("<tab>")
        shell.next_report("completion")
        shell.signal(number)
        assert shell.wait_for_end() == -number
        shell.assert_settings_as_before()


def test_settings_changed_between_two_lines_are_kept(terminal):
    """Each line begins with the settings found then, not with those of the first line."""
    shell = terminal()
    shell.read_line()
    for changes in ({"ECHOCTL": False}, {"VERASE": 8, "ICRNL": False}, {"NOFLSH": True}):
        shell.change_settings(changes)
        for key, outcome in (("<enter>", Returned("abc")), ("<ctrl-c>", CTRL_C),
                             ("<ctrl-u><ctrl-d>", END_OF_INPUT)):
            shell.begin_line("abc")
            shell.type(key)
            assert shell.outcome() == outcome
            shell.assert_settings_as_before()


def test_echo_switched_off_and_on_between_lines(terminal):
    """Whether lines are edited was settled by the first one; what is asked for here is the line."""
    shell = terminal()
    shell.read_line()
    for echo in (False, True):
        shell.change_settings({"ECHO": echo})
        shell.ask("Tavorin.readline('secret: ')")
        shell.wait_for_prompt("secret: ", editing=False)
        shell.type("abc<enter>")
        assert shell.outcome() == Returned("abc")
        shell.assert_settings_as_before()


def test_the_erase_key_of_the_terminal_erases(terminal):
    """Whatever key the user has chosen with stty."""
    shell = terminal(settings={"VERASE": 0x14, "VKILL": 0x18, "VWERASE": 0x12})
    shell.begin_line()
    shell.type("abx<ctrl-t>c<enter>")
    assert shell.outcome() == Returned("abc")
