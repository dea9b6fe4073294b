"""The results as a page of Markdown."""

import datetime
import os
import platform
import re
import subprocess

from figures import Ratio, Target, judge
from programs import FLOOR, OURS, USUAL


def history_figures(lines):
    count = "{:,}".format(lines)
    return [("record_%d" % lines, "recording a line, of %s" % count, "ns"),
            ("list_%d" % lines, "listing a line, of %s" % count, "ns"),
            ("up_p50_%d" % lines, "Up, %s lines: p50" % count, "µs"),
            ("up_cpu_%d" % lines, "Up, %s lines: processor time" % count, "µs"),
            ("deep_up_cpu_%d" % lines, "Up, far into %s lines: processor time" % count, "µs"),
            ("search_time_%d" % lines, "Ctrl-R to the oldest of %s lines" % count, "ms"),
            ("search_cpu_%d" % lines, "Ctrl-R, %s lines: processor time" % count, "ms")]


# Figure, what it is, and the unit that it is printed in.
FIGURES = [
    ("typed_p50", "typed key to echo: p50", "µs"),
    ("typed_p99", "typed key to echo: p99", "µs"),
    ("typed_cpu", "typed key: processor time", "µs"),
    ("calls_key", "typed key: system calls", "calls"),
    ("instructions_key", "typed key: instructions", "count"),
    ("calls_line", "line besides its keys: system calls", "calls"),
    ("instructions_line", "line besides its keys: instructions", "count"),
    ("pasted_cpu", "pasted key: processor time", "µs"),
    ("pasted_time", "pasted key: time", "µs"),
    ("typed_text_p50", "typed character of UTF-8 to echo: p50", "µs"),
    ("typed_text_p99", "typed character of UTF-8 to echo: p99", "µs"),
    ("typed_text_cpu", "typed character of UTF-8: processor time", "µs"),
    ("pasted_text_cpu", "pasted character of UTF-8: processor time", "µs"),
    ("pasted_text_time", "pasted character of UTF-8: time", "µs"),
    ("edited_p50", "key in the middle of a long line: p50", "µs"),
    ("edited_cpu", "key in the middle: processor time", "µs"),
    *history_figures(1000),
    *history_figures(100000),
    ("completion_p50", "completion round trip: p50", "µs"),
    ("completion_cpu", "completion: processor time", "µs"),
    ("log_p50", "log message, line drawn again: p50", "µs"),
    ("log_cpu", "log message: processor time", "µs"),
    ("start_time", "start to first prompt", "ms"),
    ("start_cpu", "start: processor time", "ms"),
    ("resident", "resident memory", "kB"),
    ("private", "private memory of a further idle shell", "kB"),
    ("idle_wakeups", "idle: wake-ups", "calls"),
    ("idle_cpu", "idle: processor time", "µs"),
]

TARGETS = [
    Target("instructions_key", FLOOR, 1.02),
    Target("typed_cpu", FLOOR, 1.00, True),
    Target("pasted_cpu", FLOOR, 1.00, True),
    Target("edited_cpu", FLOOR, 1.00, True),
    Target("calls_key", FLOOR, 1.00),
    Target("calls_line", FLOOR, 1.00),
    Target("typed_p50", USUAL, 0.85),
    Target("typed_cpu", USUAL, 0.85),
    Target("pasted_cpu", USUAL, 1.00),
    Target("typed_text_cpu", USUAL, 1.00),
    Target("pasted_text_cpu", USUAL, 1.00),
    Target("completion_p50", USUAL, 1.00),
    Target("record_1000", USUAL, 0.60),
    Target("record_100000", USUAL, 0.60),
    Target("start_time", USUAL, 0.90),
    Target("resident", USUAL, 1.00),
    Target("idle_wakeups", None, 0),
]

DIVISORS = {"ns": 1, "µs": 1e3, "ms": 1e6, "kB": 1, "calls": 1, "count": 1}


def amount(value, unit):
    value /= DIVISORS[unit]
    if unit in ("kB", "count"):
        return "{:,.0f}".format(value)
    if unit == "calls":
        return "%.2f" % value
    return "%.*f" % (0 if value >= 1000 else 1 if value >= 10 else 2, value)


def ratio_text(found):
    if isinstance(found, Ratio):
        spread = " (%.3f to %.3f)" % (found.low, found.high) if found.low < found.high else ""
        return "%.3f%s" % (found.value, spread)
    return "–" if found is None else "%g" % found


def table(head, rows):
    lines = ["| %s |" % " | ".join(cells) for cells in [head, ["---"] * len(head)] + rows]
    return "\n".join(lines) + "\n"


# --- The machine

def output_of(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True).stdout.strip()
    except OSError:
        return ""


def processor():
    with open("/proc/cpuinfo") as file:
        found = re.search(r"^model name\s*: (.*)", file.read(), re.M)
    return found[1] if found else platform.machine()


def memory():
    with open("/proc/meminfo") as file:
        return "%.1f GB" % (int(re.search(r"MemTotal:\s+(\d+)", file.read())[1]) / 1e6)


def version_of_package(name):
    found = output_of("dpkg-query", "-W", "-f", "${Package} ${Version}\n", name)
    return found.splitlines()[0] if found else name + " (no package)"


def machine(python2, root):
    packages = ["libedit2", "libreadline8", "libc6", "python3-prompt-toolkit", "g++", "strace",
                "valgrind"]
    python = output_of(python2, "-c", "import sys; print(sys.version.replace('\\n', ' '))")
    return ["%s, %d processors, %s of memory" % (processor(), os.cpu_count(), memory()),
            "Linux %s, %s" % (platform.release(),
                              platform.freedesktop_os_release().get("PRETTY_NAME", "")),
            ", ".join(version_of_package(name) for name in packages),
            "Python " + python,
            "the project at " + (output_of("git", "-C", root, "describe", "--always", "--dirty")
                                 or "no commit")]


# --- The page

class Report:
    def __init__(self, samples, programs, works, details):
        self.samples = samples
        self.programs = programs
        self.works = {figure: work for work in works for figure in work.figures}
        self.details = details

    def cell(self, figure, program, unit):
        work = self.works.get(figure)
        if work is not None and self.samples.is_wrong(work.name, program.name):
            return "wrong"
        value = self.samples.median(figure, program.name)
        return "–" if value is None else amount(value, unit)

    def rows(self):
        """The figures that any program has, or should have."""
        return [(figure, title, unit) for figure, title, unit in FIGURES
                if figure in self.samples.values or
                any(self.cell(figure, program, unit) == "wrong" for program in self.programs)]

    def medians(self):
        head = ["", "unit"] + [program.title for program in self.programs]
        return table(head, [
            [title, "" if unit in ("calls", "count") else unit]
            + [self.cell(figure, program, unit) for program in self.programs]
            for figure, title, unit in self.rows()])

    def ratios(self):
        peers = [program for program in self.programs if program.name != OURS]
        return table([""] + [program.title for program in peers], [
            [title] + [ratio_text(self.samples.ratio(figure, OURS, peer.name)) for peer in peers]
            for figure, title, _ in self.rows()])

    def title_of(self, name):
        return next(program.title for program in self.programs if program.name == name)

    def targets(self):
        titles = {figure: title for figure, title, _ in FIGURES}
        rows = []
        for target in TARGETS:
            found, verdict = judge(target, self.samples, OURS)
            rows.append([titles[target.figure],
                         self.title_of(target.peer) if target.peer else "itself",
                         "%g" % target.most, ratio_text(found), verdict])
        return table(["figure", "against", "at most", "measured", ""], rows)

    def breakdown(self, name, which):
        """What `name` (calls, instructions) consists of, for a key (0) or a line (1)."""
        details = self.details.get(name, {})
        shown = [program for program in self.programs if program.name in details]
        parts = set()
        for program in shown:
            parts |= {part for part, count in details[program.name][which].items()
                      if abs(count) >= 0.005}
        largest = sorted(parts, key=lambda part: -max(
            details[program.name][which].get(part, 0) for program in shown))
        unit = "calls" if name == "calls" else "count"
        return table([""] + [program.title for program in shown], [
            [part or "(unknown)"]
            + [amount(details[program.name][which].get(part, 0), unit) for program in shown]
            for part in largest[:14]])

    def remarks(self):
        found = ["- %s: not measured, %s" % (program.title, program.missing)
                 for program in self.programs if program.missing]
        found += ["- %s: WRONG in %s: %s" % (self.title_of(name), work, why)
                  for (work, name), why in sorted(self.samples.wrong.items())]
        return "\n".join(found) + "\n" if found else ""

    def page(self, description, how):
        parts = ["# Measurements\n",
                 "Written by `%s` on %s. [benchmarks.md](benchmarks.md) explains it.\n"
                 % (how, datetime.date.today().isoformat()),
                 "\n".join("- " + line for line in description) + "\n",
                 self.remarks(),
                 "## Targets\n", self.targets(),
                 "## Medians\n", self.medians(),
                 "## Tavorin in proportion\n",
                 "Tavorin's median by that of each peer, and the middle half of the rounds.\n",
                 self.ratios()]
        for name, title in (("calls", "System calls"), ("instructions", "Instructions")):
            if self.details.get(name):
                parts += ["## %s of a typed key\n" % title, self.breakdown(name, 0),
                          "## %s of a line besides its keys\n" % title, self.breakdown(name, 1)]
        return "\n".join(part for part in parts if part)
