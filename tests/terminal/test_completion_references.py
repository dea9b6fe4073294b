"""A hundred thousand completions of each kind: every object has the references that it had before."""

import os

import pytest

from harness import PATIENCE

COUNT = int(os.environ.get("TAVORIN_COMPLETIONS", "100000"))

# The child reads until all completions are done, and tells how the references have changed.  It
# says every now and then how far it is, so that the test never types more than the terminal's
# queue holds.
CHILD = """
import gc

class Problem(Exception):
    pass

called = 0

def completer(key, line, position):
    global called
    called += 1
    if called %% 500 == 0:
        report("progress", called=called)
    return answer(line)

def read_on(count):
    while called < count:
        try:
            Tavorin.readline("> ", completer)
        except (Problem, TypeError):
            pass

def references():
    gc.collect()
    return dict((name, sys.getrefcount(thing)) for name, thing in (
        ("completer", completer), ("answer", answer), ("result", result), ("problem", problem),
        ("None", None), ("Problem", Problem), ("TypeError", TypeError), ("int", int), ("str", str)))

def objects():
    gc.collect()
    return len(gc.get_objects())

def measure(count):
    before, objects_before = references(), objects()
    read_on(count)
    after = references()
    changes = dict((name, after[name] - before[name]) for name in before)
    return [called, changes, objects() - objects_before]

problem = Problem("no")
%s
"""

KINDS = {
    "text": "result = '\\bx'\ndef answer(line):\n    return result",
    "new text": "result = None\ndef answer(line):\n    return '\\b' * len(line) + str(called)",
    "backspaces": "result = '\\b\\b\\b'\ndef answer(line):\n    return result",
    "empty": "result = ''\ndef answer(line):\n    return result",
    "None": "result = None\ndef answer(line):\n    return result",
    "a number": "result = 123456789\ndef answer(line):\n    return result",
    "one exception": "result = None\ndef answer(line):\n    raise problem",
    "new exceptions": "result = None\ndef answer(line):\n    raise Problem(line, called)",
}


@pytest.mark.parametrize("kind", KINDS)
def test_references_hold(shell, kind):
    shell.do(CHILD % KINDS[kind])
    shell.ask("measure(%d)" % COUNT)
    shell.wait_until(shell.is_editing, "a line to be edited")
    typed = done = 0
    while done < COUNT:
        # A read that an exception ended leaves the keys behind it to the terminal's line editing,
        # which holds back what is more than a few thousand.
        while typed - done < 2000 and typed < COUNT:
            shell.paste(b"\t" * 500)
            typed += 500
        done = shell.next_report("progress")["called"]
    if kind not in ("a number", "one exception", "new exceptions"):
        shell.type("<enter>")   # else the last completion has ended the last read
    called, changes, objects = shell.outcome(4 * PATIENCE).value
    assert called == COUNT
    # The names and frames that are in use at the one moment and not at the other are few.
    assert {name: change for name, change in changes.items() if abs(change) > 10} == {}
    assert abs(objects) < 100
