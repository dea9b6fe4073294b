"""What one user typed is nowhere in the process's memory once the module is set up for the next.

Left out is what no call of the module's can wipe: a line that readline returned, which belongs to
the shell, and the strings of Python's own.  So every line here is given up, and where a secret
has to pass through Python the child wipes the string itself, behind the interpreter's back.
"""

import os

import pytest

from harness import Raised

SECRET = "kQzVtWxgJpYhRmBnLcXfDsTqNvGwHjPbKzMrCyFd"

# A freed piece of memory loses its beginning at least, so pieces of the secret count as well.
PIECE = 8
PIECES = [SECRET[i:i + PIECE] for i in range(0, len(SECRET) - PIECE + 1, PIECE // 2)]

# The child gets the secret as numbers.  A completer's argument holds the line: that is kept, and
# wiped at the end with all the rest.
CHILD = """
import ctypes
strings = []
def secret():
    strings.append(''.join(map(chr, %r)))
    return strings[-1]
def complete(key, line, position):
    strings.append(line)
    return secret()
def wipe_strings():
    for string in strings:
        ctypes.memset(id(string) + sys.getsizeof('') - 1, 0, len(string))
def new_streams():
    path = os.ttyname(0)
    sys.stdin, sys.stdout = open(path, 'r'), open(path, 'w', 1)
""" % [ord(letter) for letter in SECRET]


def writable_mappings(pid):
    """(begin, end, name) of the memory that can hold what was typed."""
    with open("/proc/%d/maps" % pid) as file:
        for line in file:
            fields = line.split()
            if fields[1].startswith("rw"):
                begin, end = (int(text, 16) for text in fields[0].split("-"))
                yield begin, end, " ".join(fields[5:]) or "no name"


def finds(pid):
    """Where pieces of the secret are in the memory of a process, in words."""
    found = []
    with open("/proc/%d/mem" % pid, "rb", buffering=0) as memory:
        for begin, end, name in writable_mappings(pid):
            memory.seek(begin)
            data = memory.read(end - begin)
            for encoding in ("ascii", "utf-32-le"):
                found += ["%r as %s in %s at %#x" % (piece, encoding, name, begin + at)
                          for piece in PIECES
                          for at in [data.find(piece.encode(encoding))] if at >= 0]
    return found


def give_up_line(shell, keys):
    """Type into a line, and end it with Ctrl-C when all has been taken."""
    shell.ask("Tavorin.readline('> ', complete, 'exec', '')")
    shell.wait_for_prompt()
    shell.type(keys.replace("$", SECRET))
    shell.wait_until(shell.has_taken_all_keys, "all keys to be taken")
    shell.type("<ctrl-c>")
    assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")


def reset_and_set_up(shell):
    shell.do("Tavorin.resetInput(); wipe_strings()")
    shell.read_line("next")


# The checkers keep freed memory back as it was.
pytestmark = [
    pytest.mark.expected_skip,
    pytest.mark.skipif("TAVORIN_PRELOAD" in os.environ, reason="freed memory is kept")]


@pytest.fixture
def shell(terminal):
    shell = terminal()
    shell.do(CHILD)
    return shell


def test_a_secret_that_is_kept_is_found(shell):
    """Otherwise the other tests would say nothing."""
    shell.do("kept = secret()")
    assert finds(shell.pid)
    shell.do("wipe_strings()")
    assert finds(shell.pid) == []


@pytest.mark.parametrize("keys", [
    pytest.param("$", id="typed"),
    pytest.param("a $<ctrl-u>b", id="killed"),
    pytest.param("a $<ctrl-a><ctrl-k>b", id="killed behind the cursor"),
    pytest.param("$" * 12, id="several rows"),
    pytest.param("$" * 80, id="more rows than the screen has"),
    pytest.param("<ctrl-r>$", id="searched for"),
    pytest.param("<ctrl-r>$<ctrl-g>", id="searched for and given up"),
    pytest.param("$<meta-p>", id="searched for as a beginning"),
    pytest.param("$<up>", id="left for a recalled line"),
    pytest.param("$<tab>", id="completed"),
])
def test_what_was_typed_is_wiped(shell, keys):
    shell.do("Tavorin.addHistory('a line', 'exec', '')")
    give_up_line(shell, keys)
    reset_and_set_up(shell)
    assert finds(shell.pid) == []


@pytest.mark.parametrize("keys", [
    pytest.param("", id="recorded"),
    pytest.param("<up>", id="recalled"),
    pytest.param("<up><ctrl-a>x", id="recalled and changed"),
    pytest.param("<ctrl-r>$", id="found"),
])
def test_what_was_recorded_is_wiped(shell, keys):
    shell.do("Tavorin.addHistory(secret(), 'exec', '')")
    give_up_line(shell, keys)
    reset_and_set_up(shell)
    assert finds(shell.pid) == []


def test_what_a_completer_inserted_is_wiped(shell):
    give_up_line(shell, "a <tab>b")
    reset_and_set_up(shell)
    assert finds(shell.pid) == []


def test_a_line_that_was_deleted_from_the_history_is_wiped(shell):
    shell.do("Tavorin.addHistory(secret(), 'exec', ''); Tavorin.clearHistory()")
    shell.do("Tavorin.addHistory(secret(), 'exec', ''); Tavorin.historyLimitIs(0)")
    reset_and_set_up(shell)
    assert finds(shell.pid) == []


def test_nothing_is_left_in_streams_that_are_closed(shell):
    shell.do("new_streams()")
    give_up_line(shell, "$<ctrl-u><ctrl-y>")
    shell.do("Tavorin.resetInput(); new_streams()")
    shell.read_line("next")
    assert finds(shell.pid) == []
