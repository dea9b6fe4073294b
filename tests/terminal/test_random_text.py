"""Random text of any language, typed with random editing: the line and the screen are what a model
of the keys says.

Each line has a seed of its own, which a failure tells.  The seeds are always the same ones.
TAVORIN_TEXTS says how many lines there are, a quarter of them for each test, and TAVORIN_TEXT_SEED
which seed comes first.
"""

import functools
import os
import random

import pytest

from characters import is_printable, width
from harness import Returned, as_bytes
from line_model import Model, editing_key
from screen import Wrapped

TEXTS = int(os.environ.get("TAVORIN_TEXTS", "4000"))
SEED = int(os.environ.get("TAVORIN_TEXT_SEED", "0"))

PROMPTS = ["> ", "größe> ", "日本> ", "z\u0308> "]

# What is taller than the screen is another matter.
ROWS = 20


@functools.lru_cache(None)
def printable():
    """The characters from U+00A0 to U+FFFF, and some beyond."""
    codes = list(range(0xA0, 0xD800)) + list(range(0xE000, 0x10000)) + list(range(0x1F300, 0x1FA00))
    return [chr(code) for code in codes if is_printable(chr(code))]


@functools.lru_cache(None)
def marks():
    return [character for character in printable() if width(character) == 0]


def some(dice, characters, most=6):
    return "".join(dice.choice(characters) for _ in range(dice.randint(1, most)))


WORDS = ["größe ", "naïve", "été ", "привет ", "Ёж", "κόσμος ", "日本語", "漢字 ", "한국어 ", "show ",
         "a–b", "«x»", "10 €", "ÿ", "ø", "°", "²³", "îð ", "😀", "👩\u200d🚒", "🇨🇭 ", "e\u0301",
         "Zu\u0308rich ", "漢\u3099", "\u1112\u1161\u11ab", "नमस्ते ", "\u0301", "\u200b", "\u00a0",
         "\u3000", "\u0085", "\u0378", "\U0001fffe", "  ", "a", "word ", "1.2.3.4 "]


def random_text(dice):
    kind = dice.random()
    if kind < 0.6:
        return dice.choice(WORDS)
    if kind < 0.8:
        return some(dice, printable())
    if kind < 0.9:
        return dice.choice("aeo漢") + some(dice, marks(), 2)
    return some(dice, "漢字日本語😀ab")


# Bytes that are no character, with what tells so behind them.
KEPT = ["\udcc3x", "\udce2\udc82 ", "\udcf0\udc9f\udc98-", "\udca9", "\udcfe", "\udced\udca0\udc80"]


def key(model, dice, kept):
    if dice.random() < 0.55:
        return dice.choice(KEPT) if kept and dice.random() < 0.1 else random_text(dice)
    return editing_key(model, dice)


def press_keys(model, dice, columns, kept):
    """A few keys, which the model has taken."""
    keys = []
    for _ in range(dice.randint(1, 6)):
        keys.append(key(model, dice, kept))
        model.press(keys[-1])
    if len(Wrapped(" " * 10 + model.text, columns).rows) > ROWS:
        keys.append("<ctrl-u>")
        model.press("<ctrl-u>")
    return "".join(keys)


def edit_a_line(shell, seed, check, kept=False):
    """Edit a line; `check` is called with the prompt and the model from time to time."""
    dice = random.Random(seed)
    model = Model()
    prompt = dice.choice(PROMPTS)
    shell.begin_line(call="Tavorin.readline(%r, completer)" % prompt.encode())
    shell.type("<ctrl-l>")
    try:
        for _ in range(dice.randint(1, 8)):
            shell.type(press_keys(model, dice, shell.screen.columns, kept))
            check(prompt, model)
        shell.type("<enter>")
        outcome = shell.outcome()
        assert isinstance(outcome, Returned)
        assert as_bytes(outcome.value) == as_bytes(model.text)
    except BaseException:
        print("TAVORIN_TEXT_SEED=%d failed, with the model at %r, %d" % (seed, model.text, model.cursor))
        raise
    shell.assert_settings_as_before()


def seeds():
    return range(SEED, SEED + TEXTS // 4)


@pytest.fixture
def start(terminal):
    def start(columns):
        shell = terminal(columns=columns, variables={"LC_ALL": "", "LANG": "C.UTF-8"})
        shell.do("def completer(key, line, position):\n    return 'done '")
        return shell
    return start


def test_the_line_that_comes_back(start):
    """Bytes that are no characters among them."""
    shell = start(20)
    for seed in seeds():
        edit_a_line(shell, seed, lambda prompt, model: None, kept=True)
        shell.forget()


@pytest.mark.parametrize("columns", [13, 20, 21, 80])
def test_what_the_screen_shows_meanwhile(start, columns):
    def check(prompt, model):
        Wrapped(prompt + model.text, columns, len(prompt) + model.cursor,
                start=len(prompt)).wait(shell)
    shell = start(columns)
    for seed in seeds():
        edit_a_line(shell, seed, check)
        shell.forget()
