"""Lines that are higher than the screen: what of them is in view is right, and nothing is lost."""

import pytest

from harness import Returned
from screen import Wrapped

ROWS, COLUMNS = 6, 20
PROMPT = "> "


def some_line(length):
    return ("abcdefghijklmnopqrstuvwxyz" * length)[:length]


@pytest.fixture
def shell(terminal):
    shell = terminal(rows=ROWS, columns=COLUMNS)
    shell.ask("Tavorin.readline('> ')")
    shell.wait_for_prompt()
    return shell


def wait_for_view(shell, line, position):
    """Wait until the last rows of prompt and line are on the screen, and the cursor in place."""
    text = PROMPT + line
    last = len(text) // COLUMNS
    top = max(last - (ROWS - 1), 0)
    rows = [text[start * COLUMNS:(start + 1) * COLUMNS] for start in range(top, last + 1)]
    row, column = divmod(len(PROMPT) + position, COLUMNS)
    shell.wait_until(lambda: [shell.row(number) for number in range(len(rows))] == rows
                     and shell.cursor == (row - top, column), "the end of the line")


@pytest.mark.parametrize("length", [100, 116, 117, 118, 119, 120, 200, 1000, 5000])
def test_the_end_is_in_view(shell, length):
    line = some_line(length)
    shell.type(line)
    wait_for_view(shell, line, length)
    shell.type("<enter>")
    assert shell.outcome() == Returned(line)


@pytest.mark.parametrize("length", [125, 205, 1005])
def test_editing_in_the_part_in_view(shell, length):
    line = some_line(length)
    shell.type(line + "<left>" * 50)
    wait_for_view(shell, line, length - 50)
    shell.type("XY")
    longer = line[:-50] + "XY" + line[-50:]
    wait_for_view(shell, longer, length - 48)
    shell.type("<backspace><backspace>")
    wait_for_view(shell, line, length - 50)
    shell.type("<ctrl-e>!<enter>")
    assert shell.outcome() == Returned(line + "!")


def test_drawing_it_again_shows_its_end(shell):
    line = some_line(200)
    shell.type(line + "<left>" * 20)
    wait_for_view(shell, line, 180)
    shell.type("x<backspace><ctrl-l>")
    wait_for_view(shell, line, 180)


# libedit alone writes through a null pointer there.
@pytest.mark.parametrize("keys", ["<ctrl-a><ctrl-e>", "<left>" * 150 + "<ctrl-e>", "<ctrl-b><ctrl-f>",
                                  "<ctrl-a><meta-f><ctrl-e>"])
def test_typing_on_after_the_cursor_was_elsewhere(shell, keys):
    line = some_line(150)
    shell.type(line + keys + line)
    shell.type("<enter>")
    assert shell.outcome() == Returned(line + line)
    shell.read_line()


def test_a_line_that_comes_from_history(shell):
    shell.type("<enter>")
    assert shell.outcome() == Returned("")
    line = some_line(300)
    shell.do("Tavorin.addHistory(%r, 'exec', '')" % line)
    shell.do("sys.stdout.write('\\033[H\\033[2J'); sys.stdout.flush()")
    shell.ask("Tavorin.readline('> ', None, 'exec')")
    shell.wait_for_prompt()
    shell.type("<up>")
    shell.type("<left>")
    wait_for_view(shell, line, 299)
    shell.type("<down>short")
    shell.wait_for_cursor_row("> short")
    shell.type("<enter>")
    assert shell.outcome() == Returned("short")


def test_a_screen_that_gets_lower(shell):
    line = some_line(70)
    shell.type(line)
    Wrapped(PROMPT + line, COLUMNS, 72).wait(shell)
    shell.resize(3, COLUMNS)
    shell.type("x" * 30 + "<ctrl-a><ctrl-e>" + "y" * 30 + "<enter>")
    assert shell.outcome() == Returned(line + "x" * 30 + "y" * 30)
    shell.read_line()


def test_the_screen_is_as_high_as_before_afterwards(shell):
    """The width is set for the rows that the terminal has."""
    line = some_line(400)
    shell.type(line + "<enter>")
    assert shell.outcome() == Returned(line)
    shell.do("Tavorin.TerminalWidthIs(%d)" % COLUMNS)
    shell.ask("Tavorin.readline('> ')")
    shell.wait_until(shell.is_editing, "a line to be edited")
    shell.type(line)
    wait_for_view(shell, line, 400)
    shell.type("<enter>")
    assert shell.outcome() == Returned(line)


def test_the_end_is_in_view_again_after_the_beginning(shell):
    line = some_line(170)
    shell.type(line + "<ctrl-a>")
    shell.type("<ctrl-e>!")
    wait_for_view(shell, line + "!", 171)
    shell.type("<enter>")
    assert shell.outcome() == Returned(line + "!")


@pytest.mark.parametrize("typed, recorded", [
    ("'a' * 388", "chr(233) * 388"),
    ("'a' * 128", "'x\\n' * 26 + 'y' * 78"),
    ("'a' * 20", "'\\n' * 40"),
], ids=["wider characters", "line ends", "nothing but line ends"])
def test_a_recalled_line_of_the_same_length_is_higher(terminal, typed, recorded):
    shell = terminal()
    shell.do("recorded = " + recorded)
    shell.do("Tavorin.addHistory('- ' + recorded, 'exec', '')")
    shell.ask("Tavorin.readline('> ', None, 'exec') == '- ' + recorded + 'b' * 300")
    shell.wait_for_prompt()
    shell.type(eval(typed) + "<up><ctrl-a><ctrl-e>" + "b" * 300 + "<enter>")
    assert shell.outcome() == Returned(True)
    shell.read_line()
