"""The helper itself: what other tests build on has to tell the truth, above all when it fails."""

import os
import signal

import pytest

import harness
from harness import PIPE, Raised, Returned, WaitFailed
from keys import key_bytes, split_keys
from processes import session_members


@pytest.fixture
def plain_shell(terminal):
    """A shell without the module, with a line input that is nothing but the terminal's own."""
    return with_plain_input(terminal(imports=()))


def with_plain_input(shell):
    """Give the shell a toy `read_line`.  (`raw_input` writes its prompt to standard error.)"""
    shell.do("def read_line(prompt):\n"
             "    sys.stdout.write(prompt)\n"
             "    sys.stdout.flush()\n"
             "    return sys.stdin.readline().rstrip('\\n')\n")
    return shell


@pytest.mark.parametrize("keys, sent", [
    ("ab<enter>", b"ab\r"),
    ("<ctrl-c><ctrl-z><ctrl-_>", b"\x03\x1a\x1f"),
    ("<up><ctrl-right><delete>", b"\x1b[A\x1b[1;5C\x1b[3~"),
    ("<meta-b><meta-backspace>", b"\x1bb\x1b\x7f"),
    ("<lt>tab>", b"<tab>"),
    ("\u00e4", b"\xc3\xa4"),
])
def test_key_names(keys, sent):
    assert key_bytes(keys) == sent
    assert b"".join(key_bytes(key) for key in split_keys(keys)) == sent


def test_an_unknown_key_name_is_an_error():
    with pytest.raises(ValueError, match="<f99>"):
        key_bytes("a<f99>")


def test_a_line_is_typed_and_returned(plain_shell):
    plain_shell.ask("read_line('name: ')")
    plain_shell.wait_for_row(0, "name: ")
    plain_shell.type("Ada<enter>")
    assert plain_shell.outcome() == Returned("Ada")
    assert plain_shell.row(0) == "name: Ada"


def test_bytes_come_back_unharmed(plain_shell):
    assert plain_shell.do(r"'\xc3\xa4'") == "\u00e4"
    assert plain_shell.do(r"'\xff\0'") == "\udcff\0"
    assert plain_shell.do(r"('a', u'\xe4', 1, None, True)") == ["a", "\u00e4", 1, None, True]


def test_an_exception_comes_back_with_its_functions(plain_shell):
    plain_shell.do("def inner():\n    raise ValueError('no good')\n")
    plain_shell.ask("inner()")
    outcome = plain_shell.outcome()
    assert outcome == Raised("ValueError", "no good")
    assert outcome.functions[-1] == "inner"


def test_reports_are_taken_one_by_one(plain_shell):
    plain_shell.do("report('count', n=1)\nreport('other')\nreport('count', n=2)")
    assert plain_shell.next_report("count")["n"] == 1
    assert plain_shell.next_report("count")["n"] == 2
    assert len(plain_shell.reports_of("other")) == 1


def test_go_lets_the_child_go_on(plain_shell):
    plain_shell.ask("(wait_for_go(), 5)[1]")
    assert plain_shell.waits_for_answer
    plain_shell.go()
    assert plain_shell.outcome() == Returned(5)
    assert not plain_shell.waits_for_answer


def test_a_failed_wait_shows_everything(plain_shell):
    plain_shell.do("sys.stderr.write('a complaint'); report('half-way')")
    plain_shell.ask("read_line('name: ')")
    plain_shell.wait_for_row(0, "name: ")
    plain_shell.type("A<backspace><ctrl-u>B")
    with pytest.raises(WaitFailed) as failure:
        plain_shell.wait_until(lambda: False, "the moon", 0.1)
    shown = str(failure.value)
    for expected in ("waited in vain for the moon", "cursor at row 0, column 7", "|name: B",
                     "'A<backspace><ctrl-u>B'", "half-way", "a complaint", "still running"):
        assert expected in shown


def test_a_death_ends_a_wait_and_is_named(plain_shell):
    plain_shell.ask("os.abort()")
    with pytest.raises(WaitFailed, match="died of SIGABRT"):
        plain_shell.outcome()
    assert plain_shell.wait_for_end() == -signal.SIGABRT


def test_a_death_that_no_test_waited_for_is_a_problem(plain_shell):
    plain_shell.ask("os.abort()")
    plain_shell.wait_until(lambda: not session_members(plain_shell.pid), "the child's death")
    assert "the child died of SIGABRT" in plain_shell.close()[0]


def test_the_exit_status_of_an_idle_child_is_judged(plain_shell):
    plain_shell.do("import atexit; atexit.register(os._exit, 3)")
    assert "exited with status 3" in plain_shell.close()[0]


def test_a_process_left_behind_is_found_and_ended(plain_shell):
    # The leader's death hangs up its foreground processes: only one that ignores that is left.
    plain_shell.do("import subprocess\n"
                   "signal.signal(signal.SIGHUP, signal.SIG_IGN)\n"
                   "subprocess.Popen(['sleep', '600'])\n")
    pid, = [pid for pid in session_members(plain_shell.pid) if pid != plain_shell.pid]
    assert "processes were left behind: [%d]" % pid in plain_shell.close()[0]
    assert session_members(plain_shell.pid) == []


@pytest.mark.parametrize("text", ["==1==ERROR: AddressSanitizer: heap-use-after-free",
                                  "a.cc:1:2: runtime error: signed integer overflow"])
def test_a_sanitizer_report_is_a_problem(plain_shell, text):
    plain_shell.do("sys.stderr.write(%r)" % text)
    assert text in plain_shell.close()[0]


def test_changed_terminal_settings_are_named(plain_shell):
    plain_shell.assert_settings_as_before()
    plain_shell.do("import termios\n"
                   "now = termios.tcgetattr(0)\n"
                   "now[3] &= ~termios.ECHO\n"
                   "now[6][termios.VERASE] = '\\x08'\n"
                   "termios.tcsetattr(0, termios.TCSANOW, now)")
    with pytest.raises(AssertionError) as failure:
        plain_shell.assert_settings_as_before()
    assert "lflag.ECHO: 0o10 became 0" in str(failure.value)
    assert "cc[VERASE]: 127 became 8" in str(failure.value)


def test_settings_before_the_start(terminal):
    shell = with_plain_input(terminal(
        imports=(), settings={"ECHO": False, "ICRNL": False, "VERASE": 8}))
    assert not shell.settings().has("ECHO")
    assert shell.original_settings.characters[2] == 8
    shell.ask("read_line('> ')")
    shell.wait_for_row(0, "> ")
    shell.type("a\x08b<ctrl-j>")
    assert shell.outcome() == Returned("b")
    assert shell.row(0) == ">"


def test_the_window_size(terminal):
    shell = terminal(imports=(), rows=10, columns=33)
    shell.do("import fcntl, struct, termios\n"
             "report_signals(signal.SIGWINCH)\n"
             "def size():\n"
             "    return struct.unpack('HH', fcntl.ioctl(0, termios.TIOCGWINSZ, '    '))\n")
    assert shell.do("size()") == [10, 33]
    shell.resize(20, 44)
    assert shell.next_report("signal")["number"] == signal.SIGWINCH
    assert shell.do("size()") == [20, 44]
    assert len(shell.screen.display) == 20


def test_the_terminal_is_the_controlling_terminal(plain_shell):
    plain_shell.do("report_signals(signal.SIGINT)")
    plain_shell.type("<ctrl-c>")
    assert plain_shell.next_report("signal")["number"] == signal.SIGINT
    assert plain_shell.do("os.getsid(0) == os.getpid() == os.tcgetpgrp(0)") is True


def test_inherited_signal_state_is_the_default(plain_shell):
    assert int(plain_shell.do("signal_masks()")["SigBlk"], 16) == 0
    assert plain_shell.do("signal.getsignal(signal.SIGTSTP)") == signal.SIG_DFL


def test_standard_streams_can_be_something_else(terminal, tmp_path):
    text = tmp_path / "input"
    text.write_text("from a file\n")
    with open(text) as file:
        shell = with_plain_input(terminal(imports=(), stdin=file.fileno(), stdout=PIPE))
    assert shell.do("read_line('> ')") == "from a file"
    shell.wait_until(lambda: shell.piped == b"> ", "the prompt in the pipe")
    assert shell.output == b""


def test_a_closed_standard_stream(terminal):
    shell = terminal(imports=(), stdin=harness.CLOSED)
    assert shell.do("sys.stdin.fileno()") == 0
    shell.ask("os.fstat(0)")
    assert shell.outcome() == Raised("OSError", "[Errno 9] Bad file descriptor")


def test_hang_up(plain_shell):
    plain_shell.ask("read_line('> ')")
    plain_shell.wait_for_row(0, "> ")
    plain_shell.hang_up()
    assert plain_shell.wait_for_end() == -signal.SIGHUP


def test_a_job_can_be_stopped_and_continued(terminal):
    shell = with_plain_input(terminal(imports=(), job_control=True))
    assert shell.do("os.getpid()") == shell.pid
    assert shell.do("os.getsid(0) != os.getpid() == os.getpgrp() == os.tcgetpgrp(0)") is True
    shell.ask("read_line('> ')")
    shell.wait_for_row(0, "> ")
    shell.type("ab<ctrl-z>")
    shell.wait_for_job_state("stopped")
    shell.signal(signal.SIGCONT)
    shell.wait_for_job_state("continued")
    shell.type("cd<enter>")
    # The terminal drops what was typed when it turns a key into a signal.
    assert shell.outcome() == Returned("cd")


def test_a_job_that_dies_is_reported(terminal):
    shell = terminal(imports=(), job_control=True)
    shell.ask("os.kill(os.getpid(), signal.SIGTERM)")
    assert shell.wait_for_end() == -signal.SIGTERM


def test_much_text_can_be_pasted(plain_shell):
    lines = ["line %04d" % number for number in range(1000)]
    plain_shell.ask("[read_line('> ') for _ in range(1000)]")
    plain_shell.wait_for_row(0, "> ")
    plain_shell.paste("".join(line + "\r" for line in lines).encode())
    assert plain_shell.outcome() == Returned(lines)


def test_the_user_s_editor_settings_do_not_reach_the_child(plain_shell):
    home = plain_shell.do("os.environ['HOME']")
    assert home != os.environ.get("HOME")
    assert os.listdir(home) == []


@pytest.mark.parametrize("variable", ["TAVORIN_PYTHON", "TAVORIN_MODULE_DIR"])
def test_a_missing_variable_is_named(monkeypatch, variable):
    monkeypatch.delenv(variable)
    assert variable in harness.missing_environment()
