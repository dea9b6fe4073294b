"""Log events end to end: a real file, another process that appends to it, the stand-in monitor."""

import subprocess
import sys

from harness import Returned
from monitor import CALLBACK


def append(path, text):
    """Have another process append to the file, as a logger would."""
    code = "import sys; open(sys.argv[1], 'a').write(sys.argv[2])"
    subprocess.run([sys.executable, "-c", code, str(path), text], check=True)


def start(terminal, tmp_path, **options):
    log = tmp_path / "messages"
    log.write_text("from before\n")
    shell = terminal(**options)
    shell.do(CALLBACK)
    shell.do("Tavorin.loggingSyncEnabledIs(%r, on_log)" % str(log))
    shell.begin_line()
    shell.type("half a line")
    shell.wait_for_row(0, "> half a line")
    return shell, log


def test_a_message_appears_above_the_half_typed_line(terminal, tmp_path):
    shell, log = start(terminal, tmp_path)
    append(log, "one\ntwo\n")
    shell.wait_for_row(1, "log 2 8")
    shell.wait_for_row(2, "> half a line")
    shell.type("<left><left>x<enter>")
    assert shell.outcome() == Returned("half a lixne")


def test_messages_go_on_after_the_log_was_rotated_and_truncated(terminal, tmp_path):
    shell, log = start(terminal, tmp_path)
    append(log, "one\n")
    shell.wait_for_screen("log 1 4")
    log.rename(tmp_path / "messages.1")
    append(log, "in the new file\n")
    shell.wait_for_screen("log 1 16")
    log.write_text("")
    append(log, "short\n")
    shell.wait_for_screen("log 1 6")
    shell.type("<enter>")
    assert shell.outcome() == Returned("half a line")


def test_a_line_is_reported_when_it_is_complete(terminal, tmp_path):
    shell, log = start(terminal, tmp_path)
    append(log, "begun, ")
    append(log, "ended\n")
    shell.wait_for_screen("log 1 13")
    shell.type("<enter>")
    assert shell.outcome() == Returned("half a line")
    assert shell.do("events") == [[1, 13]]


def test_a_log_that_is_not_there_is_reported(terminal, tmp_path):
    shell = terminal()
    shell.do(CALLBACK)
    shell.do("Tavorin.loggingSyncEnabledIs(%r, on_log)" % str(tmp_path / "absent"))
    shell.wait_until(
        lambda: bytes(shell.errors) == b"create inotify event: No such file or directory\n",
        "the report of the failure")


def test_logging_goes_on_for_a_new_user(terminal, tmp_path):
    shell, log = start(terminal, tmp_path)
    shell.type("<enter>")
    shell.outcome()
    shell.do("Tavorin.resetInput()")
    shell.ask("Tavorin.readline('new> ')")
    shell.wait_for_prompt("new> ")
    append(log, "one\n")
    shell.wait_for_screen("log 1 4")
    shell.wait_for_cursor_row("new>")
    shell.type("<enter>")
    assert shell.outcome() == Returned("")
