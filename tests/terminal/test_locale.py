"""The locale: a line is edited in the application's or else in the environment's, and the process
keeps its own."""

import pytest

from harness import Raised, Returned, as_bytes
from locales import COMMA, EIGHT_BIT
from monitor import CALLBACK, ScriptedMonitor

KOI8 = EIGHT_BIT["KOI8-R"][0]

CTRL_C = Raised("KeyboardInterrupt", "Ctrl-C pressed")
CTRL_Z = Raised("KeyboardInterrupt", "Ctrl-Z pressed")
END_OF_INPUT = Raised("EOFError", "readline returned NULL")

# What a shell can see of its locale: its name, its character set, and whether the byte 0xC1, a letter
# in KOI8-R, is a letter.
CHILD = r"""
import threading

def seen():
    return [locale.setlocale(locale.LC_CTYPE), locale.nl_langinfo(locale.CODESET), '\xc1'.isalpha(),
            locale.localeconv()['decimal_point']]

def completer(key, line, position):
    report('in a completion', seen=seen())
    if line.startswith('raise'):
        raise ValueError('no completion')
    return '-'
"""

IN_C = ["C", "ANSI_X3.4-1968", False, "."]

THREAD = """
stopping = threading.Event()

def look():
    while not stopping.wait(0.005):
        report('in a thread', seen=seen())

looker = threading.Thread(target=look)
looker.start()
"""


def start(terminal, variables, **options):
    shell = terminal(variables=variables, imports=("Tavorin", "locale"), **options)
    shell.do(CHILD)
    return shell


# How a read can end, with text of the locale on its line.
WAYS_OUT = {
    "enter": ("<enter>", None),
    "ctrl-c": ("<ctrl-c>", CTRL_C),
    "ctrl-z": ("<ctrl-z>", CTRL_Z),
    "ctrl-d": ("<ctrl-u><ctrl-d>", END_OF_INPUT),
    "the byte 255": ("\udcff", END_OF_INPUT),
    "a completion": ("<tab><enter>", None),
    "a completion that raises": ("<ctrl-u>raise<tab>", Raised("ValueError", "no completion")),
    "half a character": ("\udce2<ctrl-c>", CTRL_C),
    "a search": ("<ctrl-r>x<ctrl-c>", CTRL_C),
}

ENVIRONMENTS = {"UTF-8": ({"LC_ALL": "C.UTF-8"}, "utf-8"), "KOI8-R": ({"LC_ALL": KOI8}, "koi8-r")}


@pytest.mark.expected_skip
@pytest.mark.parametrize("keys, outcome", WAYS_OUT.values(), ids=WAYS_OUT.keys())
@pytest.mark.parametrize("variables, encoding", ENVIRONMENTS.values(), ids=ENVIRONMENTS.keys())
class TestTheProcessKeepsItsOwn:
    @pytest.fixture
    def shell(self, terminal, locale_folder, variables, encoding):
        return start(terminal, dict(variables, LOCPATH=locale_folder), encoding=encoding)

    def read(self, shell, keys, outcome, encoding, call="Tavorin.readline('> ', completer)"):
        shell.begin_line(call=call)
        shell.type("привет" + keys)
        got = shell.outcome()
        if outcome is not None:
            assert got == outcome
        else:
            assert as_bytes(got.value).startswith("привет".encode(encoding))
        shell.assert_settings_as_before()

    def test_after_a_read(self, shell, encoding, keys, outcome):
        assert shell.do("seen()") == IN_C
        for _ in range(2):
            self.read(shell, keys, outcome, encoding)
            assert shell.do("seen()") == IN_C

    def test_in_a_completion(self, shell, encoding, keys, outcome):
        self.read(shell, "<tab>" + keys, outcome, encoding)
        for completion in shell.reports_of("in a completion"):
            assert completion["seen"] == IN_C

    def test_in_another_thread(self, shell, encoding, keys, outcome):
        shell.do(THREAD)
        try:
            shell.begin_line("x", call="Tavorin.readline('> ', completer)")
            seen = len(shell.reports_of("in a thread"))
            shell.wait_until(lambda: len(shell.reports_of("in a thread")) > seen + 2, "the thread")
            shell.type(keys)
            shell.outcome()
        finally:
            shell.do("stopping.set()\nlooker.join()")
        reports = shell.reports_of("in a thread")
        assert all(report["seen"] == IN_C for report in reports)

    def test_a_changed_one_is_kept_too(self, shell, encoding, keys, outcome):
        """The application's own comes back as it is, not as it was at the set-up."""
        self.read(shell, keys, outcome, encoding)
        shell.do("locale.setlocale(locale.LC_ALL, 'de_DE.UTF-8')")
        expected = ["de_DE.UTF-8", "UTF-8", False, ","]
        assert shell.do("seen()") == expected
        shell.begin_line(call="Tavorin.readline('> ', completer)")
        shell.type("x<tab><enter>")
        assert shell.outcome() == Returned("x-")
        assert shell.do("seen()") == expected
        assert shell.reports_of("in a completion")[-1]["seen"] == expected


@pytest.mark.expected_skip
@pytest.mark.parametrize("variables, encoding", ENVIRONMENTS.values(), ids=ENVIRONMENTS.keys())
class TestInCallbacks:
    def test_in_a_log_callback(self, terminal, tmp_path, locale_folder, variables, encoding):
        monitor = ScriptedMonitor(tmp_path)
        shell = start(terminal, dict(variables, LOCPATH=locale_folder, **monitor.variables()),
                      encoding=encoding)
        shell.do(CALLBACK)
        shell.do("def look(first, second):\n"
                 "    report('in a log callback', seen=seen())\n"
                 "    return on_log(first, second)")
        shell.do("Tavorin.loggingSyncEnabledIs(%r, look)" % monitor.name)
        shell.begin_line()
        shell.type("при")
        monitor.send((1, 2))
        assert shell.next_report("in a log callback")["seen"] == IN_C
        shell.type("вет<enter>")
        assert as_bytes(shell.outcome().value) == "привет".encode(encoding)
        assert shell.do("seen()") == IN_C
        monitor.close()

    def test_other_categories_are_the_application_s(self, terminal, locale_folder, variables,
                                                    encoding):
        """It has set how numbers look, and nothing about characters."""
        shell = start(terminal, dict(variables, LOCPATH=locale_folder), encoding=encoding)
        shell.do("locale.setlocale(locale.LC_NUMERIC, %r)" % COMMA[0])
        expected = IN_C[:3] + [","]
        shell.begin_line(call="Tavorin.readline('> ', completer)")
        shell.type("привет<tab><enter>")
        assert as_bytes(shell.outcome().value) == "привет-".encode(encoding)
        assert shell.next_report("in a completion")["seen"] == expected
        assert shell.do("seen()") == expected

    def test_in_a_completion_that_binds_keys(self, terminal, locale_folder, variables, encoding):
        shell = start(terminal, dict(variables, LOCPATH=locale_folder), encoding=encoding)
        shell.do("def binding(key, line, position):\n"
                 "    Tavorin.keyBindingsEnabledIs(True)\n"
                 "    return completer(key, line, position)")
        shell.begin_line(call="Tavorin.readline('> ', binding)")
        shell.type("привет<tab>!<enter>")
        assert as_bytes(shell.outcome().value) == "привет-!".encode(encoding)
        assert shell.next_report("in a completion")["seen"] == IN_C

    def test_a_question_of_the_shell_s_own(self, terminal, locale_folder, variables, encoding):
        shell = start(terminal, dict(variables, LOCPATH=locale_folder), encoding=encoding)
        shell.do("Tavorin.keyBindingsEnabledIs(True)")
        assert shell.do("seen()") == IN_C
        for keys, line in (("<enter>", "привет"), ("<ctrl-u><ctrl-d>", None)):
            shell.begin_line(call="Tavorin.simpleReadline('> ')")
            shell.type("привет" + keys)
            outcome = shell.outcome()
            if line is None:
                assert outcome == Raised("EOFError", "simpleReadline returned NULL")
            else:
                assert as_bytes(outcome.value) == line.encode(encoding)
            assert shell.do("seen()") == IN_C


def read(shell, typed):
    """Type bytes and Enter; return the bytes of the line."""
    shell.begin_line()
    shell.paste(typed + b"\r")
    return as_bytes(shell.outcome().value)


# The bytes of a text in each locale, and the line that they give in C, where the last is Meta-b.
PLACES = {"C.UTF-8": "âб".encode(), KOI8: "ба".encode("koi8-r"), "C": b"one two\xe2-"}
LINES = dict(PLACES, C=b"one -two")


@pytest.mark.expected_skip
@pytest.mark.parametrize("first", PLACES)
@pytest.mark.parametrize("second", PLACES)
@pytest.mark.parametrize("change", ["os.environ['LC_ALL'] = %r",
                                    "locale.setlocale(locale.LC_CTYPE, %r)"],
                         ids=["the environment", "the application's"])
def test_a_new_set_up_looks_again(terminal, locale_folder, change, first, second):
    shell = start(terminal, {"LC_ALL": "C", "LOCPATH": locale_folder}, encoding="latin-1")
    for name in (first, second):
        shell.do(change % name)
        assert read(shell, PLACES[name]) == LINES[name]
        shell.do("Tavorin.resetInput()")


@pytest.mark.expected_skip
@pytest.mark.parametrize("own", ["C.UTF-8", KOI8])
@pytest.mark.parametrize("environment", ["C.UTF-8", KOI8, "C", "xx_XX.UTF-8"])
def test_what_the_application_has_set_holds(terminal, locale_folder, environment, own):
    shell = start(terminal, {"LC_ALL": environment, "LOCPATH": locale_folder}, encoding="latin-1")
    shell.do("locale.setlocale(locale.LC_CTYPE, %r)" % own)
    assert read(shell, PLACES[own]) == PLACES[own]
    assert shell.do("locale.setlocale(locale.LC_CTYPE)") == own


PRECEDENCE = [
    ({"LC_ALL": "C.UTF-8", "LC_CTYPE": KOI8, "LANG": KOI8}, "C.UTF-8"),
    ({"LC_ALL": "", "LC_CTYPE": "C.UTF-8", "LANG": KOI8}, "C.UTF-8"),
    ({"LC_ALL": "", "LC_CTYPE": KOI8, "LANG": "C.UTF-8"}, KOI8),
    ({"LC_ALL": "", "LANG": KOI8}, KOI8),
    ({"LC_ALL": KOI8, "LC_CTYPE": "C.UTF-8"}, KOI8),
    ({"LC_ALL": "C", "LC_CTYPE": "C.UTF-8", "LANG": KOI8}, "C"),
    ({"LC_ALL": "", "LC_CTYPE": "C", "LANG": "C.UTF-8"}, "C"),
    ({"LC_ALL": "", "LC_MESSAGES": "C.UTF-8"}, "C"),
]


@pytest.mark.expected_skip
@pytest.mark.parametrize("variables, expected", PRECEDENCE, ids=lambda each: str(each))
def test_which_variable_counts(terminal, locale_folder, variables, expected):
    shell = start(terminal, dict(variables, LOCPATH=locale_folder), encoding="latin-1")
    assert read(shell, PLACES[expected]) == LINES[expected]


@pytest.mark.parametrize("variables", [{"LC_ALL": "xx_XX.UTF-8"}, {"LC_ALL": "", "LANG": "no such"},
                                       {"LC_ALL": "", "LC_CTYPE": "UTF-8"}, {"LC_ALL": "../../x"}],
                         ids=str)
def test_a_locale_that_is_not_installed_is_c_and_nothing_is_said(terminal, variables):
    shell = start(terminal, variables)
    assert read(shell, PLACES["C"]) == LINES["C"]
    assert shell.do("seen()") == IN_C
    assert not shell.errors
    assert b"locale" not in shell.output
