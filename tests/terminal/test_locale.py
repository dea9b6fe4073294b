"""The locale of a shell that never calls setlocale: lines are edited in the environment's, and the
shell, its callbacks and its other threads keep their own, on every way out of a read.
"""

import pytest

from harness import Raised, Returned
from monitor import ScriptedMonitor

CHILD = """
import locale
import threading

def current():
    return [locale.setlocale(locale.LC_CTYPE), locale.nl_langinfo(locale.CODESET)]

in_completion = threading.Event()

def watch():
    in_completion.wait()
    report('thread', locale=current())

def completer(key, line, position):
    report('completion', locale=current(), line=line, position=position)
    in_completion.set()
    Tavorin.keyBindingsEnabledIs(True)
    return '\\xe2\\x82\\xac'

def on_log(first, second):
    report('log', locale=current())
    return 1

thread = threading.Thread(target=watch)
thread.daemon = True
thread.start()
"""

C = ["C", "ANSI_X3.4-1968"]


def start(terminal, **options):
    shell = terminal(locale="C.UTF-8", **options)
    shell.do(CHILD)
    return shell


@pytest.mark.parametrize("line", ["description Müller–Süd", "ip route 10.0.0.0 – 10.1.1.1",
                                  "привет", "\U0001f600", "ÿ ø ° ² ³ î ð", "日本語"])
def test_what_is_typed_is_what_comes_back(terminal, line):
    shell = start(terminal)
    shell.begin_line()
    shell.paste(line.encode() + b"\r")
    assert shell.outcome() == Returned(line)
    assert shell.do("current()") == C


def test_the_shell_keeps_its_own_locale(terminal, tmp_path):
    monitor = ScriptedMonitor(tmp_path)
    shell = start(terminal, variables=monitor.variables())
    shell.do("Tavorin.loggingSyncEnabledIs(%r, on_log)" % monitor.name)
    shell.begin_line(call="Tavorin.readline('> ', completer)")
    shell.paste("é".encode())
    monitor.send((1, 2))
    assert shell.next_report("log")["locale"] == C
    shell.paste(b"\t")
    assert shell.next_report("completion") == {
        "event": "completion", "locale": C, "line": "é", "position": 1}
    assert shell.next_report("thread")["locale"] == C
    shell.paste(b"\x7f!\r")
    assert shell.outcome() == Returned("é!")
    assert shell.do("current()") == C
    monitor.close()


@pytest.mark.parametrize("keys, outcome", [
    (b"\x03", Raised("KeyboardInterrupt", "Ctrl-C pressed")),
    (b"\x1a", Raised("KeyboardInterrupt", "Ctrl-Z pressed")),
    (b"\x01\x0b\x04", Raised("EOFError", "readline returned NULL")),
])
def test_a_character_cut_in_two_leaves_nothing_behind(terminal, keys, outcome):
    shell = start(terminal)
    shell.begin_line()
    shell.paste("é".encode()[:1])
    shell.wait_until(shell.has_taken_all_keys, "the key to be taken")
    shell.paste(keys)
    assert shell.outcome() == outcome
    assert shell.do("current()") == C
    shell.begin_line()
    shell.paste("é".encode()[1:] + "é\r".encode())
    assert shell.outcome() == Returned("\udca9é")


def test_the_byte_255_is_the_end_of_input(terminal):
    shell = start(terminal)
    shell.begin_line()
    shell.paste(b"ab\xe2\x82\xff")
    assert shell.outcome() == Raised("EOFError", "readline returned NULL")
    shell.read_line()
