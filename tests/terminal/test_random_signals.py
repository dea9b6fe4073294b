"""SIGINT and SIGTSTP at random instants: each one ends exactly one read, or is the shell's own.

The protocol that makes this exact.  The child reads line after line; before each read it waits to
be told "go", and at its end reports what came of it.  Its own handlers of the two signals report,
and do not raise.  One signal is under way at a time, and it must be accounted for once: by the
exception of the read that it ended, or by the shell's own handler when it arrived outside of a
read (the interpreter may run that handler only when a read has ended).  A round ends with a marker
line of its own, behind which nothing of the round can be left in the terminal's queue.

The seed and the duration come from the environment: TAVORIN_SIGNAL_SEED, TAVORIN_SIGNAL_SECONDS.
"""

import functools
import os
import random
import signal
import time

from keys import key_bytes, split_keys

SECONDS = float(os.environ.get("TAVORIN_SIGNAL_SECONDS", "5"))

MESSAGES = {signal.SIGINT: "Ctrl-C pressed", signal.SIGTSTP: "Ctrl-Z pressed"}

READ_LINES = """
import threading

def completer(key, line, position):
    return "-"

def read_lines():
    while True:
        wait_for_go()
        try:
            line = Tavorin.readline("> ", completer)
        except KeyboardInterrupt as error:
            report("end", line=None, message=str(error))
        except BaseException as error:
            report("end", line=None, message=repr(error))
        else:
            if line == "stop":
                report("end", line=line, message=None)
                return
            report("end", line=line, message=None)

def spin():
    while not stopping.is_set():
        for _ in xrange(1000):
            pass

stopping = threading.Event()
report_signals(signal.SIGINT, signal.SIGTSTP)
"""

# What a round may type besides letters.  All of it leaves the letters typed as they are.
EDITING_KEYS = ["<left><right>", "<ctrl-a><ctrl-e>", "<home><end>", "<meta-b><ctrl-e>",
                "x<backspace>", "<ctrl-left><ctrl-right>", "<ctrl-v>y<backspace>"]


# What may stand at the beginning of a line: the rest of a key whose first byte went to the read that
# the signal ended.
REMAINS = {""} | {key_bytes(key)[start:].decode() for keys in EDITING_KEYS for key in split_keys(keys)
                  for start in range(1, len(key_bytes(key)))} | {"y"}


class Rounds:
    """The test's side of the protocol."""

    def __init__(self, shell, seed):
        self.shell = shell
        self.random = random.Random(seed)
        # Those that are there for good: a signal to a thread that ends is lost.
        self.threads = [int(thread) for thread in os.listdir("/proc/%d/task" % shell.pid)]
        self.reading = False    # told to go, and the end not yet reported
        self.signal = None      # the signal of this round
        self.lines = []         # the lines that came back in this round
        self.ended = 0          # reads that a signal ended
        self.own = 0            # signals that the shell's own handlers took
        self.sent = 0

    def start_read(self):
        """Let the next read begin, once the one before is over and the terminal given back."""
        self.shell.assert_settings_as_before()
        self.reading = True
        self.shell.go()

    def wait_for_editing(self):
        """Wait until the line is being edited, or its read has ended already."""
        self.shell.wait_until(lambda: self.shell.has_report("end") or self.shell.is_editing(),
                              "a line to be edited")

    def take_end(self):
        """Take note of a read's end.  True if a line was it, False if the signal was."""
        end = self.shell.next_report("end")
        self.reading = False
        if end["line"] is not None:
            self.lines.append(end["line"])
            return True
        assert end["message"] == MESSAGES[self.signal]
        self.ended += 1
        return False

    def take_own_signals(self):
        """Take note of what the shell's own handlers have reported."""
        while self.shell.has_report("signal"):
            assert self.shell.next_report("signal")["number"] == self.signal
            self.own += 1

    def pause(self):
        """Nothing for a while that is often shorter than the handling of a key."""
        pause = self.random.choice([0, 0, 0.0001, 0.0005, 0.002, 0.01]) * self.random.random()
        deadline = time.monotonic() + pause
        while time.monotonic() < deadline:
            pass

    def send_signal(self):
        """Send the signal of this round: to the process, or to any one of its threads."""
        self.sent += 1
        if self.random.random() < 0.5:
            self.shell.signal_thread(self.random.choice(self.threads), self.signal)
        else:
            self.shell.signal(self.signal)

    def other_actions(self):
        """What else goes on at random instants of a round."""
        return []

    def type_with_signal(self, keys):
        """Type `keys` one by one, and send the signal before, between or after them."""
        self.signal = self.random.choice(list(MESSAGES))
        actions = [functools.partial(self.shell.type, key) for key in keys]
        for action in [self.send_signal] + self.other_actions():
            actions.insert(self.random.randint(0, len(actions)), action)
        for action in actions:
            action()
            self.pause()

    def settle(self, number):
        """Type a marker line and read on until it has come back; returns the markers typed.

        A signal that was sent before may still end the read in which the marker is typed, and cut
        it in two: the next read then needs another one.
        """
        markers = []
        while True:
            if not self.reading:
                self.start_read()
            self.wait_for_editing()
            if self.shell.has_report("end"):
                self.take_end()
                continue
            markers.append("marker%d%s" % (number, "abcdef"[len(markers)]))
            self.shell.type("<ctrl-u>" + markers[-1] + "<enter>")
            while self.take_end():
                if self.lines[-1] == markers[-1]:
                    return markers
                self.start_read()

    def check_lines(self, typed, markers):
        """Before the last marker there can be the typed line, as far as the signal left it over,
        and an earlier marker that the signal cut in two.

        What was typed before the signal and not yet read is out of reach for the Ctrl-U before the
        marker where the terminal takes that, between two reads; what was typed after it is not.
        """
        leftovers = [line.replace("-", "") for line in self.lines[:-1]]
        letters = "".join(key for key in typed if len(key) == 1)
        allowed = [letters] if "<enter>" in typed else []
        allowed += [letters[:end] + marker for marker in markers[:-1]
                    for end in range(len(letters) + 1)]
        assert len(leftovers) <= ("<enter>" in typed) + len(markers) - 1, (typed, self.lines)
        for line in leftovers:
            parts = [line[len(rest):] for rest in REMAINS if line.startswith(rest)]
            assert any(text.endswith(part) for text in allowed for part in parts), (typed, self.lines)

    def new_keys(self):
        """The keys of a round.

        What a read leaves in the terminal's queue when a signal ends it is for the next one;
        between the two the terminal itself edits, with other keys than the editor.  A line that
        its round ends with Enter is therefore plain.
        """
        letters = [self.random.choice("abcdefghijkl") for _ in range(self.random.randint(0, 8))]
        if self.random.random() < 0.4:
            return letters + ["<enter>"]
        keys = []
        for letter in letters:
            keys += [letter] + self.random.sample(EDITING_KEYS, self.random.randint(0, 1))
        return keys + self.random.choice([[], ["<tab>"]])

    def round(self, number):
        """One signal, and the proof that it did what it should and that nothing is left of it."""
        self.lines = []
        keys = self.new_keys()
        if self.random.random() < 0.95:
            self.start_read()
            if self.random.random() < 0.7:
                self.wait_for_editing()
        else:
            keys = []
        self.type_with_signal(keys)
        markers = self.settle(number)
        self.shell.assert_settings_as_before()
        self.check_lines(keys, markers)
        self.shell.wait_until(self.all_accounted_for, "the signal to be accounted for")
        assert self.sent == self.ended + self.own == number

    def all_accounted_for(self):
        self.take_own_signals()
        return self.ended + self.own >= self.sent


def new_seed():
    seed = int(os.environ.get("TAVORIN_SIGNAL_SEED") or random.SystemRandom().randrange(10 ** 6))
    print("TAVORIN_SIGNAL_SEED=%d" % seed)
    return seed


def run_rounds(rounds, seconds=SECONDS):
    """Rounds until the time is over; at least some, and each kind of ending must have occurred."""
    shell = rounds.shell
    shell.ask("read_lines()")
    deadline = time.monotonic() + seconds
    number = 0
    while time.monotonic() < deadline or number < 50:
        number += 1
        rounds.round(number)
    stop(rounds)
    print("%d signals: %d ended a read, %d were the shell's own"
          % (rounds.sent, rounds.ended, rounds.own))
    assert rounds.ended > 0 and rounds.own > 0
    assert not shell.has_report("signal") and not shell.has_report("end")


def stop(rounds):
    """Let the child leave its loop."""
    rounds.start_read()
    rounds.shell.type("stop<enter>")
    assert rounds.take_end()
    rounds.shell.outcome()


def test_each_signal_ends_one_read(shell):
    shell.do(READ_LINES)
    before = shell.do("signal_masks()")
    run_rounds(Rounds(shell, new_seed()))
    assert shell.do("signal_masks()") == before
    shell.read_line()


def test_each_signal_ends_one_read_beside_a_busy_thread(shell):
    """The kernel gives a signal to any thread that lets it in; only the reading one may act."""
    shell.do(READ_LINES)
    shell.do("spinner = threading.Thread(target=spin)\nspinner.start()")
    try:
        run_rounds(Rounds(shell, new_seed()))
    finally:
        if shell.exit_status is None and not shell.waits_for_answer:
            shell.do("stopping.set()\nspinner.join()")
    shell.read_line()
