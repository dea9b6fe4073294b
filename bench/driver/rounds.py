"""Has the programs do the works in turn. In each round every program has one turn, soon after the
others, so what else the machine does meanwhile meets them all alike. After so many rounds all
programs are ended, checked, and started again."""

import gc
import os
import random
import struct
import time

import counting
from figures import quantile
from session import Wrong


def keep_steady():
    """Has this process, and all that it starts, run on one processor, and the processors wait for
    work without going to sleep, for as long as this process lives. Otherwise what a key costs is
    mostly how soundly a processor sleeps that has to be woken for it, on virtual machines above
    all. Returns what could be done, in words."""
    one = max(os.sched_getaffinity(0))
    os.sched_setaffinity(0, {one})
    said = "all on processor %d" % one
    try:
        latency = os.open("/dev/cpu_dma_latency", os.O_WRONLY)
        os.write(latency, struct.pack("i", 0))  # microseconds; holds until it is closed
    except OSError as problem:
        return said + "; the processors may sleep (%s)" % problem.strerror
    return said + ", with none of them asleep"


# How long to wait after a slow program, which has used up its share of the processor and filled the
# caches: whoever comes next would pay for it.
REST = 0.005


def shuffled(programs, dice):
    """The order of a round: slow programs first, the others as the dice will have it."""
    others = [program for program in programs if not program.slow]
    dice.shuffle(others)
    return [program for program in programs if program.slow] + others


class Rounds:
    def __init__(self, start, samples, tell):
        self.start = start
        self.samples = samples
        self.tell = tell
        # The same in each run, so that two of them can be compared.
        self.dice = random.Random(1)

    def add(self, program, measured):
        for figure, value in measured.items():
            self.samples.add(figure, program.name, value)

    def guarded(self, work, program, action):
        """Does something with a program. If it goes wrong, the program is out of this work."""
        if self.samples.is_wrong(work.name, program.name):
            return None
        try:
            return action()
        except (Wrong, OSError) as problem:
            self.samples.set_wrong(work.name, program.name, str(problem))
            self.samples.drop(work.figures, program.name)
            return None

    def begun(self, work, program, sessions):
        """Starts a session and has it ready for the turns."""
        session = sessions[program.name] = self.start.session(program, log=work.log,
                                                              locale=work.locale)
        if work.keep_sessions:
            session.wait_for_prompt()
            self.add(program, work.begin(session, program))

    def one_pass(self, work, programs, turns):
        sessions = {}
        collected = {}

        def turn(program, which):
            for figure, value in work.turn(sessions[program.name], program, which).items():
                if isinstance(value, list):
                    collected.setdefault((figure, program.name), []).extend(value)
                else:
                    self.samples.add(figure, program.name, value)

        try:
            for program in shuffled(programs, self.dice):
                self.guarded(work, program, lambda: self.begun(work, program, sessions))
                if not work.keep_sessions:
                    self.guarded(work, program, lambda: turn(program, 0))
                    time.sleep(REST if program.slow else 0)
            for which in range(turns if work.keep_sessions else 0):
                for program in shuffled(programs, self.dice):
                    self.guarded(work, program, lambda: turn(program, which))
                    time.sleep(REST if program.slow else 0)
            for program in programs:
                self.guarded(work, program, lambda: sessions[program.name].finish())
        finally:
            for session in sessions.values():
                session.close()
        for (figure, name), values in collected.items():
            if not self.samples.is_wrong(work.name, name):
                self.samples.add(figure, name, quantile(values, 0.99))

    def do(self, work, programs, passes, turns):
        programs = [program for program in programs
                    if program.missing is None and work.takes(program)]
        for number in range(passes):
            self.tell("%s: %d of %d" % (work.name, number + 1, passes))
            gc.collect()
            gc.disable()
            try:
                self.one_pass(work, programs, turns)
            finally:
                gc.enable()


# --- Shells that nobody types at

def switches(session):
    """How often the program was given a processor."""
    total = 0
    for task in os.listdir("/proc/%d/task" % session.pid):
        status = session.fields("task/%s/status" % task)
        total += status["voluntary_ctxt_switches"] + status["nonvoluntary_ctxt_switches"]
    return total


class Idle:
    """Shells at their prompts: how often they wake up, and what each further one takes."""
    name = "idle"
    figures = ("idle_wakeups", "idle_cpu", "private")
    log = False
    # The last of these shares with the others all that it can.
    shells = 3

    def do(self, rounds, programs, seconds):
        programs = [program for program in programs if program.missing is None]
        opened = {}
        rounds.tell("idle: %d s" % seconds)
        try:
            for program in programs:
                rounds.guarded(self, program, lambda: self.open(rounds.start, program, opened))
            before = {name: (switches(shells[0]), shells[0].processor_time())
                      for name, shells in opened.items() if len(shells) == self.shells}
            time.sleep(seconds)
            for program in programs:
                if program.name in before:
                    rounds.guarded(self, program, lambda: rounds.add(
                        program, self.look(opened[program.name], *before[program.name])))
        finally:
            for shells in opened.values():
                for session in shells:
                    session.close()

    def open(self, start, program, opened):
        shells = opened[program.name] = []
        for number in range(self.shells):
            # One with a log to watch, where there can be one; the memory is that of one without.
            session = start.session(program, log=program.takes_log and number == 0)
            shells.append(session)
            session.wait_for_prompt()
            session.type_line(b"show version")
            session.wait_until_asleep()

    def look(self, shells, woken, used):
        measured = {"idle_wakeups": switches(shells[0]) - woken,
                    "idle_cpu": shells[0].processor_time() - used}
        memory = shells[-1].fields("smaps_rollup")
        measured["private"] = memory["Private_Clean"] + memory["Private_Dirty"]
        for session in shells:
            session.finish()
        return measured


# --- Counts

class Counts:
    """System calls or instructions, in all and by name; `details` keeps the latter. Those of a slow
    program depend on its timing, so that their differences mean nothing."""
    log = False

    def __init__(self, name, count):
        self.name = name
        self.figures = ("%s_key" % name, "%s_line" % name)
        self.count = count
        self.details = {}

    def do(self, rounds, programs, times):
        programs = [program for program in programs if program.missing is None and not program.slow]
        for _ in range(times):
            for program in programs:
                rounds.tell("%s: %s" % (self.name, program.title))
                rounds.guarded(self, program, lambda: self.one(rounds, program))

    def one(self, rounds, program):
        key, line = self.count(rounds.start, program)
        self.details[program.name] = (key, line)
        rounds.add(program, dict(zip(self.figures, (sum(key.values()), sum(line.values())))))


def system_calls():
    return Counts("calls", counting.system_calls)


def instructions():
    return Counts("instructions", counting.instructions)
