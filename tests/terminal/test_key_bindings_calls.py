"""The switch for <tab> and "?" as Python sees it."""

from harness import Raised, Returned


def test_it_is_off_before_the_editor_is_set_up(shell):
    assert shell.do("Tavorin.keyBindingsEnabled()") is False


def test_a_first_line_turns_it_on(shell):
    shell.ask("Tavorin.readline('> ')")
    shell.type("<enter>")
    assert shell.outcome() == Returned("")
    assert shell.do("Tavorin.keyBindingsEnabled()") is True


def test_a_first_simple_line_does_not(shell):
    shell.ask("Tavorin.simpleReadline('> ')")
    shell.type("<enter>")
    assert shell.outcome() == Returned("")
    assert shell.do("Tavorin.keyBindingsEnabled()") is False


def test_it_can_be_switched_as_the_first_thing(shell):
    assert shell.do("Tavorin.keyBindingsEnabledIs(False)") is None
    assert shell.do("Tavorin.keyBindingsEnabled()") is False
    assert shell.do("Tavorin.keyBindingsEnabledIs(True)") is None
    assert shell.do("Tavorin.keyBindingsEnabled()") is True


def test_the_first_line_after_switching_off_leaves_it_off(shell):
    shell.do("Tavorin.keyBindingsEnabledIs(False)")
    shell.ask("Tavorin.readline('> ')")
    shell.type("<enter>")
    assert shell.outcome() == Returned("")
    assert shell.do("Tavorin.keyBindingsEnabled()") is False


def test_a_wrong_value_does_not_set_the_editor_up(shell):
    shell.ask("Tavorin.keyBindingsEnabledIs(1)")
    assert shell.outcome() == Raised("TypeError", "Expected a bool")
    assert shell.do("Tavorin.keyBindingsEnabled()") is False


def test_switching_leaves_the_terminal_alone(shell):
    shell.do("Tavorin.keyBindingsEnabledIs(True)")
    shell.assert_settings_as_before()
    assert shell.output == b""
