"""Completion of lines with tabs and with characters of several bytes, and answers of every kind.

What is expected here is written as text; the module works on its bytes in UTF-8.
"""

import pytest

from harness import Returned

COMPLETER = """
import locale
def completer(key, line, position):
    report("completion", key=key, line=line, position=position, type=type(line).__name__)
    return answer
"""

SET_LOCALE = "locale.setlocale(locale.LC_ALL, '')"


def start(terminal, locale="C.UTF-8", columns=80):
    shell = terminal(locale=locale, columns=columns)
    shell.do(COMPLETER)
    return shell


def literal(text):
    """A Python 2 string of the text's bytes."""
    return "b'%s'" % "".join("\\x%02x" % byte for byte in text.encode("utf-8", "surrogateescape"))


def recall_and_type(shell, line, answer, keys, end="<enter>"):
    """Recall `line` from history and type `keys`, in which the completer answers `answer`."""
    shell.do("answer = %s" % answer)
    if line:
        shell.do("Tavorin.addHistory(%s, 'exec', '')" % literal(line))
    shell.begin_line(call="Tavorin.readline('> ', completer, 'exec')")
    shell.type(("<up>" if line else "") + keys + end)


def completions(shell):
    return [(c["key"], c["line"], c["position"]) for c in shell.reports_of("completion")]


ROWS = [
    # name, the line, the answer, keys, the line that comes back, the call
    ("a line of bytes above 127", "café", literal("s"), "<tab>", "cafés", ("\t", "café", 4)),
    ("an answer with bytes above 127", "caf", literal("é noir"), "?", "café noir",
     ("?", "caf", 3)),
    ("a backspace takes a character", "café", literal("\bein"), "<tab>", "cafein",
     ("\t", "café", 4)),
    ("each backspace takes one", "aéあ", literal("\b\b!"), "<tab>", "a!", ("\t", "aéあ", 3)),
    ("surplus backspaces", "éあ", literal("\b\b\b\b\bx"), "<tab>", "x", ("\t", "éあ", 2)),
    ("wide characters", "日本", literal("語"), "<ctrl-a><tab>", "日本語", ("\t", "日本", 2)),
    ("an accent of its own", "e\u0301", literal("\b"), "<tab>", "e", ("\t", "e\u0301", 2)),
    ("beyond the basic plane", "a\U0001f600", literal("b"), "<tab>", "a\U0001f600b",
     ("\t", "a\U0001f600", 2)),
    ("no completion", "größe", "None", "<tab>x", "größex", ("\t", "größe", 5)),
    ("tabs are characters", "a\tb", literal("\t."), "<tab>", "a\tb\t.", ("\t", "a\tb", 3)),
    ("a tab is deleted whole", "a\t", literal("\bb"), "<tab>", "ab", ("\t", "a\t", 2)),
    ("control characters", "a\x01", literal("\bb"), "<tab>", "ab", ("\t", "a\x01", 2)),
]


@pytest.mark.parametrize("line, answer, keys, result, call", [row[1:] for row in ROWS],
                         ids=[row[0] for row in ROWS])
@pytest.mark.parametrize("when", ["before set-up", "after set-up"])
def test_several_bytes_are_one_character(terminal, when, line, answer, keys, result, call):
    shell = start(terminal)
    if when == "after set-up":
        shell.do("Tavorin.keyBindingsEnabledIs(True)")
    shell.do(SET_LOCALE)
    recall_and_type(shell, line, answer, keys)
    assert shell.outcome() == Returned(result)
    assert completions(shell) == [call]
    assert shell.reports_of("completion")[0]["type"] == "str"
    shell.assert_settings_as_before()


def test_a_long_line_of_wide_characters_is_whole(terminal):
    shell = start(terminal)
    shell.do(SET_LOCALE)
    line = "日本語" * 300
    recall_and_type(shell, line, literal("\b" * 100 + "+"), "<tab>")
    assert shell.outcome() == Returned(line[:-100] + "+")
    assert completions(shell) == [("\t", line, 900)]


def test_wide_characters_stand_where_they_belong(terminal):
    shell = start(terminal, columns=20)
    shell.do(SET_LOCALE)
    shell.do("answer = %s" % literal("\b語x"))
    shell.do("Tavorin.addHistory(%s, 'exec', '')" % literal("日本" * 8))
    shell.begin_line(call="Tavorin.readline('> ', completer, 'exec')")
    shell.type("<up>")
    shell.wait_for_cursor(1, 14)
    shell.type("<ctrl-a><tab>")
    shell.wait_for_cursor(1, 15)
    # The screen has a blank in each second column of a wide character.
    rows = [shell.screen.display[number] for number in range(3)]
    shown = [row.replace(" ", "") for row in rows]
    assert shown == [">" + "日本" * 4 + "日", "本日本日本日語x", ""]
    shell.type("<enter>")
    assert shell.outcome() == Returned("日本" * 7 + "日語x")


@pytest.mark.parametrize("line", ["café", "日本", "\udcff", "a\udcc3b"])
def test_without_a_locale_no_byte_is_lost_from_a_line_that_is_typed(terminal, line):
    """In the C locale nothing above 127 can be typed; the completer's bytes come back as they are."""
    shell = start(terminal, locale="C")
    recall_and_type(shell, "", literal(" " + line), "ab<tab>c")
    assert shell.outcome() == Returned("ab " + line + "c")
    assert completions(shell) == [("\t", "ab", 2)]


ANSWERS = [
    # name, the answer, the line
    ("unicode, when ASCII does for it", "u'c'", Returned("abc")),
    ("unicode otherwise", "u'\\xe9'", "UnicodeEncodeError"),
    ("a string of another class", "type('Text', (str,), {})('c')", Returned("abc")),
    ("text ends at a NUL", "'c\\0d'", Returned("abc")),
    ("only a NUL", "'\\0d'", Returned("ab")),
    ("a backspace and a NUL", "'\\b\\0d'", Returned("a")),
    ("a line break is text", "'\\ncd'", Returned("ab\ncd")),
    ("very long text", "'c' * 5000", Returned("ab" + "c" * 5000)),
    ("very many backspaces", "'\\b' * 100000 + 'c'", Returned("c")),
    ("True", "True", "TypeError"),
    ("a number", "0", "TypeError"),
    ("a float", "1.5", "TypeError"),
    ("a list", "[]", "TypeError"),
    ("a buffer", "bytearray('c')", "TypeError"),
    ("a class", "str", "TypeError"),
]


@pytest.mark.parametrize("answer, outcome", [row[1:] for row in ANSWERS],
                         ids=[row[0] for row in ANSWERS])
def test_answers_of_every_kind(terminal, answer, outcome):
    shell = start(terminal)
    ends = isinstance(outcome, str)
    recall_and_type(shell, "", answer, "ab<tab>", end="" if ends else "<enter>")
    got = shell.outcome()
    assert (got.type if ends else got) == outcome
    shell.assert_settings_as_before()
    shell.read_line()


CALLABLES = [
    # name, what `completer` is, the line
    ("a method", "type('C', (), {'m': lambda self, *a: 'c'})().m", Returned("abc")),
    ("an object", "type('C', (), {'__call__': lambda self, *a: 'c'})()", Returned("abc")),
    ("a function of two arguments", "lambda line, position: 'c'", "TypeError"),
    ("a function of any arguments", "lambda *a: 'c'", Returned("abc")),
    ("a class", "lambda: None.__class__", "TypeError"),
    ("False, which is not None", "False", "TypeError"),
]


@pytest.mark.parametrize("completer, outcome", [row[1:] for row in CALLABLES],
                         ids=[row[0] for row in CALLABLES])
def test_callables_of_every_kind(terminal, completer, outcome):
    shell = start(terminal)
    shell.do("completer = " + completer)
    ends = isinstance(outcome, str)
    recall_and_type(shell, "", "None", "ab<tab>", end="" if ends else "<enter>")
    got = shell.outcome()
    assert (got.type if ends else got) == outcome
    shell.read_line()


EXCEPTIONS = [
    ("ValueError('no')", "ValueError", "no"),
    ("KeyboardInterrupt('mine')", "KeyboardInterrupt", "mine"),
    ("EOFError()", "EOFError", ""),
    ("StopIteration()", "StopIteration", ""),
    ("GeneratorExit()", "GeneratorExit", ""),
    ("SystemExit(3)", "SystemExit", "3"),
    ("type('Own', (Exception,), {})(1, 2)", "Own", "(1, 2)"),
    ("type('Classic', (), {})", "TypeError", None),
    ("KeyError", "KeyError", ""),
]


READ_AND_CATCH = """
import traceback

def completer(key, line, position):
    raise %s

def read():
    try:
        Tavorin.readline('> ', completer)
    except BaseException as error:
        names = [frame[2] for frame in traceback.extract_tb(sys.exc_info()[2])]
        return [type(error).__name__, str(error), names]
"""


@pytest.mark.parametrize("exception, name, message", EXCEPTIONS, ids=[e[0] for e in EXCEPTIONS])
def test_exceptions_of_every_kind(terminal, exception, name, message):
    shell = start(terminal)
    shell.do(READ_AND_CATCH % exception)
    shell.begin_line("abc", "read()")
    shell.type("<tab>")
    got_name, got_message, functions = shell.outcome().value
    assert got_name == name
    assert message is None or got_message == message
    assert functions[-2:] == ["read", "completer"]
    shell.assert_settings_as_before()
    # Nothing of it is left for what follows.
    shell.read_line()
    assert shell.do("sys.exc_info()[0] is None") is True
