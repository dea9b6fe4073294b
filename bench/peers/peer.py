"""The shell that the peers in Python have in common, for Python 2.7 and 3.

It does what line_reader.cc does: writes each line that it read to a file, and obeys "#record N" and
"#list", telling what processor time they took.
"""

import sys
import time

# Of the process, in seconds.
processor_time = getattr(time, "process_time", None) or time.clock


def history_lines(count):
    """What "#record" records: the oldest is the only one with "zq" in it."""
    return ["%s %06d of the history" % ("line" if i else "zq", i) for i in range(count)]


def report(start, count):
    took = (processor_time() - start) * 1e9
    sys.stdout.write("took %d ns for %d lines\n" % (took, count))
    sys.stdout.flush()


def record_lines(count, record_all):
    lines = history_lines(count)
    start = processor_time()
    record_all(lines)
    report(start, count)


def list_lines(listing):
    start = processor_time()
    lines = listing()
    report(start, len(lines))


def obey(line, record_all, listing):
    if line.startswith("#record "):
        record_lines(int(line[8:]), record_all)
    elif line == "#list":
        list_lines(listing)


def serve(read, keep, record_all, listing):
    """Read lines with `read(prompt)` until it raises EOFError. `keep(line)` records one that was
    typed, and is None where `read` does so by itself; `record_all(lines)` records many, and has the
    loop in it so that nothing but the recording is measured."""
    lines = open(sys.argv[1], "w", 1 << 20)
    number = 0
    while True:
        try:
            line = read("%d> " % number)
        except EOFError:
            break
        lines.write(line + "\n")
        if keep is not None:
            keep(line)
        if line.startswith("#"):
            obey(line, record_all, listing)
        number += 1
    lines.close()
