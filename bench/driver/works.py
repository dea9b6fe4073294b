"""What the programs are put through. A work types into a session and returns figures by name; it
knows nothing of how often it is done, or by whom.

Times are in nanoseconds, memory is in kilobytes.
"""

import os
import re
import time

from session import Wrong

TYPED_KEYS = 60
LETTERS = "abcdefghijklmnopqrstuvwxyz"
# Latin, Cyrillic and CJK, of two and of three bytes. Every fifth has two columns, so that 60 of them fit
# into a row beside the prompt.
TEXT = "äжßщ漢éыøю字ñфłд日üцçя本żшåб語"
UP = b"\x1b[A"


def keys_of(alphabet, count, start=0):
    """`count` keys of which no two neighbours are the same."""
    return [alphabet[(start + i) % len(alphabet)].encode() for i in range(count)]


def words(count, start=0):
    return b"".join(keys_of(LETTERS, count, start))


def middle(values):
    return sorted(values)[len(values) // 2]


class Work:
    """`figures` are all that it may measure. `begin` prepares a session, and may measure, too."""
    figures = ()
    locale = "C"
    log = False
    keep_sessions = True

    def __init__(self, name):
        self.name = name

    def takes(self, program):
        return not self.log or program.takes_log

    def begin(self, session, program):
        return {}

    def turn(self, session, program, number):
        raise NotImplementedError


class Typed(Work):
    """Keys typed one at a time, each awaited on the screen."""
    figures = ("typed_p50", "typed_p99", "typed_cpu")
    alphabet = LETTERS

    def begin(self, session, program):
        session.type_line(b"".join(keys_of(self.alphabet, TYPED_KEYS)))
        return {}

    def turn(self, session, program, number):
        keys = keys_of(self.alphabet, TYPED_KEYS // 4 if program.slow else TYPED_KEYS, number)
        before = session.processor_time()
        times = [session.press(key, key) for key in keys]
        used = session.processor_time() - before
        session.enter(b"".join(keys))
        # The 99th percentile of all keys of all rounds is found later, from every one of them.
        return dict(zip(self.figures, (middle(times), times, used / len(keys))))


class TypedText(Typed):
    """The same with characters of several bytes."""
    figures = ("typed_text_p50", "typed_text_p99", "typed_text_cpu")
    alphabet = TEXT
    locale = "C.UTF-8"


class Pasted(Work):
    """Lines at full speed, as a paste or a script sends them."""
    figures = ("pasted_cpu", "pasted_time")
    alphabet = LETTERS
    lines, length = 100, 60

    def turn(self, session, program, number):
        lines = [b"%04d %s" % (i, b"".join(keys_of(self.alphabet, self.length - 6, i + number)))
                 for i in range(self.lines // 10 if program.slow else self.lines)]
        keys = self.length * len(lines)
        before = session.processor_time()
        start = time.perf_counter_ns()
        session.send(b"".join(line + b"\r" for line in lines[:-1]) + lines[-1])
        for line in lines[:-1]:
            session.note(line)
        session.enter(lines[-1])
        took = time.perf_counter_ns() - start
        used = session.processor_time() - before
        return dict(zip(self.figures, (used / keys, took / keys)))


class PastedText(Pasted):
    """The same with characters of several bytes."""
    figures = ("pasted_text_cpu", "pasted_text_time")
    alphabet = TEXT
    locale = "C.UTF-8"


class Edited(Work):
    """Keys typed into the middle of a line of several rows, and taken out again."""
    figures = ("edited_p50", "edited_cpu")
    length, keys = 300, 40

    def turn(self, session, program, number):
        line = words(self.length, number)
        before, after = line[:self.length // 2], line[self.length // 2:]
        inserted = (b"QXZWJ" * self.keys)[:self.keys // 4 if program.slow else self.keys]
        session.wait_until_asleep()
        session.send(line + b"\x01" + b"\x06" * len(before))
        # The first has waited for all that was sent before.
        session.press(b"V", b"V")
        used = session.processor_time()
        times = [session.press(inserted[i:i + 1], inserted[i:i + 1])
                 for i in range(len(inserted))]
        for _ in range(len(inserted)):
            times.append(session.press_for_any_change(b"\x7f"))
        used = session.processor_time() - used
        session.enter(before + b"V" + after)
        return {"edited_p50": middle(times), "edited_cpu": used / len(times)}


TOOK = re.compile(rb"took (\d+) ns for (\d+) lines")


class Lines(Work):
    """What a work with so many recorded lines needs."""
    kinds = ()

    def __init__(self, name, lines):
        super().__init__(name)
        self.lines = lines
        self.figures = tuple("%s_%d" % (kind, lines) for kind in self.kinds)

    def takes(self, program):
        return not program.slow or self.lines <= 1000

    def named(self, **values):
        return {"%s_%d" % (kind, self.lines): value for kind, value in values.items()}

    def told(self, session, command, count):
        """Has the program do a command on lines; returns what each took."""
        session.send(command)
        found = TOOK.search(session.enter(command))
        if not found or int(found[2]) != count:
            raise Wrong("%r was answered with %r" % (command, found and found[0]))
        return int(found[1]) / count

    def record(self, session):
        took = self.told(session, b"#record %d" % self.lines, self.lines)
        session.recorded += [b"%s %06d of the history" % (b"line" if i else b"zq", i)
                             for i in range(self.lines)]
        return took


class Recorded(Lines):
    """Recording lines, and listing all. Each time adds to what was recorded before."""
    kinds = ("record", "list")

    def begin(self, session, program):
        self.turn(session, program, 0)
        return {}

    def turn(self, session, program, number):
        record = self.record(session)
        # The command itself is recorded, too.
        listing = self.told(session, b"#list", len(session.recorded) + 1)
        return self.named(record=record, list=listing)


class History(Lines):
    """Up and Ctrl-R with so many lines."""
    kinds = ("up_p50", "up_cpu", "deep_up_cpu", "search_cpu", "search_time")
    presses = 50
    deepest = 10000

    def begin(self, session, program):
        self.record(session)
        # A first press may have to make ready what later ones use.
        session.press_for_any_change(UP)
        session.press_for_any_change(UP)
        session.enter(session.recorded[-2])
        return {}

    def up(self, session, program):
        presses = self.presses // 5 if program.slow else self.presses
        before = session.processor_time()
        times = [session.press_for_any_change(UP) for _ in range(presses)]
        used = session.processor_time() - before
        session.enter(session.recorded[-presses])
        return self.named(up_p50=middle(times), up_cpu=used / presses)

    def deep_up(self, session, program):
        """So far that the way from the newest line to the one that is wanted counts."""
        presses = min(self.lines, self.deepest)
        before = session.processor_time()
        session.send(UP * presses)
        session.enter(session.recorded[-presses])
        return self.named(deep_up_cpu=(session.processor_time() - before) / presses)

    def search(self, session, program):
        """For what is in the oldest line that was recorded only."""
        wanted = session.recorded[-1 - session.recorded[::-1].index(b"zq 000000 of the history")]
        before = session.processor_time()
        start = time.perf_counter_ns()
        session.send(b"\x12zq")
        session.enter(wanted, program.search_end)
        took = time.perf_counter_ns() - start
        return self.named(search_time=took, search_cpu=session.processor_time() - before)

    def turn(self, session, program, number):
        measured = {}
        # What is found is recorded again, and would be found at once from then on.
        if number == 0:
            measured.update(self.search(session, program))
            measured.update(self.deep_up(session, program))
        measured.update(self.up(session, program))
        return measured


class Completed(Work):
    """Tab, until what it inserts is on the screen."""
    figures = ("completion_p50", "completion_cpu")
    lines = 5

    def turn(self, session, program, number):
        times, used = [], 0
        for _ in range(self.lines):
            session.send(b"show ve")
            session.press(b"r", b"r")
            before = session.processor_time()
            times.append(session.press(b"\t", b"sion"))
            used += session.processor_time() - before
            session.enter(b"show version ")
        return {"completion_p50": middle(times), "completion_cpu": used / self.lines}


class Logged(Work):
    """A log message above a half-typed line, until the line is there again."""
    figures = ("log_p50", "log_cpu")
    log = True
    messages = 20

    def turn(self, session, program, number):
        session.send(b"hal")
        session.press(b"f", b"f")
        times = []
        before = session.processor_time()
        with open(os.path.join(session.folder, "log"), "ab", buffering=0) as log:
            for message in range(self.messages):
                text = b"message %d" % message
                start = time.perf_counter_ns()
                log.write(text + b"\n")
                session.wait_for(text)
                session.wait_for(b"half")
                times.append(time.perf_counter_ns() - start)
                session.wait_until_asleep()
        used = session.processor_time() - before
        session.enter(b"half")
        return {"log_p50": middle(times), "log_cpu": used / self.messages}


class Started(Work):
    """From nothing to the first prompt. Every round needs a session of its own."""
    figures = ("start_time", "start_cpu", "resident")
    keep_sessions = False

    def turn(self, session, program, number):
        session.wait_for_prompt()
        took = time.perf_counter_ns() - session.started
        used = session.processor_time()
        session.type_line(b"show version")
        session.wait_until_asleep()
        return {"start_time": took, "start_cpu": used,
                "resident": session.fields("status")["VmRSS"]}
