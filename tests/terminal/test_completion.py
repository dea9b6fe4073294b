"""<tab> and "?" at the prompt: what the callable gets, and what becomes of its answer."""

import pytest

from harness import Raised, Returned

COMPLETER = """
def completer(key, line, position):
    report("completion", key=key, line=line, position=position)
    return answer
"""


@pytest.fixture
def shell(shell):
    """A shell with a `completer` that reports each call and returns `answer`."""
    shell.do(COMPLETER)
    return shell


def complete(shell, answer, keys, call="Tavorin.readline('> ', completer)"):
    """Read a line by `keys`, in which the completer answers `answer` each time."""
    shell.do("answer = %s" % answer)
    shell.begin_line(call=call)
    shell.type(keys)
    return shell.outcome()


def completions(shell):
    return [(c["key"], c["line"], c["position"]) for c in shell.reports_of("completion")]


ANSWERS = [
    # name, the completer's answer, keys, the line, the calls
    ("text is appended", "'sion'", "sh ver<tab>", "sh version", [("\t", "sh ver", 6)]),
    ("the cursor may stand anywhere", "'sion'", "sh ver<ctrl-a><right><right><tab>", "sh version",
     [("\t", "sh ver", 6)]),
    ("the cursor ends at the end", "'b'", "a<ctrl-a><tab>c", "abc", [("\t", "a", 1)]),
    ("? completes as well", "'sion'", "sh ver?", "sh version", [("?", "sh ver", 6)]),
    ("? inserts nothing", "None", "sh ver?", "sh ver", [("?", "sh ver", 6)]),
    ("None changes nothing", "None", "ab<tab>c", "abc", [("\t", "ab", 2)]),
    ("empty text changes nothing", "''", "ab<tab>c", "abc", [("\t", "ab", 2)]),
    ("a backspace deletes at the end", r"'\b\bab'", "xyz<tab>", "xab", [("\t", "xyz", 3)]),
    ("backspaces delete at the end wherever the cursor is", r"'\bc'", "abx<ctrl-a><tab>", "abc",
     [("\t", "abx", 3)]),
    ("surplus backspaces are dropped", r"'\b\b\b\bq'", "ab<tab>", "q", [("\t", "ab", 2)]),
    ("backspaces alone", r"'\b\b'", "abc<tab>", "a", [("\t", "abc", 3)]),
    ("a later backspace is text", r"'b\bc'", "a<tab>", "ab\bc", [("\t", "a", 1)]),
    ("an empty line is completed too", "'ab'", "<tab>", "ab", [("\t", "", 0)]),
    ("twice on a line", "'-'", "a<tab>b?c", "a-b-c", [("\t", "a", 1), ("?", "a-b", 3)]),
    ("at once after a correction", "'c'", "abx<backspace><tab>", "abc", [("\t", "ab", 2)]),
]


@pytest.mark.parametrize("answer, keys, line, calls", [row[1:] for row in ANSWERS],
                         ids=[row[0] for row in ANSWERS])
def test_answer(shell, answer, keys, line, calls):
    assert complete(shell, answer, keys + "<enter>") == Returned(line)
    assert completions(shell) == calls
    shell.assert_settings_as_before()


def test_the_completed_line_is_shown(shell):
    shell.do("answer = 'sion'")
    shell.begin_line("sh ver", "Tavorin.readline('> ', completer)")
    shell.type("<ctrl-a><tab>")
    shell.wait_for_row(0, "> sh version")
    shell.wait_for_cursor(0, 12)
    shell.type("<enter>")
    assert shell.outcome() == Returned("sh version")


def test_what_the_completer_prints_stays_above_the_line(shell):
    shell.do("def completer(key, line, position):\n"
             "    sys.stdout.write('\\nversion  Show the version\\n')\n"
             "    sys.stdout.flush()\n")
    shell.begin_line("show ", "Tavorin.readline('> ', completer)")
    shell.type("?")
    shell.wait_for_row(1, "version  Show the version")
    shell.wait_for_row(2, "> show")
    shell.type("v<enter>")
    assert shell.outcome() == Returned("show v")


def test_an_exception_comes_out_with_its_traceback(shell):
    shell.do("def deep():\n    raise ValueError('no such command')\n"
             "def completer(key, line, position):\n    deep()\n")
    shell.begin_line("abc", "Tavorin.readline('> ', completer)")
    shell.type("<tab>")
    outcome = shell.outcome()
    assert outcome == Raised("ValueError", "no such command")
    assert outcome.functions[-2:] == ("completer", "deep")
    shell.assert_settings_as_before()
    shell.read_line()


def test_the_very_exception_object_comes_out(shell):
    shell.do("class Odd(Exception): pass\n"
             "raised = Odd(1, 2)\n"
             "def completer(key, line, position):\n    raise raised\n"
             "def read():\n"
             "    try:\n        Tavorin.readline('> ', completer)\n"
             "    except Odd as caught:\n        return caught is raised\n")
    shell.begin_line("abc", "read()")
    shell.type("<tab>")
    assert shell.outcome() == Returned(True)


def test_an_exception_comes_every_time(shell):
    shell.do("def completer(key, line, position):\n    raise ValueError(line)\n")
    for line in ("a", "b", "c"):
        shell.begin_line(line, "Tavorin.readline('> ', completer)")
        shell.type("<tab>")
        assert shell.outcome() == Raised("ValueError", line)
        shell.assert_settings_as_before()
    shell.read_line()


@pytest.mark.parametrize("answer", ["42", "['a']", "object()"])
def test_an_answer_that_is_no_string_is_a_type_error(shell, answer):
    assert complete(shell, answer, "ab<tab>").type == "TypeError"
    shell.assert_settings_as_before()
    shell.read_line()


def test_something_that_cannot_be_called_is_a_type_error(shell):
    shell.begin_line("ab", "Tavorin.readline('> ', 5)")
    shell.type("<tab>")
    assert shell.outcome() == Raised("TypeError", "'int' object is not callable")
    shell.read_line()


def test_ctrl_c_while_the_completer_runs_reaches_it(shell):
    """Python code in the middle of a read gets its KeyboardInterrupt as anywhere else."""
    shell.do("import time\n"
             "def completer(key, line, position):\n"
             "    report('completing')\n"
             "    while True:\n        time.sleep(0.001)\n")
    shell.begin_line("abc", "Tavorin.readline('> ', completer)")
    shell.type("<tab>")
    shell.next_report("completing")
    shell.type("<ctrl-c>")
    outcome = shell.outcome()
    assert outcome == Raised("KeyboardInterrupt", "")
    assert "completer" in outcome.functions
    shell.assert_settings_as_before()
    shell.read_line()


def test_a_completer_that_catches_its_ctrl_c_goes_on(shell):
    shell.do("import time\n"
             "def completer(key, line, position):\n"
             "    try:\n"
             "        report('completing')\n"
             "        while True:\n            time.sleep(0.001)\n"
             "    except KeyboardInterrupt:\n        return 'd'\n")
    shell.begin_line("abc", "Tavorin.readline('> ', completer)")
    shell.type("<tab>")
    shell.next_report("completing")
    shell.type("<ctrl-c>")
    shell.wait_for_cursor_row("> abcd")
    shell.type("e<enter>")
    assert shell.outcome() == Returned("abcde")
    shell.assert_settings_as_before()


def test_the_shell_s_own_handlers_are_in_place_while_the_completer_runs(shell):
    shell.do("import time\n"
             "report_signals(signal.SIGINT, signal.SIGTSTP)\n"
             "def completer(key, line, position):\n"
             "    report('completing')\n"
             "    wait_for_go()\n"
             "    return 'd'\n")
    shell.begin_line("abc", "Tavorin.readline('> ', completer)")
    shell.type("<tab>")
    shell.next_report("completing")
    for number in (2, 20):
        shell.signal(number)
        assert shell.next_report("signal")["number"] == number
    shell.go()
    shell.wait_for_cursor_row("> abcd")
    shell.type("<enter>")
    assert shell.outcome() == Returned("abcd")
    assert len(shell.reports_of("signal")) == 2


@pytest.mark.parametrize("key, message", [("<ctrl-c>", "Ctrl-C pressed"),
                                          ("<ctrl-z>", "Ctrl-Z pressed")])
def test_a_signal_after_a_completion_ends_the_read(shell, key, message):
    shell.do("answer = 'sion'")
    shell.begin_line("sh ver", "Tavorin.readline('> ', completer)")
    shell.type("<tab>")
    shell.wait_for_cursor_row("> sh version")
    shell.type(key)
    assert shell.outcome() == Raised("KeyboardInterrupt", message)
    shell.assert_settings_as_before()
    shell.read_line()


class TestWhichCallable:
    """The callable of the latest call of `readline` is the one that is called."""

    @pytest.fixture
    def shell(self, shell):
        shell.do("def first(key, line, position):\n    return '1'\n"
                 "def second(key, line, position):\n    return '2'\n")
        return shell

    def read(self, shell, call, line):
        shell.begin_line("a", call)
        shell.type("<tab>b<enter>")
        assert shell.outcome() == Returned(line)

    def test_each_call_has_its_own(self, shell):
        self.read(shell, "Tavorin.readline('> ', first)", "a1b")
        self.read(shell, "Tavorin.readline('> ', second)", "a2b")
        self.read(shell, "Tavorin.readline('> ')", "ab")

    def test_a_simple_line_calls_the_latest(self, shell):
        self.read(shell, "Tavorin.readline('> ', first)", "a1b")
        self.read(shell, "Tavorin.simpleReadline('> ')", "a1b")
        self.read(shell, "Tavorin.readline('> ', second)", "a2b")
        self.read(shell, "Tavorin.simpleReadline('> ')", "a2b")

    def test_a_simple_line_calls_none_after_a_line_without(self, shell):
        self.read(shell, "Tavorin.readline('> ', first)", "a1b")
        self.read(shell, "Tavorin.readline('> ')", "ab")
        self.read(shell, "Tavorin.simpleReadline('> ')", "ab")

    @pytest.mark.parametrize("wrong", ["", "5", "'> ', second, 5", "'> ', second, None",
                                       "'> ', second, 'a', 5", "'> ', second, 'a', 'b', 'c'"])
    def test_wrong_arguments_leave_none(self, shell, wrong):
        self.read(shell, "Tavorin.readline('> ', first)", "a1b")
        shell.ask("Tavorin.readline(%s)" % wrong)
        assert shell.outcome().type == "TypeError"
        self.read(shell, "Tavorin.simpleReadline('> ')", "ab")

    def test_an_end_by_ctrl_c_leaves_it(self, shell):
        shell.begin_line("a", "Tavorin.readline('> ', first)")
        shell.type("<ctrl-c>")
        assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")
        self.read(shell, "Tavorin.simpleReadline('> ')", "a1b")


def test_files_are_never_completed(terminal):
    """Neither with a completer nor without; the editor would complete file names by itself."""
    shell = terminal()
    shell.do("os.mkdir('files')\nos.chdir('files')\nopen('version', 'w').close()")
    shell.do(COMPLETER + "answer = None")
    for call in ("Tavorin.readline('> ', completer)", "Tavorin.readline('> ')",
                 "Tavorin.simpleReadline('> ')"):
        shell.begin_line("ver", call)
        shell.type("<tab>?<tab><enter>")
        assert shell.outcome() == Returned("ver")


def test_a_completer_that_prints_and_adds_nothing_has_the_line_drawn_again(shell):
    shell.do("def completer(key, line, position):\n"
             "    sys.stdout.write('\\nversion\\n')\n"
             "    sys.stdout.flush()\n"
             "    return ''\n")
    shell.begin_line("show ", "Tavorin.readline('> ', completer)")
    shell.type("<tab>")
    shell.wait_for_row(1, "version")
    shell.wait_for_row(2, "> show")
    shell.wait_for_cursor(2, 7)
    shell.type("<enter>")
    assert shell.outcome() == Returned("show ")


class TestKeyBindingsSwitched:
    def test_on_makes_all_of_the_bindings_again(self, terminal):
        """Also where they were on already."""
        shell = terminal(opened=True)
        shell.do(COMPLETER)
        shell.do("import ctypes\ninside = ctypes.PyDLL(Tavorin.__file__)")
        shell.do("Tavorin.keyBindingsEnabledIs(True)")
        for key in ("^I", "?", "^R", "^W"):
            assert shell.do("inside.run_editor_command('bind %s ed-insert')" % key) == 0
        assert complete(shell, "'-'", "one two<ctrl-w>?<enter>") == Returned("one two\x17?")
        shell.do("Tavorin.keyBindingsEnabledIs(True)")
        assert complete(shell, "'-'", "one two<ctrl-w>?<enter>") == Returned("one -")
        shell.do("Tavorin.addHistory('an older line', 'exec', '')")
        assert complete(shell, "'-'", "<ctrl-r>old<esc><enter>").value == "an older line"

    def test_off_both_keys_insert_themselves(self, shell):
        shell.do("Tavorin.keyBindingsEnabledIs(False)")
        assert complete(shell, "'no'", "a?b<tab><enter>") == Returned("a?b\t")
        assert completions(shell) == []

    def test_on_again_both_keys_complete(self, shell):
        shell.do("Tavorin.keyBindingsEnabledIs(False)")
        shell.do("Tavorin.keyBindingsEnabledIs(True)")
        assert complete(shell, "'-'", "a?b<tab><enter>") == Returned("a-b-")
        assert completions(shell) == [("?", "a", 1), ("\t", "a-b", 3)]

    def test_between_two_lines(self, shell):
        for enabled, line in ((True, "a-"), (False, "a\t"), (True, "a-")):
            shell.do("Tavorin.keyBindingsEnabledIs(%s)" % enabled)
            assert complete(shell, "'-'", "a<tab><enter>") == Returned(line)
            assert shell.do("Tavorin.keyBindingsEnabled()") is enabled


@pytest.mark.parametrize("read", ["os.read(0, 1)", "sys.stdin.read(1)"])
def test_the_callable_can_ask_for_a_key(shell, read):
    """As for the next page of a long list."""
    shell.do("import os")
    shell.do("def completer(key, line, position):\n"
             "    sys.stdout.write('--More--')\n"
             "    sys.stdout.flush()\n"
             "    return %s" % read)
    shell.begin_line("ab", "Tavorin.readline('> ', completer)")
    shell.type("<tab>")
    shell.wait_for_screen("--More--")
    shell.type("q")
    shell.wait_for_screen("> abq")
    shell.type("c<enter>")
    assert shell.outcome() == Returned("abqc")
    shell.assert_settings_as_before()
