"""Log monitors for tests: one that does what it is told, and real files for the stand-in."""

import fcntl
import os
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
