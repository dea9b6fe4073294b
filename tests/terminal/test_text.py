"""Text of any language: what is typed, pasted, recalled, searched for or completed is what is shown
and what comes back, byte for byte.

Expected lines are bytes.  A byte that is no part of a character is a character of its own.
"""

import dataclasses

import pytest

from characters import is_printable
from harness import Raised, Returned, as_bytes
from locales import EIGHT_BIT
from monitor import CALLBACK, ScriptedMonitor
from screen import Wrapped

CTRL_C = Raised("KeyboardInterrupt", "Ctrl-C pressed")
CTRL_Z = Raised("KeyboardInterrupt", "Ctrl-Z pressed")
END_OF_INPUT = Raised("EOFError", "readline returned NULL")

COMPLETER = """
def completer(key, line, position):
    report('completion', key=key, line=line, position=position)
    return answer
"""


@dataclasses.dataclass(frozen=True)
class Environment:
    """How the child gets to know the locale."""
    name: str
    variables: dict
    call: str = ""      # what the application does about it


# An empty variable is an unset one.
UTF_8 = [
    Environment("LANG", {"LC_ALL": "", "LANG": "C.UTF-8"}),
    Environment("LC_CTYPE", {"LC_ALL": "", "LC_CTYPE": "C.UTF-8", "LANG": "C"}),
    Environment("LC_ALL", {"LC_ALL": "C.UTF-8", "LANG": "C"}),
    Environment("setlocale, the environment's", {"LC_ALL": "C.UTF-8"},
                "locale.setlocale(locale.LC_ALL, '')"),
    Environment("setlocale, another one", {"LC_ALL": "C"},
                "locale.setlocale(locale.LC_CTYPE, 'C.UTF-8')"),
]

environments = pytest.mark.parametrize("environment", UTF_8, ids=lambda each: each.name)


def start(terminal, environment=UTF_8[0], variables=None, **options):
    shell = terminal(variables=dict(environment.variables, **(variables or {})),
                     imports=("Tavorin", "locale"), **options)
    if environment.call:
        shell.do(environment.call)
    return shell


def begin(shell, arguments=""):
    """A prompt in the first row of an empty screen."""
    shell.begin_line(call="Tavorin.readline('> '%s)" % arguments)
    shell.type("<ctrl-l>")


def wait_for_line(shell, text, position=None):
    """Wait until the line stands behind the prompt, with the cursor at its end or `position`."""
    Wrapped("> " + text, shell.screen.columns, None if position is None else 2 + position,
            start=2).wait(shell)


def take_line(shell):
    """The bytes of the line that ends here."""
    shell.type("<enter>")
    outcome = shell.outcome()
    assert isinstance(outcome, Returned), outcome
    shell.assert_settings_as_before()
    return as_bytes(outcome.value)


# --- Text as it is shown and as it comes back

TEXTS = {
    "an umlaut and a dash": "description Müller–Süd",
    "a dash alone": "ip route 10.0.0.0 – 10.1.1.1",
    "an emoji": "show 😀 interfaces",
    "a name": "Zürich",
    "Cyrillic": "привет, Ёжик",
    "Greek": "Καλημέρα κόσμε",
    "Latin, codes that once were Meta keys": "ÿ ø ° ² ³ î ð Î Ð Ø ¹ µ ä Ä æ é â",
    "Polish and Czech": "zażółć gęślą jaźń příliš žluťoučký kůň",
    "Japanese": "日本語のテキスト",
    "Chinese beyond the basic plane": "𠀀𠀁 漢字",
    "Korean": "한국어 텍스트",
    "Korean in single letters": "\u1112\u1161\u11ab",
    "Hebrew": "שלום",
    "Hindi": "नमस्ते",
    "Thai": "สวัสดี",
    "marks": "e\u0301 a\u0308 o\u0302\u0323 x",
    "a mark that comes first": "\u0301a",
    "emoji of several characters": "👩\u200d🚒 ❤\ufe0f 🇨🇭 👍🏽",
    "a no-break space, a soft hyphen": "10\u00a0km, soft\u00adhyphen",
    "money": "5 € £ ¥ ₿",
    "boxes": "┌─┬─┐│▒▓█",
    "controls of eight bits": "a\u0080b\u0085c\u009bd\u009fe",
    "codes without a character": "a\u0378b\uffffc\ufffe",
    "a row and a half": "größer 漢字 " * 9,
}

def in_one_shell(table):
    """A test of each value of the table, one after the other: a shell takes its time to start."""
    def decorate(body):
        def test(self, terminal):
            shell = start(terminal)
            for name, value in table.items():
                print(name)
                body(self, shell, value)
        test.__doc__ = body.__doc__
        return test
    return decorate


class TestText:
    @in_one_shell(TEXTS)
    def test_pasted(self, shell, text):
        begin(shell)
        shell.type(text)
        wait_for_line(shell, text)
        assert take_line(shell) == text.encode()
        shell.read_line()

    @in_one_shell(TEXTS)
    def test_pasted_with_its_end(self, shell, text):
        begin(shell)
        shell.type(text + "<enter>")
        assert shell.outcome() == Returned(text)
        shell.read_line()

    @in_one_shell(TEXTS)
    def test_byte_by_byte(self, shell, text):
        begin(shell)
        shell.paste_slowly(text.encode())
        wait_for_line(shell, text)
        assert take_line(shell) == text.encode()

    @in_one_shell(TEXTS)
    def test_quoted(self, shell, text):
        """Ctrl-V quotes a character, not a byte."""
        begin(shell)
        shell.type("".join("<ctrl-v>" + character for character in text))
        wait_for_line(shell, text)
        assert take_line(shell) == text.encode()

    @in_one_shell(TEXTS)
    def test_recalled(self, shell, text):
        shell.do("Tavorin.addHistory(%r, 'exec', '')" % text.encode())
        begin(shell, ", None, 'exec'")
        shell.type("<up>")
        wait_for_line(shell, text)
        assert take_line(shell) == text.encode()

    @in_one_shell(TEXTS)
    def test_completed(self, shell, text):
        shell.do(COMPLETER)
        shell.do("answer = %r" % text.encode())
        begin(shell, ", completer")
        shell.type(text + "<tab>")
        wait_for_line(shell, text * 2)
        assert take_line(shell) == text.encode() * 2
        assert shell.next_report("completion") == {
            "event": "completion", "key": "\t", "line": text, "position": len(text)}

    @pytest.mark.parametrize("text", TEXTS.values(), ids=TEXTS.keys())
    def test_typed_before_the_prompt(self, terminal, text):
        shell = start(terminal)
        shell.ask("[wait_for_go(), Tavorin.readline('> ')][1]")
        shell.type(text + "<enter>")
        shell.wait_for_output(b"\r\n")
        shell.go()
        assert shell.outcome() == Returned(text)

    @in_one_shell(TEXTS)
    def test_in_a_prompt(self, shell, text):
        """Codes without a form are left out there."""
        shell.begin_line(call="Tavorin.readline(%r)" % ("x" + text + "> ").encode())
        prompt = "x" + "".join(filter(is_printable, text)) + "> "
        shell.type("<ctrl-l>añb<left>")
        Wrapped(prompt + "añb", 80, len(prompt) + 2, start=len(prompt)).wait(shell)
        assert take_line(shell) == "añb".encode()


@environments
def test_every_environment(terminal, environment):
    shell = start(terminal, environment)
    for name, text in TEXTS.items():
        begin(shell)
        shell.type(text)
        wait_for_line(shell, text)
        assert (name, take_line(shell)) == (name, text.encode())


@environments
def test_a_question_of_the_shell_s_own(terminal, environment):
    shell = start(terminal, environment)
    shell.do("Tavorin.keyBindingsEnabledIs(True)")
    shell.begin_line(call="Tavorin.simpleReadline('Größe? ')", prompt="Größe? ")
    shell.type("<ctrl-l>ünï 漢<left>")
    Wrapped("Größe? ünï 漢", 80, 11).wait(shell)
    assert take_line(shell) == "ünï 漢".encode()


@pytest.mark.parametrize("setting", ["bind -e", "bind -v"])
def test_a_settings_file_that_resets_the_keys(terminal, tmp_path, setting):
    """In vi's keys, too, the user begins by inserting."""
    (tmp_path / "settings").write_text(setting + "\n")
    shell = start(terminal, variables={"EDITRC": str(tmp_path / "settings")})
    text = "".join(map(chr, range(0xA0, 0x100)))
    begin(shell)
    shell.type(text)
    wait_for_line(shell, text)
    assert take_line(shell) == text.encode()


# --- Bytes that are no characters

WRONG = {
    "the first byte of two": b"a\xc3b",
    "two bytes of three": b"\xe2\x82z",
    "one byte of three": b"\xe2z",
    "three bytes of four": b"\xf0\x9f\x98a",
    "part of one, then another": b"\xe2\x82\xe2\x82\xac",
    "the first byte twice": b"\xc3\xc3\xa9",
    "part of one at the end": b"ab\xf0\x9f\x98",
    "a first byte alone": b"\xc3",
    "bytes that continue nothing": b"\x80a\xbf",
    "one too many": b"\xc3\xa9\xa9",
    "a wrong second byte": b"\xe2\x28\xa1",
    "a wrong third byte": b"\xe2\x82\x28",
    "longer than need be": b"\xc0\xaf \xe0\x80\xaf \xf0\x80\x80\xaf",
    "a surrogate": b"\xed\xa0\x80",
    "beyond the last code": b"\xf4\x90\x80\x80 \xf5\x80\x80\x80",
    "a byte that begins nothing": b"\xfe \xf8x",
    "another encoding": b"Z\xfcrich M\xfcller",
    "among good ones": "ü".encode() + b"\xc3" + "漢".encode() + b"\xe6\xbc" + "😀".encode(),
}

class TestBytesThatAreNoCharacters:
    @in_one_shell(WRONG)
    def test_pasted(self, shell, data):
        begin(shell)
        shell.paste(data + b"\r")
        assert as_bytes(shell.outcome().value) == data
        shell.read_line()

    @in_one_shell(WRONG)
    def test_byte_by_byte(self, shell, data):
        begin(shell)
        shell.paste_slowly(data)
        assert take_line(shell) == data
        shell.read_line()

    @in_one_shell(WRONG)
    def test_shown(self, shell, data):
        begin(shell)
        shell.paste(data + b"!")
        wait_for_line(shell, data.decode("utf-8", "surrogateescape") + "!")
        assert take_line(shell) == data + b"!"

    @in_one_shell(WRONG)
    def test_a_key_behind_them(self, shell, data):
        text = data.decode("utf-8", "surrogateescape")
        begin(shell)
        shell.paste(data)
        shell.type("<left>|")
        wait_for_line(shell, text[:-1] + "|" + text[-1:], len(text))
        assert take_line(shell) == as_bytes(text[:-1] + "|" + text[-1:])

    @in_one_shell(WRONG)
    def test_each_is_deleted_by_one_key(self, shell, data):
        count = len(data.decode("utf-8", "surrogateescape"))
        begin(shell)
        shell.paste(b"x" + data)
        shell.type("<backspace>" * count)
        wait_for_line(shell, "x")
        assert take_line(shell) == b"x"

    @in_one_shell(WRONG)
    def test_recalled(self, shell, data):
        shell.do("Tavorin.addHistory(%r, 'exec', '')" % data)
        begin(shell, ", None, 'exec'")
        shell.type("<up>!<enter>")
        assert as_bytes(shell.outcome().value) == data + b"!"

    @in_one_shell(WRONG)
    def test_completed(self, shell, data):
        shell.do(COMPLETER)
        shell.do("answer = %r" % data)
        begin(shell, ", completer")
        shell.paste(data + b"\t!\r")
        assert as_bytes(shell.outcome().value) == data * 2 + b"!"
        completion = shell.next_report("completion")
        assert as_bytes(completion["line"]) == data
        assert completion["position"] == len(data.decode("utf-8", "surrogateescape"))

    @in_one_shell(WRONG)
    def test_in_a_prompt(self, shell, data):
        """They stand there somehow; the line behind is right, and its end in its place."""
        shell.ask("Tavorin.readline(%r)" % (data + b"> "))
        shell.wait_for_prompt()
        shell.type("añb<enter>")
        assert shell.outcome() == Returned("añb")


# --- Characters that are cut in two

EURO = "€".encode()
CUTS = {
    "ctrl-c": (b"\x03", CTRL_C),
    "ctrl-z": (b"\x1a", CTRL_Z),
    "the end of input": (b"\xff", END_OF_INPUT),
}


@pytest.mark.parametrize("length", [1, 2])
@pytest.mark.parametrize("key, outcome", CUTS.values(), ids=CUTS.keys())
@pytest.mark.parametrize("before", ["", "x€"])
def test_a_cut_by_what_ends_the_read(terminal, before, key, outcome, length):
    """The rest of the character is no part of one in the next line."""
    shell = start(terminal)
    begin(shell)
    shell.paste_slowly(before.encode() + EURO[:length])
    shell.paste(key)
    assert shell.outcome() == outcome
    shell.assert_settings_as_before()
    begin(shell)
    shell.paste_slowly(EURO[length:] + b"y")
    assert take_line(shell) == EURO[length:] + b"y"
    shell.read_line("€")


@pytest.mark.parametrize("length", [1, 2])
def test_a_cut_by_the_end_of_a_line(terminal, length):
    shell = start(terminal)
    begin(shell)
    shell.paste_slowly(b"x" + EURO[:length])
    assert take_line(shell) == b"x" + EURO[:length]
    begin(shell)
    shell.paste_slowly(EURO[length:] + b"y")
    assert take_line(shell) == EURO[length:] + b"y"


@pytest.mark.parametrize("length", [1, 2])
def test_a_cut_between_two_lines_of_a_paste(terminal, length):
    shell = start(terminal)
    shell.ask("[Tavorin.readline('> ') for _ in range(3)]")
    shell.wait_for_prompt()
    shell.paste(b"x" + EURO[:length] + b"\r" + EURO[length:] + b"y\r" + EURO + b"\r")
    assert [as_bytes(line) for line in shell.outcome().value] == [
        b"x" + EURO[:length], EURO[length:] + b"y", EURO]


@pytest.mark.parametrize("length", [1, 2])
@pytest.mark.parametrize("count", [500, 700, 2000])
def test_a_cut_by_the_end_of_a_long_paste(terminal, count, length):
    shell = start(terminal)
    data = EURO * count + EURO[:length]
    begin(shell)
    shell.paste(data)
    shell.wait_until(shell.has_taken_all_keys, "the paste to be taken")
    assert take_line(shell) == data
    begin(shell)
    shell.paste(EURO[length:] + b"y")
    assert take_line(shell) == EURO[length:] + b"y"


@pytest.mark.parametrize("length", [1, 2])
def test_the_other_half_of_a_paste_comes_later(terminal, length):
    shell = start(terminal)
    begin(shell)
    shell.paste(EURO * 700 + EURO[:length])
    shell.wait_until(shell.has_taken_all_keys, "the paste to be taken")
    shell.paste(EURO[length:])
    assert take_line(shell) == EURO * 701


@pytest.mark.parametrize("length", [1, 2])
def test_a_log_event_between_two_bytes(terminal, tmp_path, length):
    monitor = ScriptedMonitor(tmp_path)
    shell = start(terminal, variables=monitor.variables())
    shell.do(CALLBACK)
    shell.do("Tavorin.loggingSyncEnabledIs(%r, on_log)" % monitor.name)
    begin(shell)
    shell.paste_slowly(b"x" + EURO[:length])
    monitor.send((1, 2))
    shell.next_report("log")
    shell.wait_until(shell.has_taken_all_keys, "the next key to be awaited")
    shell.paste(EURO[length:])
    Wrapped("> x€", 80).wait(shell, above=["> x", "log 1 2"])
    assert take_line(shell) == b"x" + EURO
    monitor.close()


@pytest.mark.parametrize("length", [1, 2])
def test_a_log_event_and_an_end_between_two_bytes(terminal, tmp_path, length):
    monitor = ScriptedMonitor(tmp_path)
    shell = start(terminal, variables=monitor.variables())
    shell.do(CALLBACK)
    shell.do("Tavorin.loggingSyncEnabledIs(%r, on_log)" % monitor.name)
    begin(shell)
    shell.paste_slowly(b"x" + EURO[:length])
    monitor.send((1, 2))
    shell.next_report("log")
    shell.type("<ctrl-c>")
    assert shell.outcome() == CTRL_C
    begin(shell)
    shell.paste(EURO[length:] + b"y")
    assert take_line(shell) == EURO[length:] + b"y"
    monitor.close()


@pytest.mark.parametrize("length", [1, 2])
def test_a_new_window_size_between_two_bytes(terminal, length):
    shell = start(terminal)
    begin(shell)
    shell.paste_slowly(b"x" + EURO[:length])
    shell.resize(24, 60)
    shell.wait_until(shell.has_taken_all_keys, "the next key to be awaited")
    shell.paste(EURO[length:])
    shell.type("<ctrl-l>")
    wait_for_line(shell, "x€")
    assert take_line(shell) == b"x" + EURO


def test_the_byte_255_ends_the_input(terminal):
    shell = start(terminal)
    begin(shell)
    shell.paste("ü".encode() + b"\xff")
    assert shell.outcome() == END_OF_INPUT
    shell.read_line("ÿ")


def test_input_that_is_no_terminal(terminal, tmp_path):
    lines = [text.encode() for text in TEXTS.values()] + list(WRONG.values())
    (tmp_path / "input").write_bytes(b"\n".join(lines + [b"end\xe2\x82"]))
    with open(str(tmp_path / "input")) as source:
        shell = start(terminal, stdin=source.fileno())
    outcome = shell.do("[Tavorin.readline('> ') for _ in range(%d)]" % (len(lines) + 1))
    assert [as_bytes(line) for line in outcome] == lines + [b"end\xe2\x82"]


# --- Completion

COMPLETIONS = [
    # name, the line, the answer, the line that comes back
    ("the rest of a word", "Mül", "ler", "Müller"),
    ("a backspace takes a character", "café", "\bein", "cafein"),
    ("each takes one", "aéあ😀", "\b\b\b!", "a!"),
    ("surplus ones", "éあ", "\b\b\b\b\bпривет", "привет"),
    ("a mark is a character", "e\u0301", "\b\u0308", "e\u0308"),
    ("a lone byte is a character", "ü\udcc3", "\b+", "ü+"),
    ("two lone bytes", "\udcff\udcc3"[1:] + "z\udce2", "\b\b\b-", "-"),
]


@pytest.mark.parametrize("line, answer, result", [row[1:] for row in COMPLETIONS],
                         ids=[row[0] for row in COMPLETIONS])
@pytest.mark.parametrize("keys", ["", "<ctrl-a>"])
def test_a_completion_counts_characters(terminal, keys, line, answer, result):
    shell = start(terminal)
    shell.do(COMPLETER)
    shell.do("answer = %r" % as_bytes(answer))
    begin(shell, ", completer")
    shell.type(line + keys + "?")
    wait_for_line(shell, result)
    assert take_line(shell) == as_bytes(result)
    assert shell.next_report("completion") == {
        "event": "completion", "key": "?", "line": line, "position": len(line)}


# --- Searching

LINES = ["description Müller–Süd", "show привет мир", "ping 日本.example", "banner 😀",
         "name Zu\u0308rich", "newest"]
ALL_OLDER = "<up>" * len(LINES)

SEARCHES = [
    # keys, the pattern below the line (None without one), the line found, the cursor in it
    ("<ctrl-r>ü", "bck:ü", LINES[0], 20),
    ("<ctrl-r>привет", "bck:привет", LINES[1], 5),
    ("<ctrl-r>本", "bck:本", LINES[2], 6),
    ("<ctrl-r>😀", "bck:😀", LINES[3], 7),
    ("<ctrl-r>u\u0308", "bck:u\u0308", LINES[4], 6),
    ("<ctrl-r>т", "bck:т", LINES[1], 10),
    ("<ctrl-r>р<ctrl-r>", "bck:р", LINES[1], 6),
    ("<ctrl-r>мирx<backspace><backspace>", "bck:ми", LINES[1], 12),
    ("<ctrl-r>–<ctrl-w>", "bck:–Süd", LINES[0], 18),
    ("<ctrl-r>есть", "bck?есть", LINES[1], 9),
    (ALL_OLDER + "<ctrl-s>本", "fwd:本", LINES[2], 6),
    (ALL_OLDER + "<ctrl-s>и", "fwd:и", LINES[1], 7),
    ("Zu\u0308<meta-p>", None, LINES[4], None),
    ("Mü<meta-p>", None, LINES[0], None),
    ("мир<meta-p>", None, LINES[1], None),
    ("日本<esc>P", None, LINES[2], None),
    ("😀<meta-p>", None, LINES[3], None),
]


@pytest.mark.parametrize("keys, pattern, line, position", SEARCHES,
                         ids=[row[0].replace(ALL_OLDER, "all older, ") for row in SEARCHES])
def test_a_search(terminal, tmp_path, keys, pattern, line, position):
    (tmp_path / "settings").write_text("bind ^S em-inc-search-next\n")
    shell = start(terminal, variables={"EDITRC": str(tmp_path / "settings")},
                  settings={"IXON": False})
    for each in LINES:
        shell.do("Tavorin.addHistory(%r, 'exec', '')" % each.encode())
    begin(shell, ", None, 'exec'")
    shell.type(keys)
    if pattern is not None:
        shell.wait_for_row(1, pattern)
        shell.wait_for_cursor(*Wrapped("> " + line, 80, 2 + position).cursor)
    shell.wait_for_row(0, "> " + line)
    assert take_line(shell) == line.encode()


# --- Eight bits

def eight_bit_environments():
    return [(charmap, environment) for charmap, (name, _) in EIGHT_BIT.items() for environment in (
        Environment("LC_ALL", {"LC_ALL": name}),
        Environment("LANG", {"LC_ALL": "", "LANG": name}),
        Environment("setlocale, the environment's", {"LC_ALL": name},
                    "locale.setlocale(locale.LC_ALL, '')"),
        Environment("setlocale, another one", {"LC_ALL": "C"},
                    "locale.setlocale(locale.LC_CTYPE, %r)" % name))]


EIGHT_BIT_TEXTS = {"ISO-8859-1": "Müller ¿Qué ø ° ² ³ î ð Î Ð Ø", "ISO-8859-15": "5 €, Œuvre",
                   "KOI8-R": "привет, Ёжик ─│█"}


@pytest.mark.expected_skip
@pytest.mark.parametrize("charmap, environment", eight_bit_environments(),
                         ids=lambda each: getattr(each, "name", each))
class TestEightBits:
    @pytest.fixture
    def shell(self, terminal, locale_folder, charmap, environment):
        return start(terminal, environment, variables={"LOCPATH": locale_folder}, encoding=charmap)

    def test_every_printable_character(self, shell, charmap):
        """But the byte 255."""
        text = bytes(range(0x80, 0xFF)).decode(charmap)
        text = "".join(character for character in text if is_printable(character))
        assert len(text) >= 95
        begin(shell)
        shell.type(text)
        wait_for_line(shell, text)
        assert take_line(shell) == text.encode(charmap)
        shell.read_line()

    def test_a_key_is_a_character(self, shell, charmap):
        text = EIGHT_BIT_TEXTS[charmap]
        begin(shell)
        shell.type(text + "<left><left><backspace>!<ctrl-t>")
        expected = text[:-3] + text[-2] + "!" + text[-1]
        wait_for_line(shell, expected, len(expected) - 1)
        assert take_line(shell) == expected.encode(charmap)

    def test_recalled_and_searched(self, shell, charmap):
        data = EIGHT_BIT_TEXTS[charmap].encode(charmap)
        shell.do("Tavorin.addHistory(%r, 'exec', '')" % data)
        for keys in (b"\x1b[A", b"\x12" + data[2:4], data[:3] + b"\x1bp"):
            begin(shell, ", None, 'exec'")
            shell.paste(keys)
            shell.wait_for_row(0, "> " + EIGHT_BIT_TEXTS[charmap])
            assert take_line(shell) == data

    def test_completed(self, shell, charmap):
        data = EIGHT_BIT_TEXTS[charmap].encode(charmap)
        shell.do(COMPLETER)
        shell.do("answer = %r" % (b"\b" + data))
        begin(shell, ", completer")
        shell.paste(data + b"\t")
        wait_for_line(shell, EIGHT_BIT_TEXTS[charmap][:-1] + EIGHT_BIT_TEXTS[charmap])
        assert take_line(shell) == data[:-1] + data
        completion = shell.next_report("completion")
        assert as_bytes(completion["line"]) == data
        assert completion["position"] == len(data)

    def test_in_a_prompt(self, shell, charmap):
        prompt = EIGHT_BIT_TEXTS[charmap] + "> "
        shell.begin_line(call="Tavorin.readline(%r)" % prompt.encode(charmap))
        shell.type("<ctrl-l>ab<left>")
        Wrapped(prompt + "ab", 80, len(prompt) + 1).wait(shell)
        assert take_line(shell) == b"ab"

    def test_the_byte_255_ends_the_input(self, shell):
        begin(shell)
        shell.paste(b"ab\xff")
        assert shell.outcome() == END_OF_INPUT
        shell.read_line()


# --- The C locale: bytes above 127 are Meta keys

NO_LOCALE = [
    Environment("LC_ALL=C", {"LC_ALL": "C"}),
    Environment("POSIX", {"LC_ALL": "", "LANG": "POSIX"}),
    Environment("no variables", {"LC_ALL": ""}),
    Environment("not installed", {"LC_ALL": "xx_XX.UTF-8"}),
    Environment("no such LANG", {"LC_ALL": "", "LANG": "nonsense"}),
]

META_KEYS = [
    # name, what is typed, the line
    ("Meta-b", b"one two\xe2-", b"one -two"),
    ("Meta-f", b"one two\x01\xe6-", b"one- two"),
    ("Meta-d", b"one two\x01\xe4", b" two"),
    ("Meta-c", b"one\x01\xe3", b"One"),
    ("Meta-u", b"one\x01\xf5", b"ONE"),
    ("Meta-p", b"o\xf0", b"old one"),
    ("Meta-P", b"o\xd0", b"old one"),
    ("Meta-p and Meta-n", b"o\xf0\xee", b"o"),
    ("a count", b"\xb3x", b"xxx"),
    ("a count of two digits", b"\xb12x", b"x" * 12),
]


@pytest.mark.parametrize("typed, line", [row[1:] for row in META_KEYS],
                         ids=[row[0] for row in META_KEYS])
@pytest.mark.parametrize("environment", NO_LOCALE, ids=lambda each: each.name)
def test_without_a_locale_bytes_above_127_are_meta_keys(terminal, environment, typed, line):
    shell = start(terminal, environment)
    shell.do("Tavorin.addHistory('old one', 'exec', '')")
    shell.begin_line(call="Tavorin.readline('> ', None, 'exec')")
    shell.paste(typed)
    assert take_line(shell) == line
    assert not shell.errors


@pytest.mark.parametrize("environment", NO_LOCALE, ids=lambda each: each.name)
def test_without_a_locale_the_byte_255_ends_the_input(terminal, environment):
    shell = start(terminal, environment)
    shell.begin_line()
    shell.paste(b"ab\xff")
    assert shell.outcome() == END_OF_INPUT
    shell.read_line()
    assert not shell.errors


@pytest.mark.parametrize("text", TEXTS.values(), ids=TEXTS.keys())
def test_without_a_locale_what_is_recalled_comes_back(terminal, text):
    shell = start(terminal, NO_LOCALE[0])
    shell.do("Tavorin.addHistory(%r, 'exec', '')" % text.encode())
    shell.begin_line(call="Tavorin.readline('> ', None, 'exec')")
    shell.type("<up>!<enter>")
    assert shell.outcome() == Returned(text + "!")


# --- All characters

def blocks(characters, size):
    return [characters[start:start + size] for start in range(0, len(characters), size)]


def insert_all(shell, text, size):
    """Lines of `size` characters; a line of the longest is still less than 2000 bytes."""
    for line in blocks(text, size):
        shell.begin_line()
        shell.type(line.replace("<", "<lt>") + "<enter>")
        outcome = shell.outcome()
        assert outcome == Returned(line), "from U+%04X on" % ord(line[0])


BASIC = [chr(code) for code in range(0xA0, 0x10000) if not 0xD800 <= code < 0xE000]


@environments
def test_every_printable_character_inserts_itself(terminal, environment):
    shell = start(terminal, environment)
    text = "".join(filter(is_printable, BASIC))
    assert len(text) > 55000
    # Where most codes once ran a command, each has a line of its own.
    insert_all(shell, text[:96], 1)
    insert_all(shell, text, 500)


def test_every_other_code_comes_back(terminal):
    shell = start(terminal)
    controls = "".join(map(chr, range(0x80, 0xA0)))
    insert_all(shell, controls, 1)
    insert_all(shell, controls + "".join(c for c in BASIC if not is_printable(c)), 64)


def test_codes_beyond_the_basic_plane(terminal):
    shell = start(terminal)
    insert_all(shell, "".join(map(chr, range(0x1F300, 0x1F700))), 400)
    insert_all(shell, "".join(map(chr, range(0x10000, 0x110000, 257))), 64)
