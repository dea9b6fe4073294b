"""Searching history with Ctrl-R: what is on the screen, and how a search ends."""

import pytest

from harness import Raised, Returned

LINES = ("show one", "show two", "exit")


@pytest.fixture
def shell(terminal):
    """A shell with a few lines, at its prompt."""
    shell = terminal()
    for line in LINES:
        shell.do("Tavorin.addHistory(%r, 'exec', '')" % line)
    begin(shell)
    return shell


def begin(shell):
    shell.ask("Tavorin.readline('> ', None, 'exec')")
    shell.wait_for_prompt()


def test_the_pattern_stands_below_the_line(shell):
    shell.type("<ctrl-r>o")
    shell.wait_for_row(1, "bck:o")
    shell.wait_for_row(0, "> show two")
    shell.type("ne")
    shell.wait_for_row(1, "bck:one")
    shell.wait_for_row(0, "> show one")
    shell.wait_for_cursor(0, 7)
    shell.type("x")
    shell.wait_for_row(1, "bck?onex")
    shell.type("<backspace>")
    shell.wait_for_row(1, "bck:one")
    shell.type("<enter>")
    assert shell.outcome() == Returned("show one")
    shell.wait_for_row(1, "")


@pytest.mark.parametrize("key, message", [("<ctrl-c>", "Ctrl-C pressed"),
                                          ("<ctrl-z>", "Ctrl-Z pressed")])
def test_an_interrupt_leaves_nothing_of_it_on_the_screen(shell, key, message):
    shell.type("<ctrl-r>one")
    shell.wait_for_row(1, "bck:one")
    shell.type(key)
    assert shell.outcome() == Raised("KeyboardInterrupt", message)
    shell.assert_settings_as_before()
    shell.do("sys.stdout.write('\\n'); sys.stdout.flush()")
    begin(shell)
    shell.wait_for_row(0, "> show one")
    shell.wait_for_row(1, ">")
    shell.type("new<enter>")
    assert shell.outcome() == Returned("new")


@pytest.mark.parametrize("keys, line", [
    ("<left>|", "show| one"), ("<right>|", "show o|ne"), ("<esc>b|", "show b|one"),
    ("<home>|", "|show one"), ("<up>", "show one"), ("<down>", "show two"),
])
def test_another_key_ends_it_and_does_what_it_does(shell, keys, line):
    shell.type("<ctrl-r>one")
    shell.wait_for_row(1, "bck:one")
    shell.type(keys)
    shell.wait_for_row(1, "")
    shell.type("<enter>")
    assert shell.outcome() == Returned(line)


def test_escape_and_enter_in_one_go(shell):
    shell.type("<ctrl-r>one<esc><enter>")
    assert shell.outcome() == Returned("show one")


def test_a_window_that_changes_meanwhile(shell):
    shell.type("<ctrl-r>one")
    shell.wait_for_row(1, "bck:one")
    shell.resize(24, 6)
    shell.type("<backspace><backspace>")
    shell.resize(24, 80)
    shell.type("ne<enter>")
    assert shell.outcome() == Returned("show one")


def test_the_next_user_does_not_find_the_pattern(shell):
    shell.type("<ctrl-r>one<enter>")
    assert shell.outcome() == Returned("show one")
    shell.do("Tavorin.resetInput()")
    for line in LINES:
        shell.do("Tavorin.addHistory(%r, 'exec', '')" % line)
    shell.do("sys.stdout.write('\\033[H\\033[2J'); sys.stdout.flush()")
    begin(shell)
    shell.type("<ctrl-r><ctrl-r>")
    shell.wait_for_row(1, "bck:")
    shell.type("<enter>")
    assert shell.outcome() == Returned("")
