"""Counts that do not depend on the machine's speed: system calls, by strace, and instructions, by
callgrind. Each is the difference between runs of different lengths, so what the start costs is not
in it."""

import collections
import os
import re

from works import words

# What a key costs comes out of two runs whose lines are of different lengths, what a line costs out
# of two with lines of one key; in some programs the cost of a key grows with its line. Lines and keys
# in a line:
RUNS = {"short": (2, 20), "long": (2, 60), "few": (2, 1), "many": (10, 1)}
KEYS_MORE = 2 * (60 - 20)
LINES_MORE = 10 - 2


def type_run(session, lines, keys):
    """Type that many lines of that many keys, each key awaited."""
    session.wait_for_prompt()
    for number in range(lines):
        line = words(keys, number)
        session.wait_until_raw()
        for i in range(keys):
            session.press(line[i:i + 1], line[i:i + 1])
        session.enter(line)
    session.finish()


def counts(start, program, wrap, read):
    """For each of the runs what `read` makes of the file that `wrap` has written."""
    found = {}
    for name, (lines, keys) in RUNS.items():
        output = os.path.join(start.folder, "counts")
        session = start.session(program, wrap=wrap(output))
        try:
            type_run(session, lines, keys)
        finally:
            session.close()
        found[name] = read(output)
    return found


def difference(runs, name, less, more):
    return runs[more].get(name, 0) - runs[less].get(name, 0)


def a_key_and_a_line(runs):
    """Two dictionaries: what a key costs and what a line costs besides, by name."""
    key, line = {}, {}
    for name in set().union(*runs.values()):
        key[name] = difference(runs, name, "short", "long") / KEYS_MORE
        line[name] = difference(runs, name, "few", "many") / LINES_MORE - key[name]
    return key, line


# --- System calls

# What the allocator asks for once in many lines, at other places in each run.
ALLOCATOR = ("brk", "mmap", "munmap", "mremap", "madvise")


def strace(output):
    return ["strace", "-f", "-qq", "-o", output]


def read_strace(output):
    """How often each system call was made, from a trace of them all."""
    made = collections.Counter()
    with open(output, errors="replace") as file:
        for line in file:
            # The end of a call during which another thread made one is a line of its own.
            call = re.match(r"\d+ +(\w+)\(", line)
            if call and call[1] not in ALLOCATOR:
                made[call[1]] += 1
    return made


def system_calls(start, program):
    return a_key_and_a_line(counts(start, program, strace, read_strace))


# --- Instructions

def callgrind(output):
    return ["valgrind", "-q", "--tool=callgrind", "--callgrind-out-file=" + output]


def read_callgrind(output):
    """Instructions by the file whose code they are, from callgrind's own format: "ob=" names that
    file for the costs that follow; "calls=" is followed by costs of what was called."""
    spent = collections.Counter()
    names = {}
    owner, skip = "", False
    with open(output, errors="replace") as file:
        for line in file:
            if line.startswith("ob="):
                number, name = re.match(r"ob=\((\d+)\) ?(.*)", line).groups()
                owner = names.setdefault(number, os.path.basename(name.strip()))
            elif line.startswith("cob="):
                number, name = re.match(r"cob=\((\d+)\) ?(.*)", line).groups()
                names.setdefault(number, os.path.basename(name.strip()))
            elif line.startswith("calls="):
                skip = True
            elif line[0].isdigit() or line[0] in "+-*":
                if not skip:
                    spent[owner] += int(line.split()[1])
                skip = False
    return spent


def instructions(start, program):
    return a_key_and_a_line(counts(start, program, callgrind, read_callgrind))
