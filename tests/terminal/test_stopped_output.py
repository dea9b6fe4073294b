"""A terminal whose output is stopped, by Ctrl-S or because nobody reads it.

What is drawn waits there, as the user wants.  Signals do not.
"""

import os
import signal

import pytest

from harness import Raised, Returned
from processes import waits_in_write

ENDING = pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP],
                                 ids=lambda number: number.name)
JUMPING = pytest.mark.parametrize("number, message", [(signal.SIGINT, "Ctrl-C pressed"),
                                                      (signal.SIGTSTP, "Ctrl-Z pressed")])


def stop(shell):
    shell.type("<ctrl-s>")
    shell.wait_until(shell.output_is_stopped, "the output to be stopped")


def stop_by_key(shell):
    shell.type("<ctrl-s>d")


def stop_by_not_reading(shell):
    shell.type("0123456789" * 150)
    shell.wait_until(shell.has_taken_all_keys, "the keys to be taken")
    shell.stop_reading()
    shell.type("<ctrl-l>" * 200)


def as_ever(shell):
    pass


def after_su(shell):
    """The terminal is another user's, and cannot be opened."""
    shell.do("os.fchmod(1, 0)\nif os.getuid() == 0: os.setuid(65534)")


@pytest.fixture(params=[as_ever, after_su], ids=lambda user: user.__name__)
def user(request):
    return request.param


@pytest.fixture(params=[stop_by_key, stop_by_not_reading], ids=lambda stop: stop.__name__)
def stopped(request, shell, user):
    """A shell that sleeps because the terminal takes nothing of what it draws."""
    user(shell)
    shell.begin_line("abc")
    request.param(shell)
    shell.wait_until(lambda: waits_in_write(shell.pid), "the output to be stopped")
    return shell


@ENDING
def test_a_signal_ends_the_process(stopped, number):
    stopped.signal(number)
    assert stopped.wait_for_end() == -number
    stopped.assert_settings_as_before()


@JUMPING
def test_an_interrupt_ends_the_read(stopped, number, message):
    stopped.signal(number)
    assert stopped.outcome() == Raised("KeyboardInterrupt", message)
    stopped.assert_settings_as_before()


def test_everything_is_shown_once_it_goes_on(shell, user):
    """Also what a signal has kept from being written."""
    user(shell)
    shell.do("report_signals(signal.SIGTERM)")
    shell.begin_line("abc")
    stop_by_key(shell)
    shell.wait_until(lambda: waits_in_write(shell.pid), "the output to be stopped")
    for _ in range(3):
        shell.signal(signal.SIGTERM)
    shell.signal(signal.SIGWINCH)
    shell.type("<ctrl-q>e")
    shell.wait_for_cursor_row("> abcde")
    shell.type("<enter>")
    assert shell.outcome() == Returned("abcde")
    shell.next_report("signal")
    shell.assert_settings_as_before()


def test_nothing_is_written_twice(shell, user):
    """A terminal that is nearly full takes a part of what is drawn."""
    user(shell)
    shell.begin_line("abc")
    stop_by_not_reading(shell)
    shell.wait_until(lambda: waits_in_write(shell.pid), "the output to be stopped")
    shown = len(shell.output)
    shell.read_again()
    shell.type("<enter>")
    assert shell.outcome() == Returned("abc" + "0123456789" * 150)
    screens = bytes(shell.output[shown:]).split(b"\x1b[H\x1b[2J")[1:]
    assert len(screens) == 200
    assert len(set(screens[:-1])) == 1


@ENDING
def test_at_the_end_of_the_line(shell, user, number):
    user(shell)
    shell.begin_line("abc")
    shell.type("<ctrl-s><enter>")
    shell.wait_until(lambda: waits_in_write(shell.pid), "the output to be stopped")
    shell.signal(number)
    assert shell.wait_for_end() == -number
    shell.assert_settings_as_before()


def test_after_an_interrupt_the_next_line_begins_afresh(shell):
    shell.begin_line("abc")
    stop_by_key(shell)
    shell.wait_until(lambda: waits_in_write(shell.pid), "the output to be stopped")
    shell.signal(signal.SIGINT)
    assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")
    shell.type("<ctrl-q>")
    shell.read_line()
    shell.wait_until(lambda: "d" not in shell.screen.display[0], "nothing of what was stopped")


@ENDING
def test_while_another_thread_waits_to_write(shell, number):
    """The kernel then lets nobody change the settings who wants to wait for the output."""
    go = os.path.join(shell.home, "go")
    os.mkfifo(go)
    go = os.open(go, os.O_RDWR)
    shell.do("import threading\n"
             "def write():\n"
             "    os.read(os.open('go', os.O_RDONLY), 1)\n"
             "    os.write(1, 'log')\n"
             "writer = threading.Thread(target=write)\n"
             "writer.daemon = True\n"
             "writer.start()")
    shell.begin_line("abc")
    stop(shell)
    os.write(go, b"x")
    os.close(go)
    shell.wait_until(lambda: waits_in_write(shell.pid), "the output to be stopped")
    shell.signal(number)
    assert shell.wait_for_end() == -number
    shell.assert_settings_as_before()


@ENDING
def test_with_text_of_the_shell_s_in_the_buffer(shell, number):
    stop(shell)
    shell.ask("sys.stdout.write('abc'); Tavorin.readline('> ')")
    shell.wait_until(shell.is_editing, "the terminal in the editor's mode")
    shell.wait_for_sleep()
    shell.signal(number)
    assert shell.wait_for_end() == -number
    shell.assert_settings_as_before()
