"""A program at a pseudo-terminal: it is started, typed at, awaited and ended, and the lines that it
says it read are compared with those that were typed."""

import fcntl
import os
import pty
import re
import select
import signal
import struct
import termios
import time

ROWS, COLUMNS = 24, 80

# A wait that takes longer has failed. Nothing is measured by it.
PATIENCE = 60.0

# What moves the cursor, sets colours and the like, and is no text.
ESCAPES = re.compile(rb"\x1b(?:\[[0-?]*[ -/]*[@-~]|\][^\x07]*\x07|[()].|[=>78M])")


class Wrong(Exception):
    """The program lost or changed input, died, or did not answer."""


def first_difference(typed, read):
    """What is wrong with the lines that a program read, in words, or None."""
    for number, (expected, found) in enumerate(zip(typed, read)):
        if expected != found:
            return "line %d was %r and was read as %r" % (number, expected, found)
    if len(read) < len(typed):
        return "%d of %d lines were not read" % (len(typed) - len(read), len(typed))
    if len(read) > len(typed):
        return "%d lines were read that nobody typed" % (len(read) - len(typed))
    return None


def spawn(command, environment, name, folder):
    """Start `command` as leader of a session whose terminal is the one called `name`, which it gets
    by opening it: the first terminal that a session leader opens is its own."""
    opened = [(os.POSIX_SPAWN_OPEN, 0, name, os.O_RDWR, 0),
              (os.POSIX_SPAWN_DUP2, 0, 1), (os.POSIX_SPAWN_DUP2, 0, 2)]
    defaults = signal.valid_signals() - {signal.SIGKILL, signal.SIGSTOP}
    here = os.getcwd()
    os.chdir(folder)
    try:
        return os.posix_spawn(command[0], command, environment, file_actions=opened, setsid=True,
                              setsigmask=[], setsigdef=[s for s in defaults if 0 < s < 32])
    finally:
        os.chdir(here)


class Session:
    """One run of a program. `typed` are the lines that it has been given so far."""

    def __init__(self, command, environment, folder):
        self.folder = folder
        self.lines_file = os.path.join(folder, "lines")
        self.typed = []
        self.recorded = []      # what its history must hold
        self.raw = b""          # what it wrote and nobody has waited for yet
        self.master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", ROWS, COLUMNS, 0, 0))
        os.set_blocking(self.master, False)
        self.poll = select.poll()
        self.poll.register(self.master, select.POLLIN)
        name = os.ttyname(slave)
        self.started = time.perf_counter_ns()
        self.pid = spawn(command, environment, name, folder)
        os.close(slave)     # the program has it open by now

    # --- Typing and awaiting

    def read_some(self, deadline):
        """Take in what the program writes, once there is something."""
        if not self.poll.poll(max(0, int((deadline - time.monotonic()) * 1000))):
            raise Wrong("no answer within %d s; the last it wrote was %r"
                        % (PATIENCE, self.raw[-200:]))
        try:
            self.raw += os.read(self.master, 65536)
        except BlockingIOError:
            pass
        except OSError:
            raise Wrong("the program has ended; the last it wrote was %r" % self.raw[-200:])

    def wait_for(self, text):
        """Wait until the program has written this text. Returns what it wrote before."""
        deadline = time.monotonic() + PATIENCE
        while True:
            plain = ESCAPES.sub(b"", self.raw)
            at = plain.find(text)
            if at >= 0:
                self.raw = plain[at + len(text):]
                return plain[:at]
            self.read_some(deadline)

    def drain(self):
        """Forget what the program has written so far."""
        self.raw = b""
        while self.poll.poll(0):
            self.read_some(time.monotonic() + PATIENCE)
        self.raw = b""

    def press(self, key, shows):
        """Type one key and wait until it shows; returns the nanoseconds in between."""
        self.raw = b""
        start = time.perf_counter_ns()
        os.write(self.master, key)
        self.wait_for(shows)
        return time.perf_counter_ns() - start

    def press_for_any_change(self, key):
        """The same for a key whose effect on the screen is not known: whatever comes first."""
        self.drain()
        start = time.perf_counter_ns()
        os.write(self.master, key)
        self.read_some(time.monotonic() + PATIENCE)
        took = time.perf_counter_ns() - start
        self.raw = b""
        return took

    def send(self, data):
        """Type all of this as fast as the terminal takes it, and read meanwhile."""
        deadline = time.monotonic() + PATIENCE
        both = select.poll()
        both.register(self.master, select.POLLIN | select.POLLOUT)
        while data:
            for _, events in both.poll(1000):
                if events & (select.POLLIN | select.POLLHUP):
                    self.read_some(deadline)
                if events & select.POLLOUT:
                    data = data[os.write(self.master, data[:1024]):]
            if time.monotonic() > deadline:
                raise Wrong("the terminal took no more input for %d s" % PATIENCE)

    # --- Lines

    def wait_for_prompt(self):
        # One program moves the cursor over the blank behind it.
        return self.wait_for(b"%d>" % len(self.typed))

    def note(self, line):
        """`line` is what the program is to read next."""
        self.typed.append(line)
        self.recorded.append(line)

    def enter(self, line, keys=b"\r"):
        """End the line, which is to be read as `line`, and wait for the next prompt. Returns what
        was written until then."""
        self.note(line)
        self.raw = b""
        os.write(self.master, keys)
        return self.wait_for_prompt()

    def type_line(self, line):
        self.send(line)
        return self.enter(line)

    # --- The process

    def processor_time(self):
        """Nanoseconds that the program has run, once it waits for input again."""
        self.wait_until_asleep()
        total = 0
        for task in os.listdir("/proc/%d/task" % self.pid):
            with open("/proc/%d/task/%s/schedstat" % (self.pid, task)) as file:
                total += int(file.read().split()[0])
        return total

    def wait_until_asleep(self):
        deadline = time.monotonic() + PATIENCE
        while True:
            with open("/proc/%d/stat" % self.pid) as file:
                if file.read().rpartition(")")[2].split()[0] == "S":
                    return
            if time.monotonic() > deadline:
                raise Wrong("the program does not come to rest")
            time.sleep(0.0001)

    def wait_until_raw(self):
        """Between its prompt and its first wait for a key a program may not have the terminal raw
        yet, and what is typed then the terminal driver handles, not the program."""
        deadline = time.monotonic() + PATIENCE
        while termios.tcgetattr(self.master)[3] & termios.ICANON:
            if time.monotonic() > deadline:
                raise Wrong("the program does not make the terminal raw")
            time.sleep(0.0005)

    def fields(self, name):
        """Numbers from a file of the kernel's on the program, by their names there."""
        found = {}
        with open("/proc/%d/%s" % (self.pid, name)) as file:
            for line in file:
                key, _, value = line.partition(":")
                if value.split() and value.split()[0].isdigit():
                    found[key] = int(value.split()[0])
        return found

    # --- The end

    def ended(self):
        """Wait for the process, reading what it still writes. Returns its exit status."""
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            pid, status = os.waitpid(self.pid, os.WNOHANG)
            if pid:
                self.pid = None
                return os.waitstatus_to_exitcode(status)
            if self.poll.poll(2):
                try:
                    os.read(self.master, 65536)
                except OSError:
                    time.sleep(0.0005)
        raise Wrong("the program does not end")

    def finish(self):
        """End the program with Ctrl-D, and see that it read what was typed."""
        self.wait_until_raw()
        os.write(self.master, b"\x04")
        status = self.ended()
        if status != 0:
            raise Wrong("the program ended with status %d" % status)
        with open(self.lines_file, "rb") as file:
            read = file.read().split(b"\n")[:-1]
        difference = first_difference(self.typed, read)
        if difference:
            raise Wrong(difference)

    def close(self):
        """Leave nothing behind, however the session went."""
        if self.pid is not None:
            os.kill(self.pid, signal.SIGKILL)
            os.waitpid(self.pid, 0)
            self.pid = None
        if self.master is not None:
            os.close(self.master)
            self.master = None
