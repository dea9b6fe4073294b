"""Keys that a terminal sends as escape sequences: those that mean something, and all others."""

import pytest

from harness import Raised, Returned

LINES = ("show one", "show two", "exit")


@pytest.fixture
def start(terminal, tmp_path):
    """Starts a shell whose user has these settings, with a few lines in its history."""
    def start_with(settings="", **options):
        (tmp_path / "settings").write_text(settings + "\n")
        shell = terminal(variables={"EDITRC": str(tmp_path / "settings")}, **options)
        for line in LINES:
            shell.do("Tavorin.addHistory(%r, 'exec', '')" % line)
        return shell
    return start_with


def assert_lines(shell, rows):
    for keys, line in rows:
        shell.begin_line()
        shell.type(keys + "<enter>")
        assert (keys, shell.outcome()) == (keys, Returned(line))
    shell.assert_settings_as_before()


# --- Keys that mean something --------------------------------------------------------------------

def with_each(sequences, keys, line):
    return [(keys.replace("KEY", "<esc>" + sequence), line) for sequence in sequences]


# Of xterm, with Alt, Ctrl or Meta and perhaps Shift; of its older versions; of iTerm; of rxvt.
RIGHT_BY_WORDS = ("[1;3C", "[1;4C", "[1;6C", "[1;7C", "[1;9C", "[1;10C", "[3C", "O5C", "<esc>[C",
                  "<esc>OC", "<esc>[1;2C", "Oc")
PLAIN_RIGHT = ("[C", "OC", "[1;2C", "[2C", "O2C", "[c", "[1C")
LEFT_BY_WORDS = ("[1;3D", "[1;9D", "<esc>[D", "<esc>OD", "Od")
PLAIN_LEFT = ("[D", "OD", "[1;2D", "[d")
UP = ("[A", "OA", "[1;2A", "[1;3A", "[1;5A", "[a", "Oa", "<esc>[A")
DOWN = ("[B", "OB", "[1;2B", "[1;3B", "[1;5B", "[b", "Ob", "<esc>[B")

ROWS = (
    with_each(RIGHT_BY_WORDS, "one two<ctrl-a>KEY|", "one| two") +
    with_each(PLAIN_RIGHT, "one two<ctrl-a>KEY|", "o|ne two") +
    with_each(LEFT_BY_WORDS, "one twoKEY|", "one |two") +
    with_each(PLAIN_LEFT, "one twoKEY|", "one tw|o") +
    with_each(UP, "KEYKEY|", "show two|") +
    with_each(DOWN, "<up><up>KEY|", "exit|") +
    with_each(("[1;2H", "[1;5H"), "abKEY|", "|ab") +
    with_each(("[1;2F", "[1;5F"), "ab<ctrl-a>KEY|", "ab|") + [
        ("typed<esc>[5~|", "show one|"),
        ("typed<esc>[5~<esc>[5~|", "show one|"),
        ("typed<esc>[5~<down>|", "show two|"),
        ("typed<esc>[5~<esc>[6~|", "typed|"),
        ("typed<esc>[6~|", "typed|"),
        ("one two<esc>2<esc>[1;3D|", "|one two"),
        ("<ctrl-r>one<esc>[1;2D|", "show| one"),
        ("<ctrl-r>two<esc>[5~|", "show one|"),
    ])

# --- Keys that mean nothing ----------------------------------------------------------------------

NOTHING = (
    "OP", "OS", "O2P",                              # F1 to F4
    "[11~", "[15~", "[24~", "[15;2~", "[1;2P",      # F1 to F12
    "[[A", "[[E",                                   # Linux's F1 to F5
    "[23$", "[3$", "[3^", "[3@", "[7^",             # rxvt's
    "[3;2~", "[3;5~", "[5;5~", "[2;5~",             # Delete and others with Shift or Ctrl
    "[1;5P", "[Z", "[E", "[29~", "[57441u", "[97;5u",
    "OM", "Oj", "Oy",                               # the keypad
    "[I", "[O", "[?62;1;4c", "[12;40R", "[?2026;2$y", "[>0;276;0c", "[<lt>64;10;20M",
    "[ q", "[!p", "[1;2;3;4;5;6;7;8;9;10;11;12;13;14;15;16;17;18x",
    "<esc>[5;5~", "<esc>OP", "<esc>[Z",
    "[201~",
)


@pytest.mark.parametrize("settings", ["", "bind -e", "bind -v"])
def test_keys_that_mean_nothing(start, settings):
    shell = start(settings)
    assert_lines(shell, with_each(NOTHING, "abKEYKEYcd", "abcd"))


def test_keys_that_mean_something(start):
    assert_lines(start(), ROWS)


def test_keys_that_mean_nothing_in_between(start):
    """They do not end what the keys before them have begun."""
    assert_lines(start(), [
        ("<ctrl-r>sh<esc>[15~ow t<left>|", "|show two"),
        ("<esc>3<esc>[15~x", "xxx"),
        ("<ctrl-v><esc>[15~<ctrl-a>", "\x01"),
        ("<ctrl-v><up>", "\x1b[A"),
        ("ab<esc><esc>[15~c", "abc"),
    ])


# --- The user's own bindings ---------------------------------------------------------------------

BOUND = r"""
bind "\e[15~" ed-move-to-beg
bind "\e[1;3D" ed-delete-prev-char
bind -s "\eOP" "typed"
bind "^[[7\^" ed-move-to-beg
bind -r "\e[1;5C"
"""


def test_keys_that_the_user_has_bound(start):
    assert_lines(start(BOUND), [
        ("ab<esc>[15~|", "|ab"),
        ("ab<esc>[1;3D|", "a|"),
        ("ab<esc>[1;9D|", "|ab"),
        ("a<esc>OPb", "atypedb"),
        ("ab<esc>[7^|", "|ab"),
        ("one two<ctrl-a><esc>[1;5C<esc>[1;3C|", "|one two"),
    ])


def test_keys_that_the_user_has_bound_in_vi_mode(start):
    shell = start("bind -v\nbind -a \"\\e[15~\" vi-insert-at-bol")
    press(shell, "ab", "<esc>", "<esc>[15~", "|<enter>")
    assert shell.outcome() == Returned("|ab")


# --- Escape alone, and sequences that are cut off ------------------------------------------------

def press(shell, *keys):
    """Begins a line with these keys, each pressed when the one before it has been taken."""
    shell.begin_line()
    for key in keys:
        shell.type(key)
        shell.wait_until(lambda: shell.has_taken_all_keys() or shell.has_answer(), "the next key")


@pytest.mark.parametrize("settings, keys, line", [
    ("bind -v", ("abc", "<esc>", "ix"), "abxc"),
    ("bind -v", ("abc", "<esc>", "<esc>", "0", "ix"), "xabc"),
    ("bind -v", ("abc", "<esc>", "<esc>0ix"), "xabc"),
    ("bind -v", ("abc<esc><esc>0ix",), "xabc"),
    ("bind -v", ("abc", "<esc>", "<esc>", "<esc>", "0", "ix"), "xabc"),
    ("bind -v", ("abc", "<esc>", "<up>", "<esc>", "ix"), "exixt"),
    ("bind -v", ("<ctrl-r>one", "<esc>", "<esc>", "x"), "showone"),
    ("", ("ab ", "<esc>", "b|"), "|ab "),
    ("", ("abc", "<esc>", "[D|"), "ab|c"),
    ("", ("abc", "<esc>[", "D|"), "ab|c"),
    ("", ("abc", "<esc>[1", ";", "2", "D|"), "ab|c"),
    ("", ("abc", "<esc>[1", "5", "~|"), "abc|"),
    ("", ("abc", "<esc>[1", "xyz"), "abcyz"),
    ("", ("abc", "<esc>["), "abc"),
    ("", ("abc", "<esc>O"), "abc"),
    ("", ("abc", "<esc>[1", "<left>|"), "ab|c"),
    ("", ("abc", "<esc>[1", "<ctrl-a>|"), "|abc"),
    ("", ("abc", "<esc>[1", "\u00e9"), "abc\u00e9"),
    ("", ("<ctrl-r>one", "<esc>", "|"), "show |one"),
])
def test_keys_pressed_one_by_one(start, settings, keys, line):
    shell = start(settings, locale="C.UTF-8")
    press(shell, *keys)
    shell.type("<enter>")
    assert shell.outcome() == Returned(line)
    shell.read_line()


@pytest.mark.parametrize("beginning", ["<esc>", "<esc>[", "<esc>[1;", "<esc>O", "<esc>[200~a"])
def test_ctrl_c_in_the_middle(start, beginning):
    shell = start()
    press(shell, "ab" + beginning)
    shell.type("<ctrl-c>")
    assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")
    assert_lines(shell, [("[Da<backspace>b", "[Db")])


# --- Pastes --------------------------------------------------------------------------------------

COMPLETER = """
calls = []
def complete(key, line, position):
    calls.append([key, line])
def read():
    return Tavorin.readline('> ', complete, 'exec', '')
"""

BEGIN, END = b"\x1b[200~", b"\x1b[201~"

PASTES = [
    # What is typed before the paste, its text, what is typed after it, and the lines.
    ("", "a?\tb", "c\r", ["a?\tbc"]),
    ("", "a\x01b\x7f\x08\x15\x04\x00\x17c", "d\r", ["abcd"]),
    ("", "one?\rtwo\t\rthr", "ee\r", ["one?", "two\t", "three"]),
    ("", "one?\ntwo\x1b[A\x1b[15~?\n", "three\r", ["one?", "two?", "three"]),
    ("xy\x02", "a?b", "\x7fc\r", ["xa?cy"]),
    ("", "", "a\r", ["a"]),
    ("", "\u00e9\u4e2d", "a\r", ["\u00e9\u4e2da"]),
    ("", "x" * 3000 + "?", "\x01a\r", ["a" + "x" * 3000 + "?"]),
]


def paste(shell, before, text, after):
    shell.paste(before.encode() + BEGIN + text.encode() + END + after.encode())


@pytest.mark.parametrize("settings, locale", [("", "C"), ("", "C.UTF-8"), ("bind -v", "C.UTF-8")])
def test_pastes(start, settings, locale):
    shell = start(settings, locale=locale)
    shell.do(COMPLETER)
    for before, text, after, lines in PASTES:
        if settings and before + after != after.strip("\x01\x7f"):
            continue
        shell.ask("[read() for _ in range(%d)]" % len(lines))
        shell.wait_for_prompt()
        paste(shell, before, text, after)
        assert (text, shell.outcome()) == (text, Returned(lines))
    assert shell.do("calls") == []
    shell.assert_settings_as_before()


def test_a_paste_in_a_search(start):
    shell = start()
    shell.do(COMPLETER)
    for text, lines in [("?", ["show ?|one"]), ("?\rshow?", ["show ?one", "show?|"])]:
        shell.ask("[read() for _ in range(%d)]" % len(lines))
        shell.wait_for_prompt()
        paste(shell, "x\x12one", text, "|\r")
        assert shell.outcome() == Returned(lines)


def test_a_paste_on_the_screen(start):
    shell = start(columns=20)
    shell.do(COMPLETER)
    shell.begin_line("ab", call="read()")
    shell.type("<left>")
    paste(shell, "", "0123456789?\t0123456789", "")
    shell.wait_for_row(0, "> a0123456789?  0123")
    shell.wait_for_row(1, "456789b")
    shell.wait_for_cursor(1, 6)


# What ends a paste whose end does not come.
def ctrl_c(shell):
    shell.type("<ctrl-c>")
    assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")
    shell.ask("read()")
    shell.wait_for_prompt()


def the_mark(shell):
    shell.paste(END)


def a_new_user(shell):
    shell.type("<enter>")
    assert shell.outcome() == Returned("ab")
    shell.do("Tavorin.resetInput()")
    shell.ask("read()")
    shell.wait_for_prompt()


@pytest.mark.parametrize("end", [ctrl_c, the_mark, a_new_user])
def test_keys_complete_again_after_a_paste(start, end):
    shell = start()
    shell.do(COMPLETER)
    shell.ask("read()")
    shell.wait_for_prompt()
    shell.paste(BEGIN + b"ab")
    shell.wait_for_row(0, "> ab")
    end(shell)
    shell.type("<ctrl-u>x?<enter>")
    assert shell.outcome() == Returned("x")
    assert shell.do("calls") == [["?", "x"]]


def test_ctrl_c_in_a_paste_after_ctrl_v(start):
    """A Ctrl-V takes the first one for text."""
    shell = start()
    press(shell, "a<ctrl-v><esc>[200~b", "<ctrl-c>", "<ctrl-c>")
    assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")


def test_a_paste_goes_on_in_the_next_line(start):
    shell = start()
    shell.do(COMPLETER)
    for typed, line in [(BEGIN + b"a?\r", "a?"), (b"b?\r", "b?"), (b"c?" + END + b"\x7f\r", "c")]:
        shell.ask("read()")
        shell.wait_for_prompt()
        shell.paste(typed)
        assert shell.outcome() == Returned(line)
    assert shell.do("calls") == []
