"""What the screen shows after a completion, above all where prompt and line fill several rows."""

import pytest

from harness import Returned
from screen import Wrapped

COLUMNS = 20

# The prompt as it is given, and as it is seen.
PROMPTS = {
    "plain": ("> ", "> "),
    "with colours": (r"\001\033[1m\002sw1\001\033[0m\002> ", "sw1> "),
    "all in colour": (r"\001\033[1m\002sw1> \001\033[0m\002", "sw1> "),
    "wider than a row": ("device-in-a-far-town> ", "device-in-a-far-town> "),
    "one coloured character": (r"\001\033[1m\002#\001\033[0m\002", "#"),
    "with what has no width": (r"\a\a\033sw1> ", "sw1> "),
    "empty": ("", ""),
}

COMPLETER = r"""
def completer(key, line, position):
    report("completion")
    if output:
        sys.stdout.write(output)
        sys.stdout.flush()
    os.system(program)
    return answer
"""


def lengths(prompt):
    """Lines that end beside, at and beyond the right margin."""
    full = -len(prompt) % COLUMNS
    return [full + 5, full + COLUMNS - 1, full + COLUMNS, full + COLUMNS + 1, full + 2 * COLUMNS + 7]


def begin(terminal, prompt, line, keys, answer, output="", program=""):
    """A shell whose line is drawn, with the cursor where `keys` moves it; the text as it is seen."""
    given, seen = PROMPTS[prompt]
    shell = terminal(columns=COLUMNS, rows=16)
    shell.do(COMPLETER)
    shell.do("answer, output, program = %r" % ((answer, output, program),))
    shell.ask("Tavorin.readline('%s', completer)" % given)
    shell.wait_until(shell.is_editing, "a line to be edited")
    shell.type(line + keys)
    position = len(seen) + (0 if keys else len(line))
    before = Wrapped(seen + line, COLUMNS, position)
    before.wait(shell)
    return shell, seen, before


def some_line(length):
    return ("abcdefghij" * length)[:length]


def all_places():
    for prompt in PROMPTS:
        for length in lengths(PROMPTS[prompt][1]):
            for keys in ("", "<ctrl-a>"):
                yield pytest.param(prompt, length, keys, id="%s-%d-%s" % (prompt, length, keys))


@pytest.mark.parametrize("prompt, length, keys", all_places())
def test_a_completed_line_stands_in_its_own_place(terminal, prompt, length, keys):
    line = some_line(length)
    shell, seen, _ = begin(terminal, prompt, line, keys, answer="WXYZ")
    shell.type("<tab>")
    Wrapped(seen + line + "WXYZ", COLUMNS).wait(shell)
    shell.type("<ctrl-a>0<ctrl-e>9")
    Wrapped(seen + "0" + line + "WXYZ9", COLUMNS).wait(shell)
    shell.type("<enter>")
    assert shell.outcome() == Returned("0" + line + "WXYZ9")


def test_the_upper_row_of_a_prompt_stays(terminal):
    shell = terminal(columns=COLUMNS, rows=16)
    shell.do(COMPLETER)
    shell.do("answer, output, program = 'x', '', ''")
    shell.ask(r"Tavorin.readline('\001\033[1m\002one\001\033[0m\002\ntwo> ', completer)")
    shell.wait_for_prompt("two> ")
    shell.type("ab<tab>")
    Wrapped("two> abx", COLUMNS).wait(shell, above=["one"])
    shell.type("<enter>")
    assert shell.outcome() == Returned("abx")


def test_a_line_made_shorter_where_nothing_can_be_cleared(terminal):
    shell = terminal(columns=COLUMNS, rows=16, term="dumb")
    shell.do(COMPLETER)
    shell.do("answer, output, program = '\\b\\b', '', ''")
    shell.begin_line(call="Tavorin.readline('> ', completer)")
    shell.type("abcd<tab>")
    Wrapped("> ab", COLUMNS).wait(shell)
    shell.type("<enter>")
    assert shell.outcome() == Returned("ab")


@pytest.mark.parametrize("term, output, rows", [
    ("xterm", "\\nHELP", ["HELP"]),
    ("xterm", "\\nHELP\\n", ["HELP"]),
    ("xterm", "\\n" + "x" * COLUMNS, ["x" * COLUMNS]),
    ("xterm", "\\n" + "x" * COLUMNS + "\\n", ["x" * COLUMNS]),
    ("xterm", "\\n" + "x" * (COLUMNS + 1), ["x" * COLUMNS, "x"]),
    ("xterm", "\\n" + "x" * (COLUMNS - 1), ["x" * (COLUMNS - 1)]),
    ("xterm", "\\n\\nHELP\\n\\n", ["", "HELP", ""]),
    ("dumb", "\\nHELP", ["HELP"]),
    ("dumb", "\\nHELP\\n", ["HELP"]),
])
@pytest.mark.parametrize("line", ["ab", "x" * 30])
def test_what_was_written_stands_above_the_prompt(terminal, term, line, output, rows):
    """Also a row without its end; a row with its end gets no empty one behind it."""
    shell = terminal(columns=COLUMNS, rows=16, term=term)
    shell.do(COMPLETER)
    shell.do("answer, output, program = None, '%s', ''" % output)
    shell.ask("Tavorin.readline('> ', completer)")
    shell.wait_for_prompt()
    shell.type(line + "<tab>")
    Wrapped("> " + line, COLUMNS).wait(shell, above=Wrapped("> " + line, COLUMNS).rows + rows)
    shell.type("<enter>")
    assert shell.outcome() == Returned(line)


@pytest.mark.parametrize("answer", [None, ""])
@pytest.mark.parametrize("keys", ["", "<ctrl-a>"])
@pytest.mark.parametrize("length", lengths("> "))
def test_without_a_completion_nothing_changes(terminal, length, keys, answer):
    line = some_line(length)
    shell, _, before = begin(terminal, "plain", line, keys, answer)
    for _ in range(3):
        shell.type("<tab>")
        shell.next_report("completion")
        shell.wait_for_sleep()
    before.wait(shell)
    shell.type("<enter>")
    assert shell.outcome() == Returned(line)


@pytest.mark.parametrize("removed", [1, 5, 19, 20, 21, 40, 100])
@pytest.mark.parametrize("keys", ["", "<ctrl-a>"])
def test_a_line_made_shorter_leaves_nothing_behind(terminal, keys, removed):
    line = some_line(55)
    shell, seen, _ = begin(terminal, "plain", line, keys, answer="\b" * removed + "+")
    shell.type("<tab>")
    expected = line[:max(0, 55 - removed)] + "+"
    Wrapped(seen + expected, COLUMNS).wait(shell)
    shell.type("<enter>")
    assert shell.outcome() == Returned(expected)


@pytest.mark.parametrize("prompt, length, keys", all_places())
def test_a_list_stands_between_the_line_and_the_line_again(terminal, prompt, length, keys):
    line = some_line(length)
    shell, seen, before = begin(terminal, prompt, line, keys, None, "\nFIRST\nSECOND\n")
    shell.type("?")
    # Where the line fills its last row, the list's line break leaves the row below it empty.
    before.wait(shell, above=before.rows + ["FIRST", "SECOND"])
    shell.type("<ctrl-a>0<ctrl-e>9<enter>")
    assert shell.outcome() == Returned("0" + line + "9")


def test_a_list_and_a_completion(terminal):
    line = some_line(30)
    shell, seen, before = begin(terminal, "plain", line, "<ctrl-a>", "xyz", "\nFIRST\n")
    shell.type("<tab>")
    Wrapped(seen + line + "xyz", COLUMNS).wait(shell, above=before.rows + ["FIRST"])
    shell.type("<enter>")
    assert shell.outcome() == Returned(line + "xyz")


@pytest.mark.parametrize("where", ["", " >/dev/tty"])
def test_a_list_that_another_program_writes(terminal, where):
    line = some_line(30)
    shell, seen, before = begin(terminal, "plain", line, "<ctrl-a>", None,
                                program="(echo; echo FIRST)" + where)
    shell.type("<tab>")
    before.wait(shell, above=before.rows + ["FIRST"])
    shell.type("<enter>")
    assert shell.outcome() == Returned(line)


@pytest.mark.parametrize("length", [6, 50])
@pytest.mark.parametrize("keys", ["", "<ctrl-a>"])
def test_an_exception_leaves_the_cursor_behind_the_line(terminal, keys, length):
    line = some_line(length)
    shell, seen, _ = begin(terminal, "plain", line, keys, answer=42)
    shell.type("<tab>")
    assert shell.outcome().type == "TypeError"
    Wrapped(seen + line, COLUMNS).wait(shell)


def test_a_line_taller_than_the_screen(terminal):
    shell = terminal(columns=COLUMNS, rows=4)
    shell.do(COMPLETER)
    shell.do("answer, output, program = 'xyz', '', ''")
    shell.begin_line(call="Tavorin.readline('> ', completer)")
    line = some_line(150)
    shell.type(line)
    shell.wait_for_cursor_row(("> " + line)[140:])
    shell.type("<tab>")
    shell.wait_for_cursor_row(("> " + line + "xyz")[140:])
    shell.type("<enter>")
    assert shell.outcome() == Returned(line + "xyz")


@pytest.mark.parametrize("term", ["linux", "vt100", "screen", "dumb", "no-such-terminal"])
def test_terminals_of_every_ability_complete(terminal, term):
    line = some_line(30)
    shell = terminal(columns=COLUMNS, term=term)
    shell.do(COMPLETER)
    shell.do("answer, output, program = 'xyz', '', ''")
    shell.begin_line(call="Tavorin.readline('> ', completer)")
    shell.type(line + "<left><tab>w<enter>")
    assert shell.outcome() == Returned(line + "xyzw")
    shell.assert_settings_as_before()


def test_going_through_recalled_lines_of_several_rows(terminal):
    """Each is a character longer than the one before."""
    shell = terminal(columns=COLUMNS, rows=16)
    lines = [some_line(length) for length in range(40, 70)]
    for line in reversed(lines):
        shell.do("Tavorin.addHistory(%r, 'exec', '')" % line)
    shell.ask("Tavorin.readline('> ', None, 'exec')")
    shell.wait_for_prompt()
    for line in lines:
        shell.type("<up>")
        Wrapped("> " + line, COLUMNS).wait(shell)
    shell.type("<enter>")
    assert shell.outcome() == Returned(lines[-1])
