"""Random calls of the twelve functions, right and wrong, with lines read in between: results,
exceptions and the contents of history are what a small model says, and nothing else happens.

The model was written from what is documented.  Two rules of the shell's are kept: `resetInput` once
after each set-up, and callbacks that stay alive.

Each round of calls has a seed of its own and begins with a new process.  The seeds are always the
same ones; TAVORIN_CALLS_SEED and TAVORIN_CALLS_SECONDS choose others, from this seed on and for as
long.
"""

import dataclasses
import os
import random
import time

from harness import Returned

SEED = os.environ.get("TAVORIN_CALLS_SEED")
SECONDS = os.environ.get("TAVORIN_CALLS_SECONDS")

CHILD = """
def completer(key, line, position):
    return 'completed'

def on_log(first, second):
    return 1

def call(function, *arguments):
    try:
        return ['returned', function(*arguments)]
    except Exception as error:
        return [type(error).__name__, error.args[0] if type(error) is KeyError else str(error)]
"""


@dataclasses.dataclass(frozen=True)
class Argument:
    """An argument as Python source, with what the module gets from it or why it does not."""
    source: str
    value: object = None
    error: tuple = None


def wrong(source, text, kind="TypeError"):
    return Argument(source, error=(kind, text))


def as_string(value):
    """A string argument; `value` are its bytes."""
    return Argument(repr(value)[1:], value)


KEYS = [as_string(key) for key in (b"exec", b"config", b"if", b"router", b"exec ", b"", b"\xff\xfe",
                                   b"caf\xc3\xa9", b"k" * 300, b"\n")] + [Argument("u'exec'", b"exec")]
LINES = [as_string(line) for line in (
    b"show", b"show version", b"a", b"b", b"", b" ", b"\t\n\v\f\r ", b"caf\xc3\xa9", b"\xff", b"\xa0",
    b"x" * 5000, b"two\nlines", b"\x01\x02", b"show ")] + [Argument("u'show'", b"show")]
WRONG_STRINGS = [
    ("None", "must be string, not None"),
    ("1", "must be string, not int"),
    ("1.5", "must be string, not float"),
    ("True", "must be string, not bool"),
    ("[]", "must be string, not list"),
    ("'a\\0b'", "must be string without null bytes, not str"),
]
NO_ASCII = wrong("u'\\xe9'", "'ascii' codec can't encode character u'\\xe9' in position 0: "
                 "ordinal not in range(128)", "UnicodeEncodeError")

LIMITS = [Argument(str(limit), limit % 2 ** 32) for limit in (
    0, 1, 2, 3, 10, 1024, -1, 2 ** 31, 2 ** 32, 2 ** 32 + 3, 2 ** 63, -2 ** 70)] + [Argument("True", 1)]
WRONG_LIMITS = [wrong(source, "an integer is required") for source in ("None", "'3'", "[]")] + [
    wrong("1.5", "integer argument expected, got float")]

WIDTHS = [Argument(str(width)) for width in (0, 1, 80, -1, 132, 2 ** 31 - 1, -2 ** 31)]
WRONG_WIDTHS = [wrong(source, "an integer is required") for source in ("None", "'80'", "[]")] + [
    wrong("1.5", "integer argument expected, got float"),
    wrong("2**31", "signed integer is greater than maximum", "OverflowError"),
    wrong("-2**31 - 1", "signed integer is less than minimum", "OverflowError"),
    wrong("2**63", "Python int too large to convert to C long", "OverflowError")]


class Model:
    """The documented state of the module."""

    def __init__(self):
        self.parents = {}       # of the modes that can be found again, by key
        self.mode = None        # the current one: a key, or an object for one that has none
        self.lines = []         # (line, mode), the oldest first
        self.limit = 1024
        self.is_set_up = False
        self.was_reset = False
        self.bindings = False

    def chain(self, mode):
        """The mode and those above it."""
        while mode is not None:
            yield mode
            mode = self.parents.get(mode)

    def make_mode(self, key, parent):
        """The mode of this key, or None where it would have to be made below an unknown one."""
        if key in self.parents:
            return key
        if parent and parent not in self.parents:
            return None
        if not key:
            keyless = object()
            self.parents[keyless] = parent or None
            return keyless
        self.parents[key] = parent or None
        return key

    def seen_from(self, mode):
        """The lines that a mode recalls; all of them without one."""
        above = list(self.chain(mode))
        return [line for line, owner in self.lines
                if mode is None or owner is None or owner in above]

    def shrink(self):
        if len(self.lines) > self.limit:
            del self.lines[:len(self.lines) - self.limit]

    def set_up(self):
        if not self.is_set_up:
            self.bindings = True
        self.is_set_up = True

    # Each of these takes a valid call, and returns what the call returns or raises.

    def newHistoryMode(self, key, parent):
        if self.make_mode(key, parent) is None:
            return ["KeyError", parent]
        return ["returned", None]

    def addHistory(self, line, key, parent):
        if not line.strip(b" \t\n\v\f\r"):
            return ["returned", True]
        mode = self.make_mode(key, parent)
        if mode is None:
            return ["returned", False]
        self.mode = mode
        if self.limit and not (self.lines and self.lines[-1][0] == line):
            self.lines.append((line, mode))
            self.shrink()
        return ["returned", True]

    def history(self, key=None):
        return ["returned", self.seen_from(key if key in self.parents else None)]

    def clearHistory(self):
        self.lines = []
        return ["returned", None]

    def historyLimitIs(self, limit):
        self.limit = limit
        self.shrink()
        return ["returned", None]

    def resetInput(self, *ignored):
        self.is_set_up = False
        self.was_reset = True
        self.lines = []
        return ["returned", None]

    def keyBindingsEnabled(self):
        return ["returned", self.bindings]

    def keyBindingsEnabledIs(self, enabled):
        self.set_up()
        self.bindings = enabled
        return ["returned", None]

    def TerminalWidthIs(self, width):
        return ["returned", None]

    def loggingSyncEnabledIs(self, filename, callback=None):
        return ["returned", None]


def as_answer(value):
    """What the model says, in the form in which the child's answers come."""
    if isinstance(value, bytes):
        return value.decode("utf-8", "surrogateescape")
    return [as_answer(item) for item in value] if isinstance(value, list) else value


class Calls:
    """Makes random calls at a shell, and compares."""

    def __init__(self, shell, dice, folder):
        self.shell = shell
        self.dice = dice
        self.model = Model()
        self.files = [as_string(str(folder / name).encode()) for name in ("log", "absent", "a/b")]
        (folder / "log").write_text("")

    # --- arguments

    def string(self, function, position, choices):
        """A string, or now and then something else."""
        if self.dice.random() < 0.9:
            return self.dice.choice(choices)
        if self.dice.random() < 0.2:
            return NO_ASCII
        source, text = self.dice.choice(WRONG_STRINGS)
        return wrong(source, "%s() argument %d %s" % (function, position, text))

    def strings(self, function, *choices):
        return [self.string(function, number + 1, each) for number, each in enumerate(choices)]

    def integer(self, right, mistaken):
        return [self.dice.choice(right if self.dice.random() < 0.85 else mistaken)]

    # --- calls

    def compare(self, function, arguments, expected):
        source = ", ".join(["Tavorin." + function] + [argument.source for argument in arguments])
        answer = self.shell.do("call(%s)" % source)
        assert answer == as_answer(expected), source

    def make(self, function, arguments):
        """Call with arguments of the right number."""
        errors = [argument.error for argument in arguments if argument.error]
        expected = (list(errors[0]) if errors else
                    getattr(self.model, function)(*[argument.value for argument in arguments]))
        self.compare(function, arguments, expected)

    def new_mode(self):
        self.make("newHistoryMode", self.strings("newHistoryMode", KEYS, KEYS))

    def add(self):
        self.make("addHistory", self.strings("addHistory", LINES, KEYS, KEYS))

    def list_lines(self):
        self.make("history", self.strings("history", *[KEYS] * self.dice.randint(0, 1)))

    def clear(self):
        self.make("clearHistory", [])

    def limit(self):
        self.make("historyLimitIs", self.integer(LIMITS, WRONG_LIMITS))

    def width(self):
        self.make("TerminalWidthIs", self.integer(WIDTHS, WRONG_WIDTHS))

    def bindings(self):
        self.make("keyBindingsEnabled", [])

    def set_bindings(self):
        not_bool = [wrong(source, "Expected a bool") for source in ("None", "1", "0", "'True'", "[]")]
        self.make("keyBindingsEnabledIs",
                  self.integer([Argument("True", True), Argument("False", False)], not_bool))

    def reset(self):
        """In any way, but once after each set-up."""
        if self.model.is_set_up:
            self.make("resetInput", [Argument("1")] * self.dice.randint(0, 3))

    def logging(self):
        callbacks = [Argument("on_log"), Argument("None"), Argument("completer")]
        arguments = self.strings("loggingSyncEnabledIs", self.files)
        self.make("loggingSyncEnabledIs",
                  arguments + [self.dice.choice(callbacks)] * self.dice.randint(0, 1))

    COUNTS = [
        ("readline", "takes at least 1 argument (0 given)", 0),
        ("readline", "takes at most 4 arguments (5 given)", 5),
        ("simpleReadline", "takes exactly 1 argument (0 given)", 0),
        ("simpleReadline", "takes exactly 1 argument (2 given)", 2),
        ("history", "takes at most 1 argument (2 given)", 2),
        ("newHistoryMode", "takes exactly 2 arguments (1 given)", 1),
        ("newHistoryMode", "takes exactly 2 arguments (3 given)", 3),
        ("addHistory", "takes exactly 3 arguments (2 given)", 2),
        ("addHistory", "takes exactly 3 arguments (4 given)", 4),
        ("historyLimitIs", "takes exactly 1 argument (0 given)", 0),
        ("keyBindingsEnabledIs", "takes exactly 1 argument (2 given)", 2),
        ("loggingSyncEnabledIs", "takes at least 1 argument (0 given)", 0),
        ("loggingSyncEnabledIs", "takes at most 2 arguments (3 given)", 3),
        ("clearHistory", "takes no arguments (1 given)", 1),
        ("keyBindingsEnabled", "takes no arguments (2 given)", 2),
    ]

    def wrong_count(self):
        function, text, count = self.dice.choice(self.COUNTS)
        self.compare(function, [Argument("'exec'")] * count,
                     ["TypeError", "%s() %s" % (function, text)])

    def wrong_readline(self):
        """Wrong arguments are found before anything is read or set up."""
        arguments = [Argument("'> '"), Argument("completer"), Argument("'exec'"), Argument("''")]
        position = self.dice.choice([0, 2, 3])
        source, text = self.dice.choice(WRONG_STRINGS)
        arguments[position] = wrong(source, "readline() argument %d %s" % (position + 1, text))
        self.compare("readline", arguments, ["TypeError", arguments[position].error[1]])

    # --- lines

    def newest_to_recall(self):
        """The line that Up shows first, or None where there is none or not a plain one."""
        lines = self.model.seen_from(self.model.mode)
        if lines and len(lines[-1]) < 1000 and all(32 <= byte < 127 for byte in lines[-1]):
            return lines[-1].decode()
        return None

    def read(self):
        key, parent = self.dice.choice(KEYS), self.dice.choice(KEYS)
        arguments = [[], [key], [key, parent]][self.dice.randrange(3)]
        self.model.set_up()
        if arguments:
            self.model.mode = self.model.make_mode(key.value, parent.value if arguments[1:] else None)
        self.read_by("Tavorin.readline, '> ', completer", arguments,
                     "completed" if self.model.bindings else "\t")

    def read_simply(self):
        """Between a reset and the next set-up there is no input.  Before the first one, it is open."""
        if self.model.is_set_up:
            self.read_by("Tavorin.simpleReadline, '> '", [], None)
        elif self.model.was_reset:
            self.compare("simpleReadline", [Argument("'> '")],
                         ["EOFError", "simpleReadline returned NULL"])

    def read_by(self, call, arguments, completion):
        typed = self.dice.choice(["abc", "", "two words"])
        recalled = self.newest_to_recall()
        if recalled is not None and self.dice.random() < 0.5:
            typed, keys = recalled, "<up>"
        elif completion and self.dice.random() < 0.5:
            typed, keys = typed + completion, typed + "<tab>"
        else:
            keys = typed
        self.shell.ask("call(%s)" % ", ".join([call] + [each.source for each in arguments]))
        self.shell.wait_until(self.shell.is_editing, "a line to be edited")
        self.shell.type(keys + "<enter>")
        outcome = self.shell.outcome()
        assert outcome == Returned(["returned", typed]), (call, arguments, keys)
        self.shell.assert_settings_as_before()

    def run(self, count):
        ways = [self.new_mode] * 3 + [self.add] * 8 + [self.list_lines] * 4 + [self.read] * 3 + [
            self.clear, self.limit, self.width, self.bindings, self.set_bindings, self.reset,
            self.logging, self.wrong_count, self.wrong_readline, self.read_simply]
        for _ in range(count):
            self.dice.choice(ways)()
            # Whatever it was, the lines are all there.
            self.compare("history", [], self.model.history())
        self.shell.read_line()


def rounds():
    """The seeds of rounds."""
    if SEED is None and SECONDS is None:
        yield from range(35)
        return
    first = seed = int(SEED or 0)
    deadline = time.monotonic() + float(SECONDS or 5)
    while time.monotonic() < deadline or seed < first + 3:
        yield seed
        seed += 1
    print("%d rounds from TAVORIN_CALLS_SEED=%d on" % (seed - first, first))


def test_every_call_does_what_is_documented(terminal, tmp_path):
    for seed in rounds():
        folder = tmp_path / ("round%d" % seed)
        folder.mkdir()
        shell = terminal()
        shell.do(CHILD)
        try:
            Calls(shell, random.Random(seed), folder).run(200)
        except BaseException:
            print("TAVORIN_CALLS_SEED=%d failed" % seed)
            raise
        assert not shell.close()
