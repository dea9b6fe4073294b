"""The editing keys: what is typed, what line comes back, and what the screen shows meanwhile."""

import dataclasses

import pytest

from harness import Returned


@dataclasses.dataclass(frozen=True)
class Row:
    """One line edited by `keys`, without the Enter that ends it."""
    name: str
    keys: str
    line: str
    row: str = None         # what the screen shows before Enter; by default the line itself
    column: int = None      # where the cursor then stands, the prompt not counted
    bindings: bool = True   # whether <tab> and ? complete


ROWS = [
    Row("an empty line", "", "", column=0),
    Row("plain typing", "show version", "show version", column=12),
    Row("blanks are kept", "  a  b  ", "  a  b  ", column=8),
    Row("punctuation", "!\"#$%&'()*+,-./:;<lt>=>@[\\]^_`{|}~", "!\"#$%&'()*+,-./:;<=>@[\\]^_`{|}~"),
    Row("a line of several screen rows", "x" * 200, "x" * 200),

    Row("ctrl-a goes to the beginning", "bc<ctrl-a>a", "abc", column=1),
    Row("ctrl-e goes to the end", "ab<ctrl-a><ctrl-e>c", "abc", column=3),
    Row("ctrl-b goes back", "ac<ctrl-b>b", "abc", column=2),
    Row("ctrl-b stops at the beginning", "b<ctrl-b><ctrl-b><ctrl-b>a", "ab", column=1),
    Row("ctrl-f goes forward", "abd<ctrl-a><ctrl-f><ctrl-f>c", "abcd", column=3),
    Row("ctrl-f stops at the end", "ab<ctrl-f><ctrl-f>c", "abc", column=3),
    Row("left", "ac<left>b", "abc", column=2),
    Row("right", "acd<left><left><left><right>b", "abcd", column=2),
    Row("application-mode arrows", "ac<esc>OD<esc>OD<esc>OCb", "abc", column=2),

    Row("ctrl-h deletes backwards", "abx<ctrl-h>c", "abc", column=3),
    Row("backspace deletes backwards", "abx<backspace>c", "abc", column=3),
    Row("backspace in the middle", "axb<left><backspace>", "ab", column=1),
    Row("backspace at the beginning", "ab<ctrl-a><backspace><backspace>", "ab", column=0),
    Row("ctrl-d deletes under the cursor", "axb<left><left><ctrl-d>", "ab", column=1),
    Row("ctrl-k deletes to the end", "abxyz<left><left><left><ctrl-k>", "ab", column=2),
    Row("ctrl-u deletes the line", "wrong<ctrl-u>right", "right", column=5),
    Row("ctrl-u deletes on both sides", "wrong<left><left><ctrl-u>right", "right", column=5),
    Row("ctrl-w deletes the word before", "show version<ctrl-w>", "show ", column=5),
    Row("ctrl-w deletes word by word", "a bc def<ctrl-w><ctrl-w>", "a ", column=2),
    Row("ctrl-w keeps what follows", "one two three<meta-b><ctrl-w>", "one three", column=4),
    Row("ctrl-w on an empty line", "<ctrl-w>a", "a", column=1),
    Row("ctrl-y brings back what ctrl-k took", "abc<ctrl-a><ctrl-k><ctrl-y><ctrl-y>", "abcabc",
        column=6),
    Row("ctrl-t swaps two characters", "ba<ctrl-t>", "ab", column=2),
    Row("ctrl-v quotes the next key", "a<ctrl-v><ctrl-a>b", "a\x01b", row="a^Ab", column=4),
    Row("ctrl-v quotes a tab", "a<ctrl-v><tab>b", "a\tb", row="a     b", column=7),

    Row("meta-b goes back a word", "two<meta-b>one ", "one two", column=4),
    Row("meta-f goes forward a word", "one two<ctrl-a><meta-f>,", "one, two", column=4),
    Row("meta-d deletes the word after", "one two<ctrl-a><meta-d>", " two", column=0),
    Row("meta-c writes a capital", "abc<ctrl-a><meta-c>", "Abc", column=3),

    Row("home, as xterm sends it", "bc<esc>[Ha", "abc", column=1),
    Row("end, as xterm sends it", "ab<ctrl-a><esc>[Fc", "abc", column=3),
    Row("home, as linux sends it", "bc<esc>[1~a", "abc", column=1),
    Row("end, as linux sends it", "ab<ctrl-a><esc>[4~c", "abc", column=3),
    Row("home, as rxvt sends it", "bc<esc>[7~a", "abc", column=1),
    Row("end, as rxvt sends it", "ab<ctrl-a><esc>[8~c", "abc", column=3),
    Row("home, with application keys", "bc<esc>OHa", "abc", column=1),
    Row("end, with application keys", "ab<ctrl-a><esc>OFc", "abc", column=3),
    Row("delete", "axb<left><left><esc>[3~", "ab", column=1),
    Row("delete at the end", "ab<esc>[3~<esc>[3~c", "abc", column=3),
    Row("insert quotes the next key", "a<esc>[2~<tab>b", "a\tb", row="a     b", column=7),
    Row("ctrl-right, as xterm sends it", "one two<ctrl-a><esc>[1;5C,", "one, two", column=4),
    Row("ctrl-left, as xterm sends it", "one to<esc>[1;5D<esc>[1;5D,", ",one to", column=1),
    Row("ctrl-right, as older xterms send it", "one two<ctrl-a><esc>[5C,", "one, two", column=4),
    Row("ctrl-left, as older xterms send it", "one to<esc>[5D,", "one ,to", column=5),
    Row("meta-right", "one two<ctrl-a><esc><esc>[C,", "one, two", column=4),
    Row("meta-left", "one to<esc><esc>[D,", "one ,to", column=5),

    Row("up without history", "ab<up>c", "abc", column=3),
    Row("ctrl-l redraws the screen", "ab<ctrl-l>c", "abc", column=3),
    Row("<tab> without a completer", "ab<tab>c", "abc", column=3),
    Row("? without a completer", "ab?c", "abc", column=3),
    Row("<tab> without its binding", "ab<tab>c", "ab\tc", row="ab    c", column=7,
        bindings=False),
    Row("? without its binding", "ab?c", "ab?c", column=4, bindings=False),
    Row("ctrl-w without the bindings", "one two<ctrl-w>", "one ", column=4, bindings=False),
    Row("only one of two lines", "a<ctrl-h>b<ctrl-a>a<right>c<left>", "abc", column=2),
]


def screen_rows(text, columns):
    """`text` as it wraps on a screen."""
    return [text[start:start + columns] for start in range(0, len(text), columns)] or [""]


@pytest.mark.parametrize("row", ROWS, ids=[row.name for row in ROWS])
def test_editing(shell, row):
    if not row.bindings:
        shell.do("Tavorin.keyBindingsEnabledIs(False)")
    shell.begin_line()
    shell.type(row.keys)
    shown = "> " + (row.line if row.row is None else row.row)
    for number, text in enumerate(screen_rows(shown, 80)):
        shell.wait_for_row(number, text)
    if row.column is not None:
        shell.wait_for_cursor(0, 2 + row.column)
    shell.type("<enter>")
    assert shell.outcome() == Returned(row.line)
    shell.assert_settings_as_before()


@pytest.mark.parametrize("row", [row for row in ROWS if row.bindings and "ctrl-l" not in row.keys],
                         ids=lambda row: row.name)
def test_editing_at_once(shell, row):
    """All keys and the Enter arrive together, as from a paste or a slow connection."""
    shell.begin_line()
    shell.type(row.keys + "<enter>")
    assert shell.outcome() == Returned(row.line)


def set_bindings(shell, enabled):
    """Switch the completion keys, unless they already are as wanted."""
    if shell.do("Tavorin.keyBindingsEnabled()") is not enabled:
        shell.do("Tavorin.keyBindingsEnabledIs(%s)" % enabled)


@pytest.mark.parametrize("term", ["linux", "vt100", "rxvt", "screen", "xterm-256color"])
def test_editing_at_other_terminals(terminal, term):
    """Every row at a terminal of another type; the emulator understands what they all have."""
    shell = terminal(term=term)
    for row in ROWS:
        set_bindings(shell, row.bindings)
        shell.screen.reset()
        shell.begin_line()
        shell.type(row.keys)
        shown = "> " + (row.line if row.row is None else row.row)
        for number, text in enumerate(screen_rows(shown, 80)):
            shell.wait_for_row(number, text)
        if row.column is not None:
            shell.wait_for_cursor(0, 2 + row.column)
        shell.type("<enter>")
        assert (row.name, shell.outcome()) == (row.name, Returned(row.line))
    shell.assert_settings_as_before()


@pytest.mark.parametrize("term", ["dumb", "no-such-terminal", "", None])
def test_editing_at_terminals_of_little_or_no_ability(terminal, term):
    """The display may be poor there; the line is the same."""
    shell = terminal(term=term)
    for row in ROWS:
        set_bindings(shell, row.bindings)
        shell.begin_line()
        shell.type(row.keys + "<enter>")
        assert (row.name, shell.outcome()) == (row.name, Returned(row.line))
    shell.assert_settings_as_before()


@pytest.mark.parametrize("end", ["<ctrl-m>", "<ctrl-j>"])
def test_both_ends_of_line(shell, end):
    shell.begin_line()
    shell.type("ab" + end)
    assert shell.outcome() == Returned("ab")


def test_enter_in_the_middle_takes_the_whole_line(shell):
    shell.begin_line()
    shell.type("abcd<left><left><enter>")
    assert shell.outcome() == Returned("abcd")


def test_a_line_longer_than_the_editor_s_first_buffer(shell):
    line = "".join("%04d " % number for number in range(0, 3000, 5))
    shell.begin_line()
    shell.type(line + "<enter>")
    assert shell.outcome() == Returned(line)


@pytest.mark.parametrize("down", ["<down>", "<ctrl-n>", "<esc>OB"])
class TestDown:
    """The way back from history ends at the line that was being typed."""

    @pytest.mark.parametrize("keys, line", [
        ("ab%sc", "abc"),
        ("ab%s%s%sc", "abc"),
        ("ab<up>%sc", "abc"),
        ("ab<up>%sc%sd", "abcd"),
        ("ab<up><up>%s%s%sc", "abc"),
        ("ab<up><up>%sc", "twoc"),
        ("ab<up><up><up><up>%sc", "twoc"),
        ("<up>%sab%sc", "abc"),
        ("ab<meta-p>%sc", "abc"),
    ])
    def test_keeps_the_line(self, shell, down, keys, line):
        shell.do("[Tavorin.addHistory(line, 'exec', '') for line in ('one', 'two')]")
        for _ in range(2):
            shell.begin_line()
            shell.type(keys.replace("%s", down) + "<enter>")
            assert shell.outcome() == Returned(line)

    def test_without_history(self, shell, down):
        shell.begin_line("ab")
        shell.type(down + "c<enter>")
        assert shell.outcome() == Returned("abc")


def test_a_search_given_up_leaves_the_line_and_the_next_one_right(shell):
    shell.begin_line()
    shell.type("ab<ctrl-r>")
    shell.wait_for_screen("bck:")
    shell.type("<ctrl-g>")
    shell.wait_for_row(0, "> ab")
    shell.type("c<enter>")
    assert shell.outcome() == Returned("abc")
    shell.begin_line()
    shell.type("next<enter>")
    assert shell.outcome() == Returned("next")


class TestTypeAhead:
    """Keys that were typed before the prompt is there."""

    @pytest.fixture
    def shell(self, shell):
        shell.ask("[wait_for_go(), Tavorin.readline('> ')][1]")
        return shell

    def test_a_whole_line(self, shell):
        shell.type("early<enter>")
        shell.wait_for_screen("early")
        shell.go()
        assert shell.outcome() == Returned("early")

    def test_part_of_a_line(self, shell):
        shell.type("ear")
        shell.wait_for_screen("ear")
        shell.go()
        shell.wait_for_prompt()
        shell.type("ly<enter>")
        assert shell.outcome() == Returned("early")

    def test_two_lines(self, shell):
        shell.type("first<enter>second<enter>")
        shell.wait_for_screen("second")
        shell.go()
        assert shell.outcome() == Returned("first")
        shell.ask("Tavorin.readline('> ')")
        assert shell.outcome() == Returned("second")

    def test_keys_corrected_before_the_prompt(self, shell):
        shell.type("eax<backspace>rly<enter>")
        shell.wait_for_screen("early")
        shell.go()
        assert shell.outcome() == Returned("early")


class TestPaste:
    """Many lines that arrive at once."""

    @pytest.mark.parametrize("end", ["\r", "\n"], ids=["CR", "LF"])
    @pytest.mark.parametrize("count, length", [(100, 20), (300, 70)])
    def test_every_line_comes_back_whole(self, shell, end, count, length):
        lines = [("line %03d " % number).ljust(length, "x") for number in range(count)]
        shell.ask("[Tavorin.readline('> ') for _ in range(%d)]" % count)
        shell.wait_for_prompt()
        shell.paste("".join(line + end for line in lines).encode())
        assert shell.outcome() == Returned(lines)
        shell.assert_settings_as_before()

    def test_a_hundred_kilobytes_are_edited_as_any_line(self, shell):
        """However much waits: each line is edited, here by going to its beginning."""
        typed = "c" * 60 + "\x01" + "ab" + "\x05" + "d\r"
        count = 100 * 1024 // len(typed) + 1
        shell.ask("set(Tavorin.readline('> ') for _ in range(%d)) == set(['ab' + 'c' * 60 + 'd'])"
                  % count)
        shell.wait_for_prompt()
        shell.paste(typed.encode() * count)
        assert shell.outcome() == Returned(True)
        shell.assert_settings_as_before()

    def test_what_follows_is_edited_again(self, shell):
        shell.ask("[Tavorin.readline('> ') for _ in range(101)][-1]")
        shell.wait_for_prompt()
        shell.paste(b"a line\r" * 100)
        shell.type("bc<ctrl-a>a<enter>")
        assert shell.outcome() == Returned("abc")


class TestScreen:
    """What a person sees."""

    def test_the_prompt_and_the_echo(self, shell):
        shell.ask("Tavorin.readline('name: ')")
        shell.wait_for_prompt("name: ")
        shell.wait_for_cursor(0, 6)
        shell.type("Ada")
        shell.wait_for_row(0, "name: Ada")
        shell.wait_for_cursor(0, 9)
        shell.type("<enter>")
        assert shell.outcome() == Returned("Ada")
        shell.wait_for_cursor(1, 0)

    def test_an_empty_prompt(self, shell):
        shell.ask("Tavorin.readline('')")
        shell.wait_until(shell.is_editing, "the editor's mode")
        shell.type("ab")
        shell.wait_for_row(0, "ab")
        shell.type("<enter>")
        assert shell.outcome() == Returned("ab")

    def test_each_line_has_its_own_prompt(self, shell):
        shell.ask("[Tavorin.readline(prompt) for prompt in ('one> ', 'two> ')]")
        shell.wait_for_prompt("one> ")
        shell.type("a<enter>")
        shell.wait_for_prompt("two> ")
        shell.type("b<enter>")
        assert shell.outcome() == Returned(["a", "b"])
        assert shell.row(0) == "one> a"
        assert shell.row(1) == "two> b"

    def test_a_line_that_wraps_can_be_edited_at_its_start(self, terminal):
        shell = terminal(columns=20)
        shell.begin_line()
        shell.type("0123456789" * 3 + "<ctrl-a>ab")
        shell.wait_for_row(0, "> ab0123456789012345")
        shell.wait_for_row(1, "67890123456789")
        shell.wait_for_cursor(0, 4)
        shell.type("<ctrl-e><backspace>")
        shell.wait_for_row(1, "6789012345678")
        shell.wait_for_cursor(1, 13)
        shell.type("<enter>")
        assert shell.outcome() == Returned("ab" + ("0123456789" * 3)[:-1])

    def test_an_invisible_part_of_the_prompt_takes_no_room(self, shell):
        shell.ask(r"Tavorin.readline('\001\033[1m\002bold> \001\033[0m\002')")
        shell.wait_for_prompt("bold>")
        shell.type("ac<left>b")
        shell.wait_for_row(0, "bold> abc")
        shell.wait_for_cursor(0, 8)
        shell.type("<enter>")
        assert shell.outcome() == Returned("abc")

    def test_a_terminal_of_unknown_size(self, terminal):
        shell = terminal(rows=0, columns=0)
        shell.begin_line()
        shell.type("ac<left>b<enter>")
        assert shell.outcome() == Returned("abc")
