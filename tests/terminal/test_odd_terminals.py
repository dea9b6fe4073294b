"""Terminals of odd sizes, at odd speeds and with odd lines: the line comes back whole, and where
the screen has room for it, it shows the line as it is."""

import pytest
from pyte import modes

import harness
from harness import Returned
from processes import peak_bytes, waits_in_write
from screen import Screen, Wrapped

MEGABYTE = 1024 * 1024

SIZES = [(0, 0), (0, 80), (24, 0), (1, 1), (1, 80), (24, 1), (2, 2), (1000, 1000), (1, 65535)]

COMPLETER = """
def completer(key, line, position):
    return {'\\t': 'tail', '?': None}[key]
"""

# Text, keys of every kind, and the line that they make.
EDITING = "xc0123456789012345678901234567890123456789<home><delete>ab<right><end><left>!<tab>?"
EDITED = "abc012345678901234567890123456789012345678!9tail"


def begin(shell, call="Tavorin.readline('> ', completer)"):
    """Begin a line where the prompt may not be found in what is written."""
    shell.ask(call)
    shell.wait_until(shell.is_editing, "a line to be edited")


class TestSizes:
    @pytest.mark.parametrize("rows, columns", SIZES)
    def test_editing_in_a_window_of_this_size(self, terminal, rows, columns):
        shell = terminal(rows=rows, columns=columns)
        shell.do(COMPLETER)
        for _ in range(2):
            begin(shell)
            shell.type(EDITING + "<enter>")
            assert shell.outcome() == Returned(EDITED)
            shell.assert_settings_as_before()

    @pytest.mark.parametrize("rows, columns", SIZES)
    def test_a_window_that_gets_this_size_in_mid_line(self, shell, rows, columns):
        shell.do(COMPLETER)
        begin(shell)
        shell.type(EDITING)
        shell.wait_until(shell.has_taken_all_keys, "the keys to be taken")
        shell.resize(rows, columns)
        shell.type("abc<backspace><ctrl-a>x<tab>")
        shell.wait_until(shell.has_taken_all_keys, "the keys to be taken")
        shell.resize(24, 80)
        shell.type("y<enter>")
        assert shell.outcome() == Returned("x" + EDITED + "abtaily")
        shell.read_line()

    def test_another_size_with_each_key(self, shell):
        line = "".join("%d" % (number % 10) for number in range(200))
        shell.do(COMPLETER)
        begin(shell)
        for number, key in enumerate(line):
            shell.resize(*SIZES[number % len(SIZES)])
            shell.type(key + ("<ctrl-a><ctrl-e>" if number % 7 == 0 else ""))
            if number % 2:
                shell.wait_until(shell.has_taken_all_keys, "the key to be taken")
        shell.type("<enter>")
        assert shell.outcome() == Returned(line)
        shell.resize(24, 80)
        shell.read_line()


class TestSmallerAndLarger:
    """Each change of the width is drawn, not the first alone.

    Where the line stands is up to the terminal, since each moves or cuts rows in its own way; and
    what it leaves above the line is.
    """

    WIDTHS = (80, 40, 23, 80, 31, 132, 20, 80)

    def is_shown(self, shell, wrapped):
        """Whether the line stands at the cursor as it should, with nothing below."""
        top = shell.cursor[0] - wrapped.cursor[0]
        if top < 0 or shell.cursor[1] != wrapped.cursor[1]:
            return False
        below = [shell.row(number) for number in range(top, shell.screen.lines)]
        expected = wrapped.rows + [""] * (len(below) - len(wrapped.rows))
        return below == expected

    def check(self, shell, text, position=None):
        wrapped = Wrapped("> " + text, shell.screen.columns,
                          None if position is None else 2 + position)
        shell.wait_until(lambda: self.is_shown(shell, wrapped),
                         "the line at %d columns, as %r with the cursor at %r"
                         % (shell.screen.columns, wrapped.rows, wrapped.cursor))

    @pytest.mark.parametrize("length", [10, 70, 100, 200])
    def test_without_a_key_between(self, shell, length):
        text = ("abcdefghij" * length)[:length]
        shell.begin_line()
        shell.type(text)
        for columns in self.WIDTHS:
            shell.resize(24, columns)
            self.check(shell, text)
        shell.type("<enter>")
        assert shell.outcome() == Returned(text)

    @pytest.mark.parametrize("length", [10, 70, 100, 200])
    def test_with_keys_between(self, shell, length):
        text = ("abcdefghij" * length)[:length]
        shell.begin_line()
        shell.type(text)
        for number, columns in enumerate(self.WIDTHS):
            shell.resize(24, columns)
            shell.type("%d" % number)
            text += "%d" % number
            self.check(shell, text)
        shell.type("<enter>")
        assert shell.outcome() == Returned(text)

    def test_with_the_cursor_in_the_middle(self, shell):
        text = "0123456789" * 10
        shell.begin_line()
        shell.type(text + "<left>" * 45)
        for number, columns in enumerate(self.WIDTHS):
            shell.resize(24, columns)
            shell.type("x")
            text = text[:55 + number] + "x" + text[55 + number:]
            self.check(shell, text, 56 + number)
        shell.type("<enter>")
        assert shell.outcome() == Returned(text)


@pytest.mark.parametrize("rows, columns", [(24, 80), (3, 20)])
@pytest.mark.parametrize("missing", [-1, 0, 1, 30])
@pytest.mark.parametrize("keys", ["", "<ctrl-a><ctrl-e>", "<ctrl-a>x<ctrl-e>", "<meta-b><meta-f>",
                                  "<ctrl-l>", "<left><right>"])
def test_a_line_as_tall_as_the_screen(terminal, rows, columns, missing, keys):
    """With the prompt it fills the screen to the last character, or lacks or exceeds that."""
    shell = terminal(rows=rows, columns=columns)
    line = "a" * (rows * columns - 2 - missing)
    shell.do(COMPLETER)
    begin(shell)
    shell.type(line + keys + "b" * columns)
    shell.wait_until(shell.has_taken_all_keys, "the keys to be taken")
    shell.type("<tab><backspace><enter>")
    assert shell.outcome() == Returned("x" * keys.count("x") + line + "b" * columns + "tai")
    shell.read_line()


class AtOnce(Screen):
    """Goes to the next row as soon as one is full."""

    def _place(self, character, columns):
        super()._place(character, columns)
        if self.cursor.x >= self.columns:
            self.carriage_return()
            self.linefeed()


class Never(Screen):
    """Does not go to the next row by itself."""

    def reset(self):
        super().reset()
        self.mode.discard(modes.DECAWM)

    def _place(self, character, columns):
        super()._place(character, columns)
        self.cursor.x = min(self.cursor.x, self.columns - 1)


@pytest.mark.parametrize("kind, name", [(Screen, "xterm"), (AtOnce, "ansi"), (Never, "dec-vt220")])
class TestRightMargins:
    PROMPT = "router-with-a-name> "

    @pytest.fixture
    def shell(self, terminal, monkeypatch, kind, name):
        monkeypatch.setattr(harness, "Screen", kind)
        return terminal(rows=4, columns=20, variables={"TERM": name})

    def test_a_prompt_that_fills_the_row(self, shell):
        shell.ask("Tavorin.readline(%r)" % self.PROMPT)
        shell.wait_for_row(0, self.PROMPT.rstrip())
        shell.type("abc" * 8 + "<left><left>x")
        shell.wait_until(lambda: [shell.row(row).rstrip() for row in range(3)] ==
                         [self.PROMPT.rstrip(), "abcabcabcabcabcabcab", "caxbc"], "the line")
        shell.type("<enter>")
        assert shell.outcome() == Returned("abc" * 7 + "axbc")

    def test_the_start_of_a_line_that_is_higher_than_the_screen(self, shell):
        begin(shell, "Tavorin.readline('> ')")
        shell.type("abcdefghijklmnopqrstuvwxyz" * 4 + "<ctrl-a>XY")
        shell.wait_until(lambda: shell.row(0) == "> XYabcdefghijklmnop" and shell.cursor == (0, 4),
                         "the start of the line")


class TestWidths:
    """Widths that a shell sets at a terminal which reports no size of its own."""

    @pytest.mark.parametrize("width", [0, -1, 1, 2, 65536, 10 ** 6, 10 ** 8, 2 ** 31 - 1, -2 ** 31])
    def test_an_absurd_one_costs_neither_the_line_nor_much_memory(self, terminal, width):
        shell = terminal(rows=0, columns=0)
        shell.do(COMPLETER)
        shell.do("Tavorin.keyBindingsEnabledIs(True)")
        before = peak_bytes(shell.pid)
        shell.do("Tavorin.TerminalWidthIs(%d)" % width)
        for _ in range(2):
            begin(shell)
            shell.type(EDITING + "<enter>")
            assert shell.outcome() == Returned(EDITED)
        assert peak_bytes(shell.pid) - before < 100 * MEGABYTE
        shell.do("Tavorin.TerminalWidthIs(80)")
        begin(shell)
        shell.type(EDITING + "<enter>")
        assert shell.outcome() == Returned(EDITED)
        shell.assert_settings_as_before()


@pytest.mark.parametrize("length", [1, 77, 78, 79, 80, 81, 1022, 1023, 1024, 1025, 2048, 100000])
class TestLengths:
    @pytest.fixture
    def line(self, length):
        return ("0123456789 abcdefghijklmnopqrstuvwxyz " * (length // 38 + 1))[:length - 1] + "."

    @pytest.fixture
    def shell(self, shell, line):
        shell.do("def record(line):\n    assert Tavorin.addHistory(line, 'exec', '')")
        return shell

    def record(self, shell, *lines):
        for line in lines:
            shell.do("record('%s')" % line)

    def test_pasted(self, shell, line):
        begin(shell, "Tavorin.readline('> ')")
        shell.paste(line.encode() + b"\r")
        assert shell.outcome() == Returned(line)
        shell.read_line()

    @pytest.mark.parametrize("keys, expected", [
        ("<up>", "{line}"),
        ("<up>!", "{line}!"),
        ("<up><down>typed", "typed"),
        ("typed<up><down>", "typed"),
        ("typed<up><down>!", "typed!"),
        ("<up><up>!", "older!"),
        ("<up><up><down>!", "{line}!"),
        ("<up><up><down><down>typed", "typed"),
        ("<up><up><down><up><down><down>", ""),
        ("<up><ctrl-a>!", "!{line}"),
        ("<up><backspace>!", "{start}!"),
        ("<up><ctrl-u><ctrl-y>", "{line}"),
        ("<ctrl-r>.<esc>!", "{start}!."),
    ])
    def test_recalled(self, shell, line, keys, expected):
        self.record(shell, "older", line)
        begin(shell, "Tavorin.readline('> ', None, 'exec', '')")
        shell.type(keys + "<enter>")
        assert shell.outcome() == Returned(expected.format(line=line, start=line[:-1]))
        shell.assert_settings_as_before()
        shell.read_line()

    def test_edited_in_the_middle(self, shell, line):
        """As it is recalled, and as it is typed."""
        self.record(shell, line)
        middle = len(line) - min(len(line), 40)
        edited = line[:middle] + "[" + line[middle:] + "]"
        begin(shell, "Tavorin.readline('> ', None, 'exec', '')")
        keys = "<left>" * (len(line) - middle) + "[<ctrl-e>]<enter>"
        shell.type("<up>" + keys)
        assert shell.outcome() == Returned(edited)
        begin(shell, "Tavorin.readline('> ')")
        shell.type(line + keys)
        assert shell.outcome() == Returned(edited)
        shell.read_line()


class TestASlowReader:
    """The terminal takes no more output until somebody reads it."""

    TEXT = "0123456789" * 180

    def fill(self, shell):
        """Have the editor write until nothing more fits; returns what was typed for it."""
        shell.begin_line(self.TEXT[:10])
        shell.type(self.TEXT[10:])
        shell.wait_until(shell.has_taken_all_keys, "the keys to be taken")
        shell.stop_reading()
        shell.type("<ctrl-l>" * 200)
        shell.wait_until(lambda: waits_in_write(shell.pid), "the output to be full")

    def test_the_line_is_whole(self, shell):
        self.fill(shell)
        shell.type("<ctrl-a>x<ctrl-e>y<enter>")
        shell.read_again()
        assert shell.outcome() == Returned("x" + self.TEXT + "y")
        shell.read_line()

    def test_the_screen_is_right_once_it_is_read(self, shell):
        self.fill(shell)
        shell.type("z")
        shell.read_again()
        Wrapped("> " + self.TEXT + "z", 80).wait(shell)
        shell.type("<enter>")
        assert shell.outcome() == Returned(self.TEXT + "z")


class TestUnbufferedOutput:
    """As with python -u."""

    @pytest.fixture
    def shell(self, terminal):
        shell = terminal(variables={"PYTHONUNBUFFERED": "1"}, columns=40)
        shell.do(COMPLETER)
        return shell

    def test_line_and_screen(self, shell):
        begin(shell)
        shell.type(EDITING)
        Wrapped("> " + EDITED, 40).wait(shell)
        shell.type("<enter>")
        assert shell.outcome() == Returned(EDITED)
        shell.assert_settings_as_before()

    def test_a_long_paste(self, shell):
        lines = ["%05d " % number + "x" * 200 for number in range(50)]
        shell.ask("[Tavorin.readline('> ') for _ in range(50)]")
        shell.wait_for_prompt()
        shell.paste("".join(line + "\r" for line in lines).encode())
        assert shell.outcome() == Returned(lines)
