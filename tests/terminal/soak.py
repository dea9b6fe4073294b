"""A soak: lines by the thousand at the real module, with history, completion, interrupts and log
events at once, while memory, descriptors and threads are watched.

`test_soak.py` does a short one in every test run; `scripts/soak` does one as long as wanted, by
running this file.  The lines go in batches.  Nothing in them is a key that means something else to
the terminal between two reads, so that a batch can be typed at once.
"""

import argparse
import dataclasses
import os
import pathlib
import random
import signal
import sys
import tempfile
import time

from harness import Shell
from processes import open_descriptors, resident_bytes, thread_count

CHILD = r"""
NAMES = {'show ver': 'sion ', 'host': '\b\b\b\bhostname ', 'gone': '\b' * 9}

def completer(key, line, position):
    if key == '?':
        sys.stdout.write('\nhelp\n')
        sys.stdout.flush()
        return None
    if line == 'raise':
        raise ValueError('no completion')
    return NAMES.get(line.split('|')[-1], '')

logged = [0]
def on_log(lines, size):
    logged[0] += lines
    sys.stdout.write('\r\n%d new\r\n' % lines)
    sys.stdout.flush()
    return 1

Tavorin.newHistoryMode('exec', '')
Tavorin.newHistoryMode('config', 'exec')

def read_line(mode, parent):
    try:
        line = Tavorin.readline(mode + '> ', completer, mode, parent)
    except (KeyboardInterrupt, ValueError) as error:
        return str(error)
    Tavorin.addHistory(line, mode, parent)
    return line

def read_batch(count, mode, parent):
    return [read_line(mode, parent) for _ in range(count)]
"""

BATCH = 20
MODES = [("exec", ""), ("config", "exec")]

# How much memory a line may leave behind beyond its bytes: what malloc adds to each block.
BLOCK = 32
SLACK = 1024 * 1024

# Until then the history fills and all buffers grow.
WARM_UP = 2000


@dataclasses.dataclass
class Found:
    """What a soak has done and seen."""
    lines: int = 0
    bytes: int = 0          # of the lines that came back
    recalled: int = 0
    completed: int = 0
    interrupted: int = 0
    logged: int = 0
    seconds: float = 0
    memory: tuple = None    # at the end of the warm-up and now
    unfreed: int = 0        # what the lines since the warm-up may have left behind
    descriptors: set = dataclasses.field(default_factory=set)
    threads: set = dataclasses.field(default_factory=set)

    def __str__(self):
        grown = self.memory[1] - self.memory[0]
        return ("%d lines of %d bytes in %.0f s: %d recalled, %d completed, %d interrupts, %d lines "
                "logged; memory grown by %d KiB to %d KiB, %d KiB of it in lines that are not freed; "
                "%s descriptors, %s threads"
                % (self.lines, self.bytes, self.seconds, self.recalled, self.completed,
                   self.interrupted, self.logged, grown // 1024, self.memory[1] // 1024,
                   self.unfreed // 1024, sorted(self.descriptors), sorted(self.threads)))

    def problems(self, memory_counts=True):
        """What is wrong with it, in words."""
        problems = []
        if len(self.descriptors) != 1:
            problems.append("the number of open descriptors changed")
        if len(self.threads) != 1:
            problems.append("the number of threads changed")
        if memory_counts and self.memory[1] - self.memory[0] > self.unfreed + SLACK:
            problems.append("more memory is in use than lines were left unfreed")
        return problems


class Soak:
    def __init__(self, shell, log, seed):
        """`log` is the file that the module watches."""
        self.shell = shell
        self.log = log
        self.dice = random.Random(seed)
        self.found = Found()
        self.newest = {"exec": None, "config": None}    # what Up recalls in each mode
        shell.do(CHILD)
        log.write_text("")
        shell.do("Tavorin.loggingSyncEnabledIs(%r, on_log)" % str(log))

    def new_line(self, mode):
        """Keys, and the line or the message that must come of them."""
        number = self.found.lines
        kind = self.dice.random()
        if kind < 0.2 and self.newest[mode] is not None:
            self.found.recalled += 1
            return "<up>+", self.newest[mode] + "+"
        if kind < 0.5:
            self.found.completed += 1
            return self.dice.choice([
                ("%d|show ver<tab>" % number, "%d|show version " % number),
                ("%d|host<tab>" % number, "%d|hostname " % number),
                ("xxxxx|gone<tab>%d" % number, "x%d" % number),
                ("%d|what?" % number, "%d|what" % number),
                ("raise<tab>", "no completion"),
            ])
        text = "%d " % number + "a line of some length " * self.dice.choice([0, 1, 1, 2])
        return text, text

    def note(self, mode, line):
        """The child records each line that a read returned."""
        if line == "no completion":
            return
        self.newest["config"] = line
        if mode == "exec":
            self.newest["exec"] = line

    def append_to_log(self):
        count = self.dice.randint(0, 3)
        with open(self.log, "a") as log:
            log.write("a message\n" * count)
        self.found.logged += count

    def batch(self):
        """Lines that are typed at once, while messages are logged; and an interrupt at the end."""
        mode, parent = self.dice.choice(MODES)
        self.shell.ask("read_batch(%d, %r, %r)" % (BATCH + 1, mode, parent))
        expected = []
        for _ in range(BATCH):
            keys, line = self.new_line(mode)
            self.note(mode, line)
            expected.append(line)
            self.found.lines += 1
            self.found.bytes += len(line)
            # The exception of a completion has ended its read already.
            self.shell.type(keys if line == "no completion" else keys + "<enter>")
            if self.dice.random() < 0.1:
                self.append_to_log()
        self.shell.wait_until(lambda: self.shell.is_editing() and self.shell.has_taken_all_keys(),
                              "the lines to be read")
        self.interrupt()
        answer = self.shell.outcome().value
        if answer != expected + ["Ctrl-C pressed"]:
            self.shell.fail("%r came back for %r" % (answer, expected))
        self.shell.assert_settings_as_before()
        self.shell.forget()

    def interrupt(self):
        self.shell.signal(signal.SIGINT)
        self.found.interrupted += 1

    def measure(self):
        """While the child is idle."""
        pid = self.shell.pid
        self.found.descriptors.add(open_descriptors(pid))
        self.found.threads.add(thread_count(pid))
        return resident_bytes(pid)

    def run(self, lines, seconds, tell=lambda found: None):
        """Batches until so many lines were read and so much time is over."""
        begin = time.monotonic()
        start = at_warm_up = None
        warm_up = min(WARM_UP, lines // 2)
        while self.found.lines < lines or self.found.seconds < seconds:
            self.batch()
            now = self.measure()
            if start is None and self.found.lines >= warm_up:
                start, at_warm_up = now, dataclasses.replace(self.found)
            if start is not None:
                self.found.memory = (start, now)
                self.found.unfreed = (self.found.bytes - at_warm_up.bytes
                                      + BLOCK * (self.found.lines - at_warm_up.lines))
                tell(self.found)
            self.found.seconds = time.monotonic() - begin
        logged = self.shell.do("[Tavorin.loggingSyncEnabledIs('', None), logged[0]][1]")
        if logged > self.found.logged:
            self.shell.fail("%d lines were logged, and %d reported" % (self.found.logged, logged))
        return self.found


def tell_each_minute():
    """Prints what was found up to now, once a minute."""
    told = [time.monotonic()]

    def tell(found):
        if time.monotonic() - told[0] >= 60:
            told[0] = time.monotonic()
            print(found, flush=True)
    return tell


def main():
    parser = argparse.ArgumentParser(prog="soak", description="Goes on until both are reached.")
    parser.add_argument("--lines", type=int, default=200000, help="how many (200000)")
    parser.add_argument("--minutes", type=float, default=60, help="how long (60)")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(10 ** 6))
    options = parser.parse_args()
    print("--seed %d" % options.seed, flush=True)
    with tempfile.TemporaryDirectory() as folder:
        home = pathlib.Path(folder)
        shell = Shell(home)
        try:
            found = Soak(shell, home / "log", options.seed).run(
                options.lines, options.minutes * 60, tell_each_minute())
            problems = found.problems()
        finally:
            left = shell.close()
    print(found)
    for problem in problems + left:
        print("wrong: " + problem)
    return 1 if problems + left else 0


if __name__ == "__main__":
    sys.exit(main())
