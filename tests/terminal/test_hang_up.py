"""The other end of the terminal goes away: a broken connection, a closed window."""

import signal

import pytest

from harness import Raised, Returned
from processes import processor_seconds

CALLS = [
    pytest.param("Tavorin.readline('> ')", Raised("EOFError", "readline returned NULL"),
                 id="readline"),
    pytest.param("Tavorin.simpleReadline('> ')",
                 Raised("EOFError", "simpleReadline returned NULL"), id="simpleReadline"),
]


@pytest.mark.parametrize("call, end", CALLS)
class TestWhileALineIsAwaited:
    def test_the_default_action_ends_the_process(self, shell, call, end):
        shell.begin_line("abc", call)
        shell.hang_up()
        assert shell.wait_for_end() == -signal.SIGHUP

    def test_ignored_the_read_ends_and_so_does_every_later_one(self, shell, call, end):
        shell.do("signal.signal(signal.SIGHUP, signal.SIG_IGN)")
        shell.begin_line("abc", call)
        shell.hang_up()
        assert shell.outcome() == end
        for _ in range(20):
            shell.ask(call)
            assert shell.outcome() == end
        assert processor_seconds(shell.pid) < 5

    def test_a_handler_runs_after_the_read(self, shell, call, end):
        shell.do("report_signals(signal.SIGHUP)")
        shell.begin_line("abc", call)
        shell.hang_up()
        assert shell.outcome() == end
        assert shell.next_report("signal")["number"] == signal.SIGHUP
        shell.ask(call)
        assert shell.outcome() == end
        assert processor_seconds(shell.pid) < 5

    def test_with_an_empty_line(self, shell, call, end):
        shell.do("signal.signal(signal.SIGHUP, signal.SIG_IGN)")
        shell.begin_line("", call)
        shell.hang_up()
        assert shell.outcome() == end


@pytest.mark.parametrize("call, end", CALLS)
@pytest.mark.parametrize("lines_before", [0, 1])
def test_between_two_lines(shell, call, end, lines_before):
    shell.do("signal.signal(signal.SIGHUP, signal.SIG_IGN)")
    for _ in range(lines_before):
        shell.begin_line("abc", call)
        shell.type("<enter>")
        assert shell.outcome() == Returned("abc")
    shell.hang_up()
    for _ in range(20):
        shell.ask(call)
        assert shell.outcome() == end
    assert processor_seconds(shell.pid) < 5


def test_while_the_completer_runs(shell):
    shell.do("signal.signal(signal.SIGHUP, signal.SIG_IGN)\n"
             "def completer(key, line, position):\n"
             "    report('completing')\n"
             "    wait_for_go()\n"
             "    return 'd'\n")
    shell.begin_line("abc", "Tavorin.readline('> ', completer)")
    shell.type("<tab>")
    shell.next_report("completing")
    shell.hang_up()
    shell.go()
    assert shell.outcome() == Raised("EOFError", "readline returned NULL")


def test_a_shell_without_editing(terminal):
    shell = terminal(settings={"ECHO": False})
    shell.do("signal.signal(signal.SIGHUP, signal.SIG_IGN)")
    shell.ask("Tavorin.readline('> ')")
    shell.wait_for_prompt(editing=False)
    shell.hang_up()
    assert shell.outcome() == Raised("EOFError", "readline returned NULL")
