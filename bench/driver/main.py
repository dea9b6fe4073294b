"""Measures the module and its peers on the same keys, in turn, and writes what came out.

bench/run starts it, after everything is installed and built.
"""

import argparse
import os
import sys
import time

import programs as known
import works
from figures import Samples
from report import Report, machine
from rounds import Idle, Rounds, instructions, keep_steady, system_calls

# How often a work is done: passes with new processes, and rounds in each; for the others seconds or
# times. Quick, and in full.
AMOUNTS = {
    "typed": ((2, 6), (10, 24)),
    "pasted": ((2, 4), (10, 20)),
    "typed-text": ((2, 6), (10, 24)),
    "pasted-text": ((2, 4), (10, 20)),
    "edited": ((2, 4), (10, 12)),
    "record-1000": ((2, 4), (6, 20)),
    "record-100000": ((1, 2), (5, 3)),
    "history-1000": ((2, 3), (8, 6)),
    "history-100000": ((1, 2), (5, 6)),
    "completion": ((2, 4), (10, 20)),
    "log": ((2, 4), (10, 12)),
    "start": ((8, 1), (80, 1)),
    "idle": ((2,), (10,)),
    "calls": ((1,), (1,)),
    "instructions": ((1,), (2,)),
}


def all_works():
    typing = [works.Typed("typed"), works.Pasted("pasted"),
              works.TypedText("typed-text"), works.PastedText("pasted-text"),
              works.Edited("edited"),
              works.Recorded("record-1000", 1000), works.Recorded("record-100000", 100000),
              works.History("history-1000", 1000), works.History("history-100000", 100000),
              works.Completed("completion"), works.Logged("log"), works.Started("start")]
    return typing + [Idle(), system_calls(), instructions()]


def do_work(work, rounds, programs, quick):
    amounts = AMOUNTS[work.name][0 if quick else 1]
    if isinstance(work, works.Work):
        rounds.do(work, programs, *amounts)
        return
    if quick and work.name == "instructions":
        programs = [p for p in programs if p.name in (known.FLOOR, known.OURS)]
    work.do(rounds, programs, *amounts)


def measure(chosen, programs, quick, tell):
    samples = Samples()
    start = known.Start()
    rounds = Rounds(start, samples, tell)
    try:
        for work in chosen:
            do_work(work, rounds, programs, quick)
    finally:
        start.close()
    return samples


def arguments():
    parser = argparse.ArgumentParser(prog="bench/run", description=__doc__.splitlines()[0])
    parser.add_argument("--quick", action="store_true", help="few rounds, to try things")
    parser.add_argument("--only", action="append", metavar="WORK", choices=list(AMOUNTS),
                        help="only this, of: " + " ".join(AMOUNTS) + "; may be given repeatedly")
    parser.add_argument("--output", metavar="FILE", help="where the results go; "
                        "build/bench/measurements.md if it is not given")
    return parser.parse_args()


def how_called(options):
    words = ["bench/run"] + (["--quick"] if options.quick else [])
    return " ".join(words + ["--only " + name for name in options.only or []])


def main():
    options = arguments()
    root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    build = os.path.join(root, "build")
    python2 = os.environ["TAVORIN_PYTHON"]
    programs = known.all_programs(root, build, python2, sys.executable,
                                  os.environ.get("TAVORIN_LIBRARIES", ""))
    chosen = [work for work in all_works() if not options.only or work.name in options.only]

    began, load, steady = time.monotonic(), os.getloadavg()[0], keep_steady()
    samples = measure(chosen, programs, options.quick,
                      lambda text: print("bench/run: " + text, file=sys.stderr))
    description = machine(python2, root)
    description.append(steady)
    description.append("%.0f s; the machine's load was %.1f before and %.1f after"
                       % (time.monotonic() - began, load, os.getloadavg()[0]))
    details = {work.name: work.details for work in chosen if hasattr(work, "details")}
    page = Report(samples, programs, chosen, details).page(description, how_called(options))

    output = options.output or os.path.join(build, "bench", "measurements.md")
    with open(output, "w") as file:
        file.write(page)
    print(page)
    ours_wrong = [work for work, name in samples.wrong if name == known.OURS]
    return 1 if ours_wrong else 0


if __name__ == "__main__":
    sys.exit(main())
