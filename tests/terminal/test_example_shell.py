"""The example shell, used at a terminal as a person would use it."""

import os

import pytest

from harness import Returned

EXAMPLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "examples", "shell.py")


@pytest.fixture
def start(terminal):
    """Starts the example shell: `start(seconds between log messages)`."""
    def start(seconds=1000, **options):
        shell = terminal(**options)
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


def leave(shell):
    shell.type("<ctrl-z><ctrl-u>exit<enter>")
    assert shell.outcome() == Returned(None)
    shell.assert_settings_as_before()


def test_it_uses_every_function(shell):
    with open(EXAMPLE) as file:
        example = file.read()
    names = shell.do("[name for name in dir(Tavorin) if not name.startswith('_')]")
    assert len(names) == 12
    assert [name for name in names if "Tavorin.%s(" % name not in example] == []


def test_a_session_from_start_to_end(start):
    shell = start(rows=60)
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
    assert enter(shell, "conf", "device(config)# ") == []
    assert enter(shell, "hostname r1", "r1(config)# ") == []
    assert enter(shell, "int eth1", "r1(config-eth1)# ") == []
    assert enter(shell, "desc customers", "r1(config-eth1)# ") == []
    assert enter(shell, "show history", "r1(config-eth1)# ") == [
        "  show int", "  conf", "  hostname r1", "  int eth1", "  desc customers", "  show history"]
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
        "  show int", "  conf", "  show interfaces", "  show history"]
    assert enter(shell, "clear history", "Forget all lines? [y/n] ") == []
    assert enter(shell, "y", "r1> ") == []
    assert enter(shell, "show history", "r1> ") == ["  show history"]
    shell.type("exit<enter>")
    assert shell.outcome() == Returned(None)
    shell.assert_settings_as_before()


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
    shell.type("<ctrl-u>")
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
    ("nonsense ?", []),
])
def test_question_mark_lists_and_inserts_nothing(start, keys, listed):
    shell = start()
    shell.type(keys)
    line = "device> " + keys[:-1]
    shell.wait_for_cursor(len(listed) + 1, len(line))
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
