"""A Python 2.7 child at a real terminal, driven by tests.

A test starts a `Shell`: an interpreter in a session of its own, whose controlling terminal is a
pseudo-terminal that the test holds the other end of.  Then it

* sends code to run with `ask`, and gets to know with `outcome` what came back or was raised;
* types keys, by name, with `type`;
* waits for a condition, always with a time limit, with `wait_until` and its relatives;
* looks at the screen as a person would see it (`row`, `cursor`), at the raw `output`, and at the
  terminal's `settings`.

    shell = terminal()
    shell.ask("Tavorin.readline('> ')")
    shell.wait_for_prompt()
    shell.type("show ver<tab><enter>")
    assert shell.outcome() == Returned("show version")

Nothing runs in the background: the terminal and the other channels are served whenever the test
waits for something.  A wait that fails tells what the screen showed, what was sent, and what the
child reported and wrote to its standard error.
"""

import codecs
import collections
import dataclasses
import json
import os
import pty
import select
import signal
import socket
import sys
import time

import pyte

from keys import key_bytes
from processes import (describe_end, session_members, signal_thread, start_in_session,
                       waits_in_select)
from screen import Screen
from tty_settings import apply_settings, is_raw, read_settings, set_window_size

# How long a wait may last.  Nothing is measured by it: it only ends a test that would never end.
PATIENCE = float(os.environ.get("TAVORIN_TEST_PATIENCE", "20"))

# How often to look again at what no descriptor tells about, such as the terminal's settings.
_GLANCE = 0.002

_HERE = os.path.dirname(os.path.abspath(__file__))
_INHERITED_VARIABLES = ("PATH", "LD_LIBRARY_PATH", "PYTHONHOME", "UBSAN_OPTIONS", "TERMINFO",
                        "TERMINFO_DIRS", "TSAN_OPTIONS")
_SANITIZER_MARKS = ("AddressSanitizer", "runtime error:", "LeakSanitizer", "ThreadSanitizer")

TERMINAL = "terminal"
PIPE = "pipe"
CLOSED = "closed"


class WaitFailed(AssertionError):
    """A condition was not met; the message shows the whole state of the shell."""


@dataclasses.dataclass(frozen=True)
class Returned:
    """The asked-for code ran to its end with this value."""
    value: object = None


@dataclasses.dataclass(frozen=True)
class Raised:
    """The asked-for code raised an exception of this type with this message."""
    type: str
    message: str
    functions: tuple = dataclasses.field(default=(), compare=False)  # of its traceback


def missing_environment():
    """What the environment lacks for these tests, in words, or None."""
    for name, meaning in (("TAVORIN_PYTHON", "a Python 2.7 interpreter"),
                          ("TAVORIN_BUILD_DIR", "the build's folder"),
                          ("TAVORIN_MODULE_DIR", "the folder that holds Tavorin.so"),
                          ("TAVORIN_OPENED_MODULE_DIR", "the folder of the module for tests"),
                          ("TAVORIN_MONITOR_DIR", "the folder of the scripted log monitor")):
        if not os.environ.get(name):
            return "the terminal tests need the environment variable %s: %s" % (name, meaning)
    if not os.access(os.environ["TAVORIN_PYTHON"], os.X_OK):
        return "TAVORIN_PYTHON is no program: " + os.environ["TAVORIN_PYTHON"]
    if not os.path.exists(os.path.join(os.environ["TAVORIN_MODULE_DIR"], "Tavorin.so")):
        return "TAVORIN_MODULE_DIR has no Tavorin.so: " + os.environ["TAVORIN_MODULE_DIR"]
    return None


def module_path():
    """The built file under test."""
    return os.path.abspath(os.path.join(os.environ["TAVORIN_MODULE_DIR"], "Tavorin.so"))


def as_text(value):
    """A value from the child, whose strings hold one character per byte, with readable strings.

    UTF-8 is decoded; any other byte above 127 becomes a lone surrogate, so nothing is lost.
    """
    if isinstance(value, str):
        return value.encode("latin-1").decode("utf-8", "surrogateescape")
    if isinstance(value, list):
        return [as_text(item) for item in value]
    if isinstance(value, dict):
        return {as_text(key): as_text(item) for key, item in value.items()}
    return value


def as_bytes(text):
    """The bytes of a string of the child's that `as_text` has made readable."""
    return text.encode("utf-8", "surrogateescape")


def _child_environment(home, term, locale, imports, module_folder):
    """The variables of the child.  The user's own editor settings must not reach it, so its home
    is an empty folder."""
    variables = {name: os.environ[name] for name in _INHERITED_VARIABLES if name in os.environ}
    if term is not None:
        variables["TERM"] = term
    variables.update(
        HOME=str(home), LC_ALL=locale, PYTHONDONTWRITEBYTECODE="1",
        PYTHONPATH=os.pathsep.join([os.path.join(_HERE, "child"),
                                    os.path.abspath(os.environ[module_folder])]),
        TAVORIN_TEST_IMPORTS=" ".join(imports))
    return variables


def sanitizer_environment():
    """The variables that a sanitizer build needs in the child, and only there."""
    preload = os.environ.get("TAVORIN_PRELOAD")
    if not preload:
        return {}
    return {"LD_PRELOAD": preload,
            "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "detect_leaks=0")}


class Shell:
    """One child interpreter and its terminal."""

    def __init__(self, home, *, rows=24, columns=80, term="xterm", locale="C", encoding="utf-8",
                 settings=None, stdin=TERMINAL, stdout=TERMINAL, imports=("Tavorin",),
                 job_control=False, variables=None, opened=False):
        """Start the child.

        `locale` is its LC_ALL, and `encoding` is that of the terminal's keys and screen.
        `settings` are changes to the terminal's settings before the child starts, such as
        {"ECHO": False, "VERASE": 8}.  With `term` None it has no TERM.  `stdin` and `stdout` are
        TERMINAL, CLOSED or a descriptor, and `stdout` may be PIPE, whose text is then in `piped`.
        With `job_control` the child is the foreground job of a small shell, so that it can be
        stopped.  `variables` are further variables of the child's environment.  `opened` imports
        the module through which a test can call what the delivered one keeps inside.
        """
        self.home = home            # the folder in which the child runs
        self.encoding = encoding
        self.output = bytearray()   # all that was written to the terminal
        self.errors = bytearray()   # all that the child wrote to its standard error
        self.piped = bytearray()    # all that the child wrote to a standard output that is a pipe
        self.sent = []              # what the test did to the child, in words
        self.reports = []           # what the child reported, in order
        self.job_states = []        # under job control: what became of the job, in order
        self.exit_status = None     # as in subprocess: negative for a signal
        self.pid = None
        self._answers = []
        self._asked = 0
        self._answered = 0
        self._untaken = collections.defaultdict(collections.deque)
        self._taken_job_states = 0
        self._mark = 0
        self._closed = False
        self._end_noticed = False
        self._unsent = bytearray()
        self._partial = {}
        self._readers = {}
        self._open_terminal(rows, columns, settings)
        module_folder = "TAVORIN_OPENED_MODULE_DIR" if opened else "TAVORIN_MODULE_DIR"
        environment = _child_environment(home, term, locale, imports, module_folder)
        environment.update(variables or {})
        self._start(home, environment, stdin, stdout, job_control)
        try:
            self.wait_until(lambda: self.has_report("ready"), "the child to start")
        except WaitFailed:
            self.kill()
            raise

    # --- starting and ending

    def _open_terminal(self, rows, columns, settings):
        self._master, self._slave = pty.openpty()
        os.set_blocking(self._master, False)
        set_window_size(self._slave, rows, columns)
        if settings:
            apply_settings(self._slave, read_settings(self._slave).changed(settings))
        self.original_settings = read_settings(self._slave)
        # A terminal of unknown size is shown on an ordinary screen.
        self.screen = Screen(columns or 80, rows or 24)
        self._stream = pyte.Stream(self.screen)
        self._decoder = codecs.getincrementaldecoder(self.encoding)("replace")
        self._readers[self._master] = self._take_output

    def _start(self, home, environment, stdin, stdout, job_control):
        self._channel, theirs = socket.socketpair()
        self._channel.setblocking(False)
        self._readers[self._channel.fileno()] = self._take_channel
        self._ends_of_child = []
        streams = [self._standard_stream(stdin),
                   self._new_pipe(self.piped.extend) if stdout == PIPE
                   else self._standard_stream(stdout),
                   self._new_pipe(self.errors.extend)]
        environment["TAVORIN_TEST_CHANNEL"] = str(theirs.fileno())
        command = [os.environ["TAVORIN_PYTHON"], "-c", "import child_side; child_side.main()"]
        inherited = [theirs.fileno()]
        if job_control:
            inherited.append(self._new_pipe(self._take_job_state))
            command = [sys.executable, "-I", "-S", os.path.join(_HERE, "child", "job_control.py"),
                       str(inherited[-1]), json.dumps(sanitizer_environment())] + command
        else:
            environment.update(sanitizer_environment())
        self._leader = start_in_session(command, self._slave, streams, environment, str(home),
                                        inherited)
        self.pid = None if job_control else self._leader.pid
        theirs.close()
        for fd in self._ends_of_child:
            os.close(fd)

    def _new_pipe(self, take):
        """A pipe whose data goes to `take`; returns the end that the child writes to."""
        reader, writer = os.pipe()
        os.set_blocking(reader, False)
        self._readers[reader] = lambda: self._take_bytes(reader, take)
        self._ends_of_child.append(writer)
        return writer

    def _standard_stream(self, stream):
        if stream == TERMINAL:
            return self._slave
        return None if stream == CLOSED else stream

    def kill(self):
        """End the child, and whatever else lives in its session, at once."""
        members = session_members(self._leader.pid)
        if "TAVORIN_COVERAGE" in os.environ:
            self._end_with_counts()
        for pid in sorted(members, key=lambda pid: pid == self._leader.pid):
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        self._leader.wait()
        self._session_empties(PATIENCE)

    def _end_with_counts(self):
        """Have a child of a build for coverage write down what it ran; that ends it."""
        if self.pid is None or self.exit_status is not None:
            return
        try:
            os.kill(self.pid, signal.SIGTRAP)
            self.wait_until(lambda: self.pid not in session_members(self._leader.pid),
                            "the counts", timeout=2)
        except (ProcessLookupError, WaitFailed):
            pass

    def close(self):
        """End the child in good order; return what was wrong with its end, in words.

        A child that waits for a line has to be killed, and nothing can be said against it.  One
        that is idle must be able to leave.
        """
        if self._closed:
            return []
        self._closed = True
        problems = self._unnoticed_death()
        if self.exit_status is None and not self.waits_for_answer:
            self._channel.shutdown(socket.SHUT_WR)
            try:
                self.wait_until(lambda: self.exit_status is not None, "the idle child to leave")
                if self.exit_status != 0:
                    problems.append("at its end the child " + describe_end(self.exit_status))
            except WaitFailed as failure:
                problems.append(str(failure))
        problems += self._leftovers()
        self.kill()
        problems += self._sanitizer_reports()
        self._close_descriptors()
        return problems

    def _unnoticed_death(self):
        self._note_end()
        if self.exit_status is None or self._end_noticed:
            return []
        return ["the child %s, and no test waited for that\n%s"
                % (describe_end(self.exit_status), self.describe())]

    def _leftovers(self):
        """Anything that outlives an ended child in its session is a leftover."""
        if self.exit_status is None or self._session_empties(2):
            return []
        return ["processes were left behind: %s" % session_members(self._leader.pid)]

    def _session_empties(self, timeout):
        """Whether the last process of the session ends within `timeout` seconds."""
        deadline = time.monotonic() + timeout
        while session_members(self._leader.pid):
            if time.monotonic() > deadline:
                return False
            self._pump(_GLANCE)
        return True

    def _sanitizer_reports(self):
        text = bytes(self.errors + self.output + self.piped).decode("utf-8", "replace")
        found = [mark for mark in _SANITIZER_MARKS if mark in text]
        return ["a sanitizer reported (%s):\n%s" % (", ".join(found), text)] if found else []

    def _close_descriptors(self):
        self._readers.pop(self._channel.fileno(), None)
        self._channel.close()
        self._readers.pop(self._master, None)
        for fd in [self._master, self._slave] + list(self._readers):
            if fd is not None:
                os.close(fd)
        self._readers = {}

    # --- serving the terminal and the channels

    def _pump(self, timeout):
        """Pass on what waits to be passed on, in both directions; wait for it up to `timeout`.

        The number of rounds has a limit, so that a child that never stops writing cannot keep the
        test here for good.
        """
        self._note_end()
        for _ in range(100):
            writers = [self._master] if self._unsent and self._master is not None else []
            ready, writable, _ = select.select(list(self._readers), writers, [], timeout)
            for fd in ready:
                self._readers[fd]()
            if writable:
                self._write_keys()
            if not ready and not writable:
                return
            timeout = 0

    def _note_end(self):
        if self.exit_status is None and self._leader.poll() is not None:
            self._pump_without_waiting()
            if self.exit_status is None:
                self.exit_status = self._leader.returncode

    def _pump_without_waiting(self):
        """Take what a process left behind when it ended."""
        while self._readers:
            ready, _, _ = select.select(list(self._readers), [], [], 0)
            if not ready:
                return
            for fd in ready:
                self._readers[fd]()

    def _take_bytes(self, fd, take):
        try:
            data = os.read(fd, 65536)
        except BlockingIOError:
            return
        if data:
            take(data)
        else:
            del self._readers[fd]
            os.close(fd)

    def _take_output(self):
        try:
            data = os.read(self._master, 65536)
        except BlockingIOError:
            return
        self.output += data
        self._stream.feed(self._decoder.decode(data))

    def _take_channel(self):
        try:
            data = self._channel.recv(65536)
        except BlockingIOError:
            return
        except ConnectionResetError:
            data = b""
        if not data:
            del self._readers[self._channel.fileno()]
            return
        for message in self._whole_lines("channel", data):
            self._take_report(as_text(json.loads(message)))

    def _take_report(self, message):
        self.reports.append(message)
        self._untaken[message["event"]].append(message)
        self._answered += message["event"] in ("returned", "raised")
        if message["event"] == "returned":
            self._answers.append(Returned(message["value"]))
        elif message["event"] == "raised":
            self._answers.append(Raised(message["type"], message["message"],
                                        tuple(message["functions"])))

    def _take_job_state(self, data):
        for line in self._whole_lines("job", data):
            state = json.loads(line)
            if state["state"] == "started":
                self.pid = state["pid"]
            elif state["state"] == "ended":
                self.exit_status = state["returncode"]
            self.job_states.append(state)

    def _whole_lines(self, source, data):
        lines = (self._partial.get(source, b"") + data).split(b"\n")
        self._partial[source] = lines.pop()
        return lines

    def _write_keys(self):
        try:
            written = os.write(self._master, bytes(self._unsent[:4096]))
        except BlockingIOError:
            return
        del self._unsent[:written]

    # --- waiting

    def wait_until(self, condition, what, timeout=PATIENCE):
        """Wait until `condition()` holds; `what` names it in a failure.  Returns its value."""
        deadline = time.monotonic() + timeout
        self._pump(0)
        while True:
            result = condition()
            if result:
                return result
            if self.exit_status is not None:
                self.fail("waiting for %s, but the child %s"
                          % (what, describe_end(self.exit_status)))
            if time.monotonic() > deadline:
                self.fail("waited in vain for %s" % what)
            self._pump(_GLANCE)

    def fail(self, message):
        raise WaitFailed(message + "\n" + self.describe())

    def wait_for_row(self, number, text):
        """Wait until the screen's row reads `text`, blanks at its end left aside."""
        self.wait_until(lambda: self.row(number) == text.rstrip(),
                        "row %d to read %r" % (number, text))

    def wait_for_cursor_row(self, text):
        """Wait until the row with the cursor reads `text`."""
        self.wait_until(lambda: self.row(self.cursor[0]) == text.rstrip(),
                        "the cursor's row to read %r" % text)

    def wait_for_cursor(self, row, column):
        """Wait until the cursor stands there, counted from 0."""
        self.wait_until(lambda: self.cursor == (row, column),
                        "the cursor at row %d, column %d" % (row, column))

    def wait_for_screen(self, text):
        """Wait until the screen shows `text` anywhere in a row."""
        self.wait_until(lambda: any(text in row for row in self.screen.display),
                        "%r on the screen" % text)

    def wait_for_output(self, data, after=0):
        """Wait until the bytes `data` were written to the terminal, from offset `after` on."""
        self.wait_until(lambda: self.output.find(data, after) >= 0, "the output %r" % data)

    def wait_for_prompt(self, prompt="> ", editing=True):
        """Wait until the prompt of the latest request is out, and the line is being edited.

        The editor's mode is set before the prompt is written: when both are there, the child
        takes keys one by one.  A terminal without editing (`editing` false) stays as it is.
        """
        self.wait_for_output(prompt.encode(self.encoding), self._mark)
        if editing:
            self.wait_until(self.is_editing, "the terminal in the editor's mode")

    def wait_for_sleep(self):
        """Wait until the child has nothing left to do but to wait for a key.

        Hardly any test needs this: signals and keys wait for the reader by themselves.
        """
        self.wait_until(lambda: waits_in_select(self.pid), "the child to sleep until a key comes")

    def has_taken_all_keys(self):
        """Whether the child waits for a key in the editor's mode, and none is under way to it."""
        # Asking brings along what the driver has not passed on yet, so it comes first.
        waiting = select.select([self._slave], [], [], 0)[0]
        return not self._unsent and not waiting and waits_in_select(self.pid)

    def wait_for_end(self):
        """Wait until the child has ended; return its exit status, negative for a signal."""
        self._end_noticed = True
        self.wait_until(lambda: self.exit_status is not None, "the child to end")
        self._pump_without_waiting()
        return self.exit_status

    def wait_for_job_state(self, state):
        """Under job control: wait until the job is next "stopped" or "continued"."""
        def reached():
            for job_state in self.job_states[self._taken_job_states:]:
                self._taken_job_states += 1
                if job_state["state"] == state:
                    return True
            return False
        self.wait_until(reached, "the job to be " + state)

    # --- talking with the child

    @property
    def waits_for_answer(self):
        """Whether the child has not yet answered everything that it was asked."""
        return self._asked > self._answered

    def ask(self, code):
        """Have the child run `code`, Python 2.7, in the namespace that its requests share."""
        self._mark = len(self.output)
        self._asked += 1
        self._send_message(code)

    def has_answer(self):
        """Whether an `outcome` is there that has not been taken."""
        self._pump(0)
        return bool(self._answers)

    def outcome(self, timeout=PATIENCE):
        """Wait for the answer to the oldest unanswered `ask`: a `Returned` or a `Raised`."""
        self.wait_until(lambda: self._answers, "an answer from the child", timeout)
        return self._answers.pop(0)

    def do(self, code):
        """Run `code` in the child and return its value; an exception there fails the test."""
        self.ask(code)
        outcome = self.outcome()
        if not isinstance(outcome, Returned):
            self.fail("%r raised %r" % (code, outcome))
        return outcome.value

    def begin_line(self, typed="", call="Tavorin.readline('> ')", prompt="> "):
        """Have the child read a line, and type its beginning; wait until the editor took that."""
        self.ask(call)
        self.wait_for_prompt(prompt)
        if typed:
            self.type_and_see(typed)

    def type_and_see(self, text):
        """Type plain text at the end of the line, and wait until the editor has shown it."""
        shown = len(self.output)
        self.type(text)
        self.wait_for_output(text.encode(self.encoding), shown)

    def read_line(self, typed="next"):
        """Read a whole ordinary line, as proof that the shell is as good as before."""
        self.begin_line(typed)
        self.type("<enter>")
        outcome = self.outcome()
        if outcome != Returned(typed):
            self.fail("an ordinary line %r came back as %r" % (typed, outcome))
        self.assert_settings_as_before()

    def go(self):
        """Let a child go on that runs `wait_for_go()`."""
        self._mark = len(self.output)
        self._send_message("go")

    def _send_message(self, message):
        data = (json.dumps(message) + "\n").encode()
        while data:
            try:
                data = data[self._channel.send(data):]
            except BlockingIOError:
                self._pump(_GLANCE)

    def has_report(self, event):
        """Whether a report of this name is there that no `next_report` has returned."""
        self._pump(0)
        return bool(self._untaken[event])

    def next_report(self, event):
        """Wait for the next report of this name that no earlier call has returned."""
        self.wait_until(lambda: self._untaken[event], "the report %r" % event)
        return self._untaken[event].popleft()

    def reports_of(self, event):
        """All reports of this name up to now."""
        self._pump(0)
        return [report for report in self.reports if report["event"] == event]

    # --- being the user

    def type(self, keys):
        """Type text and named keys, as in "ab<left>c<enter>"."""
        self.sent.append(keys)
        self._unsent += key_bytes(keys, self.encoding)
        self._pump(0)

    def paste(self, data):
        """Send bytes as they are."""
        self.sent.append("paste of %d bytes: %r" % (len(data), bytes(data[:60])))
        self._unsent += data
        self._pump(0)

    def paste_slowly(self, data):
        """Send bytes one by one, each when the editor has taken the one before."""
        for byte in data:
            self.paste(bytes([byte]))
            self.wait_until(self.has_taken_all_keys, "the byte to be taken")

    def signal(self, number):
        """Send a signal to the child alone, not to its process group."""
        self.sent.append("[%s]" % signal.Signals(number).name)
        os.kill(self.pid, number)

    def signal_thread(self, thread, number):
        """Send a signal to one thread of the child."""
        self.sent.append("[%s to thread %d]" % (signal.Signals(number).name, thread))
        signal_thread(self.pid, thread, number)

    def resize(self, rows, columns):
        """Change the window's size."""
        self.sent.append("[window %dx%d]" % (rows, columns))
        self._pump(0)
        self.screen.resize(rows, columns)
        set_window_size(self._slave, rows, columns)

    def change_settings(self, changes):
        """Change the terminal's settings, as stty does; they count as the original ones then."""
        self.sent.append("[settings %s]" % changes)
        apply_settings(self._slave, self.settings().changed(changes))
        self.original_settings = self.settings()

    def change_settings_back(self):
        """Give the terminal its original settings again."""
        apply_settings(self._slave, self.original_settings)

    def stop_reading(self):
        """Let what is written to the terminal wait there, as a slow connection does."""
        self.sent.append("[not reading]")
        self._pump(0)
        del self._readers[self._master]

    def read_again(self):
        """Take what is written to the terminal again."""
        self.sent.append("[reading]")
        self._readers[self._master] = self._take_output

    def hang_up(self):
        """Close the test's end of the terminal, as when a connection breaks."""
        self.sent.append("[hang-up]")
        self._pump(0)
        self._readers.pop(self._master, None)
        self._unsent.clear()
        os.close(self._master)
        self._master = None

    # --- looking

    def forget(self):
        """Drop what was kept for failure reports up to now, so that a test can go on for hours."""
        self._mark -= min(self._mark, len(self.output))
        self.output.clear()
        self.sent.clear()
        self.reports.clear()

    @property
    def cursor(self):
        """(row, column), counted from 0."""
        return self.screen.cursor.y, self.screen.cursor.x

    def row(self, number):
        """A row of the screen without the blanks at its end."""
        return self.screen.row(number).rstrip()

    def settings(self):
        """The terminal's settings at this moment."""
        return read_settings(self._slave)

    def output_is_stopped(self):
        """Whether the terminal takes no output now."""
        return not select.select([], [self._slave], [], 0)[1]

    def is_editing(self):
        """Whether the terminal is in the mode in which a line is edited."""
        return is_raw(self._slave)

    def assert_settings_as_before(self):
        """The terminal's settings must be those that the child found when it started."""
        changes = self.original_settings.differences(self.settings())
        if changes:
            self.fail("the terminal was not given back as it was:\n  " + "\n  ".join(changes))

    # --- telling

    def describe(self):
        """The whole state of the shell, for a failure report."""
        self._pump(0)
        parts = ["--- screen %dx%d, cursor at row %d, column %d"
                 % ((self.screen.lines, self.screen.columns) + self.cursor)]
        parts += self._screen_lines()
        parts.append("--- sent (the latest): " + (" ".join(map(repr, self.sent[-100:])) or "nothing"))
        parts.append("--- reports:")
        parts += [_shortened(json.dumps(report)) for report in self.reports[-20:]]
        parts.append("--- standard error: " + (self.errors.decode("utf-8", "replace") or "empty"))
        parts.append("--- end of the output: %r" % bytes(self.output[-300:]))
        parts += self._settings_lines()
        parts += ["--- job: %s" % state for state in self.job_states]
        parts.append("--- child %s: %s" % (self.pid, describe_end(self.exit_status)))
        return "\n".join(parts)

    def _screen_lines(self):
        rows = [row.rstrip() for row in self.screen.display]
        while len(rows) > self.cursor[0] + 1 and not rows[-1]:
            rows.pop()
        return ["%2d |%s" % numbered for numbered in enumerate(rows)]

    def _settings_lines(self):
        try:
            changes = self.original_settings.differences(self.settings())
        except OSError as error:
            return ["--- terminal settings: %s" % error]
        return ["--- terminal settings changed since the start: " + ("; ".join(changes) or "none")]


def _shortened(text, length=300):
    return text if len(text) <= length else text[:length] + "…"
