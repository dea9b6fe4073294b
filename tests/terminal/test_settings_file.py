"""The user's own settings file: whatever it does to the keymaps, what every line has stays."""

import pytest

from harness import Returned
from processes import peak_bytes

LINES = ("show one", "show two", "exit")

# Both reset the editor's keymaps.
EMACS = "bind -e"
VI = "bind -v"

COMPLETER = """
calls = []
def complete(key, line, position):
    calls.append([key, line])
    return 'sion'
"""


@pytest.fixture
def start(terminal, tmp_path):
    """Starts a shell whose user has these settings, with a few lines in its history."""
    def start_with(settings, **options):
        (tmp_path / "settings").write_text(settings + "\n")
        shell = terminal(variables={"EDITRC": str(tmp_path / "settings")}, **options)
        shell.do(COMPLETER)
        for line in LINES:
            shell.do("Tavorin.addHistory(%r, 'exec', '')" % line)
        return shell
    return start_with


def read_line(shell, keys):
    shell.begin_line(call="Tavorin.readline('> ', complete, 'exec', '')")
    shell.type(keys)
    outcome = shell.outcome()
    shell.assert_settings_as_before()
    return outcome


# --- What every line has -------------------------------------------------------------------------

@pytest.mark.parametrize("settings", ["", EMACS, VI])
@pytest.mark.parametrize("keys, line", [
    ("abc", "abc"),
    ("<up>", "exit"),
    ("<up><up><up>", "show one"),
    ("<up><up><down>", "exit"),
    ("typed<up><down>", "typed"),
    pytest.param("x" * 1500 + "<up><down>", "x" * 1500, id="a long line"),
    ("<ctrl-r>one", "show one"),
    ("<ctrl-r>show<ctrl-r>", "show one"),
    ("ab<ctrl-r>one<ctrl-g>c", "abc"),
    ("one two<ctrl-w>three", "one three"),
    ("abc<ctrl-u>d", "d"),
    ("abc<backspace>d", "abd"),
])
def test_a_line_in_every_mode(start, settings, keys, line):
    shell = start(settings)
    assert read_line(shell, keys + "<enter>") == Returned(line)
    shell.read_line()


@pytest.mark.parametrize("settings", ["", EMACS])
@pytest.mark.parametrize("keys, line", [
    ("<ctrl-p><ctrl-p><ctrl-n>", "exit"),
    ("ab<home>|", "|ab"),
    ("ab<esc>[1~|", "|ab"),
    ("ab<esc>[7~|", "|ab"),
    ("ab<home><end>|", "ab|"),
    ("ab<home><esc>[4~|", "ab|"),
    ("ab<home><esc>[8~|", "ab|"),
    ("ab<home><delete>", "b"),
    ("one two<ctrl-left>|", "one |two"),
    ("one two<home><ctrl-right>|", "one| two"),
    ("<insert><ctrl-a>", "\x01"),
    ("abc<home><right><ctrl-t>", "bac"),
    ("<up><ctrl-u>show<meta-p>", "show two"),
    ("show<meta-p><meta-p><meta-n>", "show two"),
    ("<esc>5x", "xxxxx"),
    ("<esc>12xy", "x" * 12 + "y"),
    ("<esc>3<up>", "show one"),
    pytest.param("<esc>999999x", "x" * 9999, id="a count without end"),
    ("<ctrl-r>one<left>|", "show| one"),
    ("<ctrl-r>one<esc>|", "show |one"),
])
def test_a_line_in_emacs_mode(start, settings, keys, line):
    shell = start(settings)
    assert read_line(shell, keys + "<enter>") == Returned(line)
    shell.read_line()


@pytest.mark.parametrize("keys, line", [
    ("abc<esc>0ix", "xabc"),
    ("<esc>k", "exit"),
    ("<esc>kkk", "show one"),
    ("<esc>kkj", "exit"),
    ("typed<esc>kj", "typed"),
    ("<esc>3k", "show one"),
    ("<esc>kA|", "exit|"),
    ("<up>", "exit"),
    ("<esc>OA", "exit"),
    ("<up><up><esc><up>", "show one"),
    ("<up><up><down>", "exit"),
    ("abc<esc>2h", "abc"),
    ("abcdef<esc>3Xix", "abxf"),
    ("abc<esc>0999999x", ""),
])
def test_a_line_in_vi_mode(start, keys, line):
    shell = start(VI)
    assert read_line(shell, keys + "<enter>") == Returned(line)
    shell.read_line()


def test_escape_alone_in_vi_mode(start):
    """It begins no other key: what follows may come much later."""
    shell = start(VI)
    shell.begin_line("abc")
    shell.type("<esc>")
    shell.wait_for_cursor(0, 4)
    shell.type("ix<enter>")
    assert shell.outcome() == Returned("abxc")


@pytest.mark.parametrize("settings", ["", EMACS, VI])
@pytest.mark.parametrize("key", ["<tab>", "?"])
def test_a_completion(start, settings, key):
    shell = start(settings)
    assert read_line(shell, "show ver%s|<enter>" % key) == Returned("show version|")
    assert shell.do("calls") == [["\t" if key == "<tab>" else key, "show ver"]]
    shell.read_line()


@pytest.mark.parametrize("home, end", [
    ("<home>", "<end>"), ("<esc>[1~", "<esc>[4~"), ("<esc>[7~", "<esc>[8~"),
])
def test_home_and_end_in_vi_mode(start, home, end):
    """In vi's command mode the cursor stays on the last character."""
    shell = start(VI)
    shell.begin_line("one two")
    shell.type(home)
    shell.wait_for_cursor(0, 2)
    shell.type(end)
    shell.wait_until(lambda: shell.cursor in ((0, 8), (0, 9)), "the cursor at the end")
    shell.type("<enter>")
    assert shell.outcome() == Returned("one two")


# --- Keys that libedit dies of -------------------------------------------------------------------

@pytest.mark.parametrize("settings, keys, line", [
    (EMACS, "<meta-x>\"", '"'),
    (EMACS, "<meta-X>\"", '"'),
    (VI, "<esc>:\"", ""),
    (VI, "abc<esc>:\"", "abc"),
    (VI, "abc<esc>v", "abc"),
    ("bind ^O vi-histedit", "abc<ctrl-o>", "abc"),
    # No sequence is left, and Ctrl-X still begins one.
    ("bind '\\e' ed-unassigned\nbind -r ^X^X", "<ctrl-x>abc", "abc"),
    ("bind ^O ed-command", "abc<ctrl-o>\"", "abc\""),
])
def test_a_key_that_libedit_dies_of(start, settings, keys, line):
    shell = start(settings)
    assert read_line(shell, keys + "<enter>") == Returned(line)
    shell.read_line()


def test_a_byte_that_asks_for_a_command(start):
    shell = start(EMACS)
    for byte in (b"\xf8", b"\xd8"):
        shell.begin_line()
        shell.paste(byte + b'"\r')
        assert shell.outcome() == Returned('"')


@pytest.mark.parametrize("settings", ["", EMACS])
@pytest.mark.parametrize("key", [b"\x1b\x1f", b"\x9f"])
def test_a_key_that_copies_a_word_on_a_growing_line(start, settings, key):
    shell = start(settings)
    shell.begin_line()
    for _ in range(30):
        shell.paste((b"ab " + key) * 50)
        shell.wait_until(shell.has_taken_all_keys, "the keys to be taken")
    shell.type("<enter>")
    assert shell.outcome() == Returned("ab " * 1500)
    shell.read_line()


# --- What the user binds -------------------------------------------------------------------------

@pytest.mark.parametrize("settings, keys, line", [
    # Keys that nobody else binds.
    ("bind ^Xw ed-delete-prev-word", "one two<ctrl-x>w", "one "),
    ("bind -s ^Xs show", "<ctrl-x>s one", "show one"),
    ("bind ^[q em-upper-case", "one<home><meta-q>", "ONE"),
    # Keys that every line has.
    ("bind ^P ed-move-to-beg", "ab<ctrl-p>c", "cab"),
    ("bind ^T ed-move-to-beg", "ab<ctrl-t>c", "cab"),
    ("bind ^[[A ed-move-to-beg", "ab<up>c", "cab"),
    ("bind ^[[H ed-move-to-end", "ab<home>c", "abc"),
    ("bind ^[p ed-move-to-beg", "ab<meta-p>c", "cab"),
    ("bind ^[5 ed-move-to-beg", "ab<meta-5>c", "cab"),
    ("bind -s ^N show", "<ctrl-n> one", "show one"),
    ("bind -r ^P", "ab<ctrl-p>c", "abc"),
    # Keys that are taken away.
    ("bind ^[x ed-move-to-beg", "ab<meta-x>c", "cab"),
    ("bind ^[^_ ed-move-to-beg", "ab<esc><ctrl-_>c", "cab"),
])
@pytest.mark.parametrize("before", ["", EMACS + "\n"])
def test_what_the_user_binds_stays_his(start, before, settings, keys, line):
    shell = start(before + settings)
    assert read_line(shell, keys + "<enter>") == Returned(line)
    shell.read_line()


def test_a_character_by_its_number_is_not_bound(start):
    """libedit reads beyond its end, so anything may be bound with it."""
    shell = start(r"bind -s ^O 'a\U+0071'")
    assert read_line(shell, "<ctrl-o>b<enter>") == Returned("b")


@pytest.mark.parametrize("settings, keys, line", [
    ("bind -s x x", "x", "x"),
    ("bind -s x 'ax b'", "x", "x"),
    (r"bind -s ^O '\017a'", "<ctrl-o>b", "b"),
    (r"bind -s '^[q' 'M-q'", "<meta-q>b", "b"),
    ("bind -s x y\nbind -s y z\nbind -s z x", "xyz", "zzz"),
    (r"bind ^O em-meta-next" "\n" r"bind -s '\370' '\017x'", "<ctrl-o>x", ""),
    # The second character of the key comes from the text before.
    ("bind -s xy zy\nbind -s z x", "xyz", "zyz"),
])
def test_a_text_that_leads_back_to_its_key_is_not_bound(start, settings, keys, line):
    shell = start(settings)
    assert read_line(shell, keys + "<enter>") == Returned(line)


@pytest.mark.parametrize("settings, keys, line", [
    ("bind ^Xw ed-delete-prev-word", "one two<ctrl-x>w", "one "),
    ("bind ^P ed-move-to-beg", "ab<ctrl-p>c", "cab"),
    ("bind -a K ed-move-to-beg", "ab<esc>Kic", "cab"),
    ("bind -a j ed-move-to-beg", "ab<esc>jic", "cab"),
    ("bind -a : ed-move-to-beg", "ab<esc>:ic", "cab"),
])
def test_what_the_user_of_vi_mode_binds_stays_his(start, settings, keys, line):
    shell = start(VI + "\n" + settings)
    assert read_line(shell, keys + "<enter>") == Returned(line)
    shell.read_line()


def test_what_the_user_binds_before_he_changes_the_mode_is_gone(start):
    shell = start("bind ^P ed-move-to-beg\n" + EMACS)
    assert read_line(shell, "<ctrl-p><enter>") == Returned("exit")


@pytest.mark.parametrize("mode", ["", EMACS, VI])
@pytest.mark.parametrize("settings, keys, line", [
    ("bind ^I ed-move-to-beg", "show ver<tab>|", "show version|"),
    ("bind ? ed-move-to-beg", "show ver?|", "show version|"),
    ("bind ^R ed-move-to-beg", "<ctrl-r>one", "show one"),
    ("bind ^W ed-move-to-beg", "one two<ctrl-w>|", "one |"),
])
def test_the_modules_own_keys_are_not_the_users(start, mode, settings, keys, line):
    shell = start(mode + "\n" + settings)
    assert read_line(shell, keys + "<enter>") == Returned(line)


def test_a_screen_that_would_fill_the_memory(start):
    shell = start("settc li 99999999\nbind ^P ed-move-to-beg")
    assert read_line(shell, "ab<ctrl-p>c<enter>") == Returned("cab")
    assert peak_bytes(shell.pid) < 100 * 2 ** 20


def test_the_file_in_the_home_folder(terminal, tmp_path):
    (tmp_path / ".editrc").write_text("bind -v\n")
    shell = terminal(variables={"HOME": str(tmp_path)})
    shell.begin_line()
    shell.type("abc<esc>0ix<enter>")
    assert shell.outcome() == Returned("xabc")


def test_a_new_editor_reads_it_again(start):
    shell = start(EMACS)
    shell.read_line()
    shell.do("Tavorin.resetInput(); Tavorin.addHistory('show one', 'exec', '')")
    assert read_line(shell, "<ctrl-r>one<enter>") == Returned("show one")
    shell.read_line()
