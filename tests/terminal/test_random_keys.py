"""Random keys at the real module: whatever is typed, the process lives, the read ends in a way that
is written down, the terminal is given back, and the next line is an ordinary one.

Two tests of that kind.  One types any bytes at all and judges what must hold whatever they mean; the
other types keys whose meaning a small model knows, and judges the line and the screen as well.

Each bout has a seed of its own, which a failure tells together with the bytes; a run that begins
with that seed begins with that bout.  The seeds are always the same ones, and those of faults that
once were found: a change must not fail for a fault that was there before.  TAVORIN_KEYS_SEED and
TAVORIN_KEYS_SECONDS choose others, from this seed on and for as long.
"""

import os
import random
import signal
import time

import pytest

from harness import Raised, Returned
from keys import key_bytes
from line_model import Model, editing_key
from screen import Wrapped

SEED = os.environ.get("TAVORIN_KEYS_SEED")
SECONDS = os.environ.get("TAVORIN_KEYS_SECONDS")

CHILD = r"""
import locale
import random

locale.setlocale(locale.LC_ALL, '')
dice = random.Random()
ANSWERS = ['word ', 'w', 'two words', '', '\b', '\b\b\bxyz', '\b' * 2000, None, '\x01\x1b\x7f',
           'caf\xc3\xa9', '\xff\xfe', 'line\nend\r', 'x' * 300, '\xe6\xbc\xa2' * 5, '\b\xc3']

def completer(key, line, position):
    if dice.random() < 0.1:
        raise ValueError('no completion')
    return dice.choice(ANSWERS)

def read(seed):
    dice.seed(seed)
    return Tavorin.readline('> ', completer)

# The driver turns Ctrl-C, Ctrl-Z and Ctrl-\ into signals, which find no read when they are typed
# between two.
report_signals(signal.SIGINT, signal.SIGTSTP, signal.SIGQUIT)
"""

HISTORY = ["show version", "show interfaces", "x" * 79, "y" * 1024, "z" * 3000, "a b c d e f",
           "caf\\xc3\\xa9", "\\xff\\xfe undecodable", "\\xe6\\xbc\\xa2" * 30, "tab\\tbed", "\\x01\\x1b\\x7f",
           "newest"]

# Where keys mean more than to insert themselves.
EDITING = [key_bytes(keys) for keys in (
    "<up>", "<down>", "<left>", "<right>", "<home>", "<end>", "<insert>", "<delete>", "<backspace>",
    "<ctrl-left>", "<ctrl-right>", "<tab>", "?", "<ctrl-p>", "<ctrl-n>", "<ctrl-a>", "<ctrl-e>",
    "<ctrl-b>", "<ctrl-f>", "<ctrl-h>", "<ctrl-k>", "<ctrl-u>", "<ctrl-w>", "<ctrl-y>", "<ctrl-t>",
    "<ctrl-l>", "<ctrl-_>", "<ctrl-@>", "<ctrl-g>", "<ctrl-r>", "<ctrl-x>", "<ctrl-x><ctrl-x>",
    "<ctrl-o>", "<ctrl-]>", "<ctrl-^>", "<meta-p>", "<meta-n>", "<meta-b>", "<meta-f>", "<meta-d>",
    "<meta-c>", "<meta-u>", "<meta-l>", "<meta-w>", "<meta-y>", "<meta-ctrl-h>", "<esc><lt>",
    "<meta-backspace>", "<esc>", "<esc>[", "<esc>O", "<esc>[1;", "<esc>[1;5", "<esc>[3",
    "<ctrl-r>show<esc>", "<ctrl-r>x<ctrl-r><ctrl-r>", "<ctrl-r>ne<ctrl-w><ctrl-g>",
    "<ctrl-r>q<backspace><enter>", "<ctrl-r><ctrl-w>", "<ctrl-r><ctrl-r>", "<ctrl-s>a<ctrl-q>",
    "<ctrl-@><ctrl-a><meta-w><ctrl-y>", "<up><up><up><down>", "<page-up>", "<page-down>", "<f5>",
    "<alt-left>", "<alt-right>", "<shift-left>", "<shift-right>", "<meta-t>", "<meta-.>",
    "<esc>[200~", "<esc>[201~", "<esc>[200~a?<tab><esc>[201~", "<esc>[1;99999999999999999999C",
)]

# The driver's own: interrupt, suspend, quit, end of file, stop and start, quote, reprint, erase a
# word, discard, and the end of a line.
SPECIAL = [b"\x03", b"\x1a", b"\x1c", b"\x04", b"\x13", b"\x11", b"\x16", b"\x12", b"\x17", b"\x0f",
           b"\r", b"\n"]

CAUSES = {
    ("KeyboardInterrupt", "Ctrl-C pressed"): b"\x03",
    ("KeyboardInterrupt", "Ctrl-Z pressed"): b"\x1a",
    ("EOFError", "readline returned NULL"): b"\x04\xff",
    ("ValueError", "no completion"): b"\t?",
}


# The line twice.  Over and over, it would soon be longer than anyone has the patience for.
DOUBLING = key_bytes("<ctrl-u><ctrl-y><ctrl-y>")


def random_keys(dice):
    """The bytes of one key, or of a few that belong together."""
    kind = dice.random()
    if kind < 0.25:
        return dice.choice([b"word ", b"a", b"z", b" ", b"show ", b"-_.", b"\"'\\", b"x" * 70])
    if kind < 0.40:
        return bytes([dice.randrange(256)])
    if kind < 0.45:
        return b"\x1b" + bytes([dice.randrange(256)])
    if kind < 0.49:
        return b"\x16" + bytes([dice.randrange(256)])
    if kind < 0.53:
        return b"\x1b%d" % dice.randrange(1, 60) + dice.choice(EDITING + [b"r"])
    if kind < 0.55:
        return dice.choice(SPECIAL)
    if kind < 0.56:
        return DOUBLING
    if kind < 0.59:
        return dice.choice(EDITING) * dice.randint(2, 30)
    return dice.choice(EDITING)


def random_chunks(dice):
    """The bytes of a bout in the pieces in which they arrive."""
    pieces = [random_keys(dice) for _ in range(dice.randint(1, 60))]
    data = b"".join(pieces)
    if dice.random() < 0.3:
        return [data]
    if dice.random() < 0.5:
        return pieces
    size = dice.choice([1, 2, 3, 7, 20])
    return [data[start:start + size] for start in range(0, len(data), size)]


class Typist:
    """Types bouts at a shell, and knows when the shell has taken all of it."""

    def __init__(self, shell):
        self.shell = shell
        self.typed = b""        # since the latest bout began
        self.ends = 0
        self.kinds = set()

    def start_read(self, seed):
        self.shell.assert_settings_as_before()
        self.shell.ask("read(%d)" % seed)
        self.shell.wait_until(lambda: self.has_ended() or self.shell.is_editing(),
                              "a line to be edited")

    def has_ended(self):
        return self.shell.has_answer()

    def paste(self, data):
        self.typed += data
        self.shell.paste(data)

    def wait_until_taken(self):
        """Wait until the read has ended, or waits for a key and none is left."""
        # A Ctrl-S among the keys has stopped all output.  The first may be quoted by a Ctrl-V.
        self.paste(b"\x11\x11")
        self.shell.wait_until(lambda: self.has_ended() or self.shell.has_taken_all_keys(),
                              "the keys to be taken")

    def take_end(self):
        """The outcome of the read that has ended: a line, or an exception with a cause."""
        outcome = self.shell.outcome()
        self.ends += 1
        if isinstance(outcome, Raised):
            kind = (outcome.type, outcome.message)
            assert kind in CAUSES, outcome
            assert any(byte in self.typed for byte in CAUSES[kind]), outcome
            self.kinds.add(kind)
        else:
            assert isinstance(outcome, Returned) and isinstance(outcome.value, str)
            self.kinds.add(None)
        return outcome

    def read_on(self, seed):
        """Start reads until one has taken the last key and is still going on."""
        self.wait_until_taken()
        while self.has_ended():
            self.take_end()
            self.start_read(seed)
            self.wait_until_taken()

    def end_read(self, dice):
        """End the read; a key for that may be taken by what came before, such as Ctrl-V."""
        if dice.random() < 0.3:
            self.typed += b"\x03"
            self.shell.signal(signal.SIGINT)
            assert self.take_end() == Raised("KeyboardInterrupt", "Ctrl-C pressed")
            return
        key = dice.choice([b"\x03", b"\r", b"\n"])
        for _ in range(4):
            self.paste(key)
            self.shell.wait_until(lambda: self.has_ended() or self.shell.has_taken_all_keys(),
                                  "the key to be taken")
            if self.has_ended():
                break
        outcome = self.take_end()
        if key == b"\x03":
            assert outcome == Raised("KeyboardInterrupt", "Ctrl-C pressed")
        else:
            assert isinstance(outcome, Returned)

    def bout(self, seed):
        dice = random.Random(seed)
        self.typed = b""
        self.start_read(seed)
        for chunk in random_chunks(dice):
            if self.has_ended():
                self.take_end()
                self.start_read(seed)
            if dice.random() < 0.03:
                self.shell.resize(dice.randint(2, 50), dice.randint(2, 200))
            self.paste(chunk)
            if dice.random() < 0.1:
                self.wait_until_taken()
        self.read_on(seed)
        self.end_read(dice)
        self.shell.assert_settings_as_before()
        self.check_a_plain_line(seed)

    def check_a_plain_line(self, seed):
        line = "plain line %d" % seed
        self.start_read(seed)
        self.shell.type(line + "<enter>")
        assert self.shell.outcome() == Returned(line)
        self.shell.assert_settings_as_before()


def bouts(count, found=()):
    """The seeds of bouts: `count` of them and those `found` to fail once, unless others are asked
    for."""
    if SEED is None and SECONDS is None:
        yield from found
        yield from range(count)
        return
    first = seed = int(SEED or 0)
    deadline = time.monotonic() + float(SECONDS or 3)
    while time.monotonic() < deadline or seed < first + 5:
        yield seed
        seed += 1
    print("%d bouts from TAVORIN_KEYS_SEED=%d on" % (seed - first, first))


LOCALES = pytest.mark.parametrize("locale", ["C", "C.UTF-8"])


@LOCALES
def test_any_bytes(terminal, locale):
    shell = terminal(locale=locale)
    shell.do(CHILD)
    shell.do("[Tavorin.addHistory(line, 'exec', '') for line in [%s]]"
             % ", ".join('"%s"' % line for line in HISTORY))
    typist = Typist(shell)
    for seed in bouts(200):
        try:
            typist.bout(seed)
        except BaseException:
            print("TAVORIN_KEYS_SEED=%d failed, having typed %r" % (seed, typist.typed))
            raise
    print("%d reads, which ended in %s" % (typist.ends, sorted(map(str, typist.kinds))))


# --- Keys that a model knows

def known_key(model, dice):
    """A key that the model knows, more often one that adds text."""
    if dice.random() < 0.55:
        return dice.choice(["word ", "another ", "a", "b", "c", " ", "  ", "0123456789" * 3])
    return editing_key(model, dice)


class TestKnownKeys:
    """Random editing by keys whose meaning is plain."""

    # What is taller than the screen is another matter.
    ROWS = 20

    def press_keys(self, model, dice, columns):
        """A few keys, which the model has taken."""
        keys = []
        for _ in range(dice.randint(1, 6)):
            keys.append(known_key(model, dice))
            model.press(keys[-1])
        if len(model.text) > self.ROWS * columns:
            keys.append("<ctrl-u>")
            model.press("<ctrl-u>")
        return "".join(keys)

    def bout(self, shell, seed, check):
        """Edit a line; `check` is called with the model from time to time."""
        dice = random.Random(seed)
        model = Model()
        shell.begin_line(call="Tavorin.readline('> ', completer)")
        shell.type("<ctrl-l>")
        try:
            for _ in range(dice.randint(1, 12)):
                shell.type(self.press_keys(model, dice, shell.screen.columns))
                check(model)
            shell.type("<enter>")
            assert shell.outcome() == Returned(model.text)
        except BaseException:
            print("TAVORIN_KEYS_SEED=%d failed, with the model at %r, %d"
                  % (seed, model.text, model.cursor))
            raise
        shell.assert_settings_as_before()

    @pytest.fixture(params=[20, 80])
    def shell(self, terminal, request):
        shell = terminal(columns=request.param)
        shell.do("def completer(key, line, position):\n    return 'done '")
        return shell

    def test_the_line_that_comes_back(self, shell):
        for seed in bouts(1000):
            self.bout(shell, seed, check=lambda model: None)

    def test_what_the_screen_shows_meanwhile(self, shell):
        def check(model):
            Wrapped("> " + model.text, shell.screen.columns, 2 + model.cursor).wait(shell)
        for seed in bouts(400, found=[883514]):
            self.bout(shell, seed, check)
