"""Counts the instructions that inputs of slow keys take: the same at every run, unlike time.

Usage: cost.py FUZZ_REPLAY INPUT...
"""

import os
import re
import subprocess
import sys
import tempfile

# About a quarter of a second of processor time here.
LIMIT = 1_000_000_000


def instructions(program, path):
    with tempfile.TemporaryDirectory() as folder:
        counts = os.path.join(folder, "counts")
        subprocess.run(["valgrind", "-q", "--tool=callgrind", "--callgrind-out-file=" + counts,
                        program, path], check=True, stdout=subprocess.DEVNULL,
                       env=dict(os.environ, TAVORIN_FUZZ_PATIENCE="300"), start_new_session=True)
        with open(counts) as lines:
            return int(re.search(r"^summary: (\d+)", lines.read(), re.MULTILINE).group(1))


def main():
    program, *paths = sys.argv[1:]
    slow = False
    for path in paths:
        count = instructions(program, path)
        slow = slow or count > LIMIT
        print("%s: %d instructions, at most %d" % (os.path.basename(path), count, LIMIT))
    return 1 if slow or not paths else 0


if __name__ == "__main__":
    sys.exit(main())
