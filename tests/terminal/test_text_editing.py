"""The editing keys in text of any language: one key is one character, whatever its width."""

import pytest

from harness import Returned
from line_model import Model
from screen import Wrapped

PROMPT = "> "


@pytest.fixture
def shell(terminal):
    return start(terminal, 80)


def start(terminal, columns, **options):
    return terminal(variables={"LC_ALL": "", "LANG": "C.UTF-8"}, columns=columns, **options)


def begin(shell):
    shell.begin_line()
    shell.type("<ctrl-l>")


def wait_for(shell, text, position):
    Wrapped(PROMPT + text, shell.screen.columns, len(PROMPT) + position,
            start=len(PROMPT)).wait(shell)


# --- Key by key

E = "e\u0301"       # two characters in one cell

ROWS = [
    # name, the keys, the line with the cursor as |
    ("left", "añb<left>", "añ|b"),
    ("left over an umlaut", "ñü<left>", "ñ|ü"),
    ("left over a wide one", "日本<left>x", "日x|本"),
    ("left over an emoji", "a😀<left>x", "ax|😀"),
    ("left over a mark", "a" + E + "<left>", "ae|\u0301"),
    ("left over a mark and its letter", "a" + E + "<left><left>", "a|" + E),
    ("left stops at the beginning", "漢<left><left><left>é", "é|漢"),
    ("right", "漢字é<ctrl-a><right><right>x", "漢字x|é"),
    ("right over a mark", E + "b<ctrl-a><right><right>x", E + "x|b"),
    ("right stops at the end", "漢<right>字", "漢字|"),
    ("ctrl-b and ctrl-f", "日本語<ctrl-b><ctrl-b><ctrl-f>", "日本|語"),
    ("home and end", "語<home>日本<end>!", "日本語!|"),
    ("ctrl-a and ctrl-e", "本<ctrl-a>日<ctrl-e>語", "日本語|"),
    ("backspace", "añ<backspace>b", "ab|"),
    ("backspace, wide", "a漢<backspace>b", "ab|"),
    ("backspace, an emoji in the middle", "x😀y<left><backspace>", "x|y"),
    ("backspace, a mark", E + "<backspace>x", "ex|"),
    ("backspace, the letter below a mark", "ax\u0301<left><backspace>", "a|\u0301"),
    ("ctrl-h", "привет<ctrl-h><ctrl-h>", "прив|"),
    ("delete", "a漢b<ctrl-a><right><delete>", "a|b"),
    ("delete, a mark", E + "b<ctrl-a><right><delete>", "e|b"),
    ("delete, the letter below a mark", "ab\u0301<ctrl-a><right><delete>", "a|\u0301"),
    ("ctrl-d", "日本<left><left><ctrl-d>", "|本"),
    ("ctrl-t", "ñü<ctrl-t>", "üñ|"),
    ("ctrl-t, wide and narrow", "a漢b<left><ctrl-t>", "ab漢|"),
    ("ctrl-t, a mark", "a\u0301b<ctrl-t>", "ab\u0301|"),
    ("ctrl-k", "один два<left><left><left><ctrl-k>", "один |"),
    ("ctrl-u", "日本<ctrl-u>é", "é|"),
    ("ctrl-k and ctrl-y", "日本 語<ctrl-a><right><ctrl-k><ctrl-y><ctrl-y>", "日本 語本 語|"),
    ("ctrl-u and ctrl-y", E + "😀<ctrl-u>x<ctrl-y>", "x" + E + "😀|"),
    ("ctrl-w", "größe Straße<ctrl-w>", "größe |"),
    ("ctrl-w, word by word", "раз два три<ctrl-w><ctrl-w>", "раз |"),
    ("ctrl-w and ctrl-y", "日本 語<ctrl-w><ctrl-y><ctrl-y>", "日本 語語|"),
    ("meta-b", "größe Straße<meta-b>", "größe |Straße"),
    ("meta-b twice", "日本 語<meta-b><meta-b>", "|日本 語"),
    ("meta-f", "größe Straße<ctrl-a><meta-f>", "größe| Straße"),
    ("meta-f over a dash", "Süd–Nord<ctrl-a><meta-f><meta-f>", "Süd–Nord|"),
    ("meta-d", "größe Straße<ctrl-a><meta-d>", "| Straße"),
    ("ctrl-left and ctrl-right", "один два<ctrl-left><ctrl-left><ctrl-right>", "один| два"),
    ("meta-u", "straße élan<meta-b><meta-u>", "straße ÉLAN|"),
    ("meta-l", "ПРИВЕТ<ctrl-a><meta-l>", "привет|"),
    ("meta-c", "übel<ctrl-a><meta-c>", "Übel|"),
    ("a count", "<esc>3é", "ééé|"),
    ("a count, wide", "a<esc>12漢b", "a" + "漢" * 12 + "b|"),
    ("a count of deletions", "日本語😀<esc>3<backspace>", "日|"),
    ("a count of steps", "日本語é<esc>3<left>", "日|本語é"),
    ("ctrl-v", "<ctrl-v>é<ctrl-v>漢<ctrl-v>😀", "é漢😀|"),
    ("insert quotes", "<insert>ÿ<insert>漢", "ÿ漢|"),
    ("between wide ones", "日本<left>ab<left>c", "日ac|b本"),
    ("a tab between wide ones", "日<ctrl-v><tab>本<left><left>", "日|\t本"),
    ("a control character", "é<ctrl-v><ctrl-a>漢<left><left>", "é|\x01漢"),
    ("a control of eight bits", "é\u0085漢<left><left>x", "éx|\u0085漢"),
    ("a code without a character", "\u0378é<left><left>", "|\u0378é"),
    ("up and down", "日本<up><down>語", "日本語|"),
    ("meta keys are Escape and a key", "日本 語<esc>b<esc>b<esc>d", "| 語"),
]


def split_at_cursor(marked):
    position = marked.index("|")
    return marked[:position] + marked[position + 1:], position


@pytest.mark.parametrize("keys, marked", [row[1:] for row in ROWS], ids=[row[0] for row in ROWS])
def test_editing(shell, keys, marked):
    text, position = split_at_cursor(marked)
    begin(shell)
    shell.type(keys)
    wait_for(shell, text, position)
    shell.type("<enter>")
    assert shell.outcome() == Returned(text)
    shell.assert_settings_as_before()


@pytest.mark.parametrize("keys, marked", [row[1:] for row in ROWS], ids=[row[0] for row in ROWS])
def test_editing_at_once(shell, keys, marked):
    shell.begin_line()
    shell.type(keys + "<enter>")
    assert shell.outcome() == Returned(split_at_cursor(marked)[0])


# --- Lines of several rows

COLUMNS = 10

# Each begins at two columns, so that a wide character meets the right margin in either way.
LONG = {
    "narrow": "äöüñçøåéß" * 4,
    "wide": "漢字日本語" * 4,
    "wide, one column further": "x" + "漢字日本語" * 4,
    "mixed": "aé漢b😀ñ" * 5,
    "mixed, one column further": "é" + "aé漢b😀ñ" * 5,
    "marks": "e\u0301" * 20 + "xa\u0308",
    "marks on wide ones": "漢\u3099a" * 10,
    "several marks on one": "o\u0302\u0323xy" * 8,
    "words": "größe 日本 été–x привет 😀 na\u0308he ",
    "shown in another way": "é\u0085漢\u0378ab" * 3,
}

long_texts = pytest.mark.parametrize("text", LONG.values(), ids=LONG.keys())

KEYS = ["<backspace>", "<delete>", "<ctrl-t>", "x", "漢", "\u0301", "<ctrl-k>", "<ctrl-w>", "<meta-d>",
        "<meta-b>", "<meta-f>", "<ctrl-u>", "é😀x"]


@pytest.fixture
def narrow(terminal):
    shell = start(terminal, COLUMNS)
    begin(shell)
    return shell


def press_everywhere(shell, text, key):
    """The key at every other place of the text, each time from the beginning."""
    for position in range(0, len(text) + 1, 2):
        model = Model()
        model.text, model.cursor = text, position
        shell.type("<ctrl-u>" + text + "<left>" * (len(text) - position))
        wait_for(shell, text, position)
        model.press(key)
        shell.type(key)
        wait_for(shell, model.text, model.cursor)


@long_texts
class TestSeveralRows:
    def test_typed(self, narrow, text):
        for length in range(1, len(text) + 1):
            narrow.type(text[length - 1])
            wait_for(narrow, text[:length], length)
        narrow.type("<enter>")
        assert narrow.outcome() == Returned(text)

    def test_the_cursor_goes_everywhere(self, narrow, text):
        narrow.type(text)
        for position in reversed(range(len(text))):
            narrow.type("<left>")
            wait_for(narrow, text, position)
        for position in range(1, len(text) + 1):
            narrow.type("<right>")
            wait_for(narrow, text, position)
        narrow.type("<home>")
        wait_for(narrow, text, 0)
        narrow.type("<end>")
        wait_for(narrow, text, len(text))
        narrow.type("<enter>")
        assert narrow.outcome() == Returned(text)

    def test_deleted_from_the_end(self, narrow, text):
        narrow.type(text)
        for length in reversed(range(len(text))):
            narrow.type("<backspace>")
            wait_for(narrow, text[:length], length)
        narrow.type("<enter>")
        assert narrow.outcome() == Returned("")

    def test_deleted_from_the_beginning(self, narrow, text):
        narrow.type(text + "<ctrl-a>")
        for start in range(1, len(text) + 1):
            narrow.type("<delete>")
            wait_for(narrow, text[start:], 0)
        narrow.type("<enter>")
        assert narrow.outcome() == Returned("")

    @pytest.mark.parametrize("key", KEYS)
    def test_a_key_anywhere(self, narrow, text, key):
        press_everywhere(narrow, text, key)

    def test_killed_and_put_back(self, narrow, text):
        half = len(text) // 2
        narrow.type(text + "<left>" * (len(text) - half) + "<ctrl-k>")
        wait_for(narrow, text[:half], half)
        narrow.type("<ctrl-y><ctrl-a><ctrl-y>")
        wait_for(narrow, text[half:] + text, len(text) - half)
        narrow.type("<enter>")
        assert narrow.outcome() == Returned(text[half:] + text)

    def test_in_another_width(self, narrow, text):
        narrow.type(text)
        wait_for(narrow, text, len(text))
        narrow.resize(24, COLUMNS + 3)
        narrow.type("<ctrl-l>")
        wait_for(narrow, text, len(text))
        narrow.type("<left>")
        wait_for(narrow, text, len(text) - 1)
        narrow.type("<enter>")
        assert narrow.outcome() == Returned(text)


@pytest.mark.parametrize("term", ["linux", "vt100", "vt220", "rxvt", "screen", "xterm-256color"])
def test_at_other_terminals(terminal, term):
    shell = start(terminal, COLUMNS, term=term)
    begin(shell)
    for text in LONG.values():
        press_everywhere(shell, text, "<backspace>")
        press_everywhere(shell, text, "漢")


@pytest.mark.parametrize("prompt", ["日本> ", "日本語漢字> ", "e\u0301> ", "aaaaaaa漢> ", "größer 漢字\u0308> "])
@pytest.mark.parametrize("text", ["", "é", "漢字", "aé漢b😀ñ" * 3])
def test_behind_a_prompt_of_such_text(terminal, prompt, text):
    shell = start(terminal, COLUMNS)
    shell.begin_line(call="Tavorin.readline(%r)" % prompt.encode())
    shell.type("<ctrl-l>" + text)
    Wrapped(prompt + text, COLUMNS, start=len(prompt)).wait(shell)
    shell.type("<ctrl-a>é")
    Wrapped(prompt + "é" + text, COLUMNS, len(prompt) + 1, start=len(prompt)).wait(shell)
    shell.type("<enter>")
    assert shell.outcome() == Returned("é" + text)


def test_a_prompt_whose_colours_take_no_room(terminal):
    shell = start(terminal, COLUMNS)
    prompt = "\001\033[1m\002größe漢\001\033[0m\002> "
    shell.begin_line(call="Tavorin.readline(%r)" % prompt.encode())
    shell.type("<ctrl-l>añ<left>")
    Wrapped("größe漢> añ", COLUMNS, 9).wait(shell)
    shell.type("<enter>")
    assert shell.outcome() == Returned("añ")
