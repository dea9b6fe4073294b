"""Log monitors for tests: one that does what it is told, and real files for the stand-in."""

import fcntl
import os
import random
import re
import sys
import termios

SCRIPTED_DIR = os.environ.get("TAVORIN_MONITOR_DIR", "")

# A callback as shells have it: writes a message on a row of its own and asks for the line again.
# What it got is reported, and kept in `events`.
CALLBACK = """
import sys
events = []
def on_log(first, second):
    events.append((first, second))
    sys.stdout.write('\\r\\nlog %d %d\\r\\n' % (first, second))
    sys.stdout.flush()
    report('log', first=first, second=second)
    return 1
"""


class ScriptedMonitor:
    """A named pipe on which a test sends events to the monitor library in a child."""

    def __init__(self, folder, kind="fifo"):
        self.path = str(folder / "events")
        self._calls = folder / "calls"
        os.mkfifo(self.path)
        # Both ends, so that opening waits for nobody.
        self._fd = os.open(self.path, os.O_RDWR)
        self.name = "%s:%s" % (kind, self.path)

    def variables(self):
        """For the child's environment: the scripted library instead of the stand-in."""
        folders = [SCRIPTED_DIR, os.environ.get("LD_LIBRARY_PATH", "")]
        return {"LD_LIBRARY_PATH": os.pathsep.join(filter(None, folders)),
                "TAVORIN_MONITOR_CALLS": str(self._calls)}

    def send(self, *events):
        """Send events, each a pair of integers."""
        text = "".join("%d %d\n" % event for event in events)
        os.write(self._fd, text.encode())

    def pending(self):
        """How many bytes of events have not been taken yet."""
        waiting = fcntl.ioctl(self._fd, termios.FIONREAD, b"\0\0\0\0")
        return int.from_bytes(waiting, sys.byteorder)

    def send_if_room(self, *events):
        """The same where there is room for all of them; returns whether there was."""
        os.set_blocking(self._fd, False)
        try:
            self.send(*events)
        except BlockingIOError:
            return False
        return True

    def calls(self):
        """What the library was asked, in order."""
        return self._calls.read_text().splitlines() if self._calls.exists() else []

    def close(self):
        os.close(self._fd)


def assert_whole_lines_count(log, call):
    """Write to a log piece by piece: `call()`, its log function, must return 1 when a line is whole."""
    for text, result in [("", 0), ("ha", 0), ("lf\nne", 1), ("", 0), ("xt\n", 1), ("", 0)]:
        with open(log, "a") as file:
            file.write(text)
        assert call() == result, text


def assert_bursts_are_shown(shell, log, half_typed, messages=10000):
    """Write messages to a log whose monitor is on: bursts, each in pieces that end anywhere in a line.
    Every message must be shown once and whole, and nothing else stand above the half-typed line: the
    last 30 come one by one."""
    shown = len(shell.output)
    sizes = random.Random(1)
    lines = [b"message %d.\n" % number for number in range(messages)]
    with open(log, "ab", buffering=0) as file:
        while lines:
            size = min(sizes.randrange(1, 200), max(len(lines) - 30, 1))
            burst, lines = b"".join(lines[:size]), lines[size:]
            last = burst.split()[-1]
            while burst:
                size = sizes.randrange(1, 100)
                file.write(burst[:size])
                burst = burst[size:]
            shell.wait_for_output(b" " + last + b"\r\n", shown)
    numbers = re.findall(rb"message (\d+)\.\r\n", shell.output[shown:])
    assert list(map(int, numbers)) == list(range(messages))
    shell.wait_for_cursor_row(half_typed)
    rows = [shell.row(number) for number in range(shell.screen.lines)]
    assert rows == ["message %d." % number
                    for number in range(messages - len(rows) + 1, messages)] + [half_typed]
