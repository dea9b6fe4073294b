"""Processes that are forked while a line is awaited: they are the shell's, not the editor's.

A child has the shell's own dispositions and mask, and leaves its parent's terminal alone.
"""

import os
import signal

import pytest

from harness import Returned
from monitor import ScriptedMonitor

# Where a child is forked. Each calls fork_child() once a line is being edited.
COMPLETER = """
def completer(key, line, position):
    fork_child()
    return "d"
"""
LOG_FUNCTION = """
def on_log(first, second):
    fork_child()
    return 1
Tavorin.loggingSyncEnabledIs("%s", on_log)
"""
THREAD = """
import threading

def forker():
    os.read(os.open("go", os.O_RDONLY), 1)
    fork_child()

thread = threading.Thread(target=forker)
thread.daemon = True
thread.start()
"""

# A child that reports what it has got, and then is there until a signal ends it.
CHILD = """
import time

def fork_child():
    pid = os.fork()
    if pid == 0:
        report("child", pid=os.getpid(), masks=signal_masks())
        while True:
            time.sleep(0.01)
    children.append(pid)

children = []
signal.signal(signal.SIGQUIT, signal.SIG_IGN)
"""


def new_fifo(shell):
    path = os.path.join(shell.home, "go")
    os.mkfifo(path)
    return os.open(path, os.O_RDWR)


class Forking:
    """A shell that forks in one of the three ways."""

    def __init__(self, terminal, folder, way):
        self.monitor = ScriptedMonitor(folder)
        self.shell = terminal(variables=self.monitor.variables())
        self.way = way
        self.go = new_fifo(self.shell)

    def begin(self, child, call="Tavorin.readline('> '%s)"):
        self.shell.do(child)
        self.shell.do({"log": LOG_FUNCTION % self.monitor.name,
                       "completer": COMPLETER, "thread": THREAD}[self.way])
        self.masks = self.shell.do("signal_masks()")
        completer = ", completer" if self.way == "completer" else ""
        self.shell.begin_line("abc", call % completer)

    def fork(self):
        if self.way == "completer":
            self.shell.type("<tab>")
        elif self.way == "log":
            self.monitor.send((1, 2))
        else:
            os.write(self.go, b"x")

    def close(self):
        self.monitor.close()
        os.close(self.go)

    def typed(self):
        return "abcd" if self.way == "completer" else "abc"


@pytest.fixture(params=["completer", "log", "thread"])
def forking(request, terminal, tmp_path):
    forking = Forking(terminal, tmp_path, request.param)
    yield forking
    forking.close()


def end_line(forking):
    """The parent's line is edited as if nothing had been."""
    shell = forking.shell
    shell.wait_for_cursor_row("> " + forking.typed())
    assert shell.is_editing()
    shell.type("e<enter>")
    assert shell.outcome() == Returned(forking.typed() + "e")
    shell.assert_settings_as_before()


def test_a_child_has_the_shell_s_dispositions_and_mask(forking):
    forking.begin(CHILD)
    forking.fork()
    child = forking.shell.next_report("child")
    os.kill(child["pid"], signal.SIGKILL)
    assert child["masks"] == forking.masks
    end_line(forking)
    forking.shell.do("os.waitpid(children[0], 0)")


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP],
                         ids=lambda number: number.name)
def test_a_signal_to_a_child_is_the_child_s(forking, number):
    forking.begin(CHILD)
    forking.fork()
    child = forking.shell.next_report("child")
    os.kill(child["pid"], number)
    forking.shell.wait_until(lambda: has_ended(child["pid"]), "the child to end")
    end_line(forking)


def has_ended(pid):
    with open("/proc/%d/stat" % pid) as stat:
        return stat.read().rpartition(")")[2].split()[0] == "Z"


@pytest.fixture
def thread(terminal, tmp_path):
    """A shell of which another thread forks."""
    forking = Forking(terminal, tmp_path, "thread")
    yield forking
    forking.close()


@pytest.mark.parametrize("way", ["completer", "thread"])
def test_multiprocessing(terminal, tmp_path, way):
    """Its processes are waited for when the shell ends."""
    forking = Forking(terminal, tmp_path, way)
    forking.begin("import multiprocessing, time\n"
                  "def fork_child():\n"
                  "    process = multiprocessing.Process(target=time.sleep, args=(1000,))\n"
                  "    process.start()\n"
                  "    process.terminate()\n"
                  "    process.join()\n"
                  "    report('joined', code=process.exitcode)\n")
    forking.fork()
    assert forking.shell.next_report("joined")["code"] == -signal.SIGTERM
    end_line(forking)
    forking.close()


OPEN_OWN_FILES = "sys.stdin, sys.stdout = open('/dev/tty'), open('/dev/tty', 'w', 1)\n"


def test_multiprocessing_closes_the_file_that_is_read(thread):
    """The child does not use its parent's streams: it may close them."""
    thread.shell.do(OPEN_OWN_FILES)
    thread.begin("import multiprocessing\n"
                 "def fork_child():\n"
                 "    process = multiprocessing.Process(target=os.getpid)\n"
                 "    process.start()\n"
                 "    process.join()\n"
                 "    report('joined', code=process.exitcode)\n")
    thread.fork()
    assert thread.shell.next_report("joined")["code"] == 0
    end_line(thread)


def test_a_function_between_fork_and_exec(forking):
    """subprocess's preexec_fn, and a program under the shell's own dispositions and mask."""
    forking.begin("import subprocess\n"
                  "def fork_child():\n"
                  "    text = subprocess.Popen(['grep', '^Sig', '/proc/self/status'],\n"
                  "                            preexec_fn=os.setsid, stdout=subprocess.PIPE"
                  ").communicate()[0]\n"
                  "    report('status', **dict(row.split(':\\t') for row in text.splitlines()))\n")
    forking.fork()
    status = forking.shell.next_report("status")
    assert {name: status[name] for name in ("SigIgn", "SigBlk")} == {
        name: forking.masks[name] for name in ("SigIgn", "SigBlk")}
    end_line(forking)


# What a child does on a terminal of its own, and its line.
READER = """
import pty

def fork_child():
    pid, master = pty.fork()
    if pid == 0:
        try:
            %s
            line = Tavorin.%s('child> ')
        except Exception as error:
            line = repr(error)
        report('line', line=line)
        os._exit(0)
    shown = ''
    try:
        while 'child> ' not in shown:
            shown += os.read(master, 1000)
        os.write(master, 'xz\\x02y\\r')
        while os.read(master, 1000): pass
    except OSError:
        report('ended', status=os.waitpid(pid, 0)[1])
"""
RESET = "Tavorin.resetInput(); " + OPEN_OWN_FILES.strip()


@pytest.mark.parametrize("first", ["pass", RESET], ids=["", "after a reset"])
def test_a_child_reads_lines_of_its_own(forking, first):
    """On another terminal, while its parent waits for a key."""
    forking.begin(READER % (first, "readline"))
    forking.fork()
    assert forking.shell.next_report("line")["line"] == "xyz"
    end_line(forking)


@pytest.mark.parametrize("call", ["readline", "simpleReadline"])
def test_a_child_beside_simple_readline(thread, call):
    thread.begin(READER % ("pass", call), "Tavorin.simpleReadline('> '%s)")
    thread.fork()
    assert thread.shell.next_report("ended")["status"] == 0
    assert thread.shell.next_report("line")["line"] == "xyz"
    end_line(thread)


@pytest.mark.parametrize("way", ["completer", "log"])
@pytest.mark.parametrize("statement, status", [
    ("return 'x'", 0), ("sys.exit(3)", 3), ("raise ValueError('in the child')", 1)])
def test_a_child_does_not_return_into_the_line(terminal, tmp_path, way, statement, status):
    forking = Forking(terminal, tmp_path, way)
    forking.begin("def fork_child():\n"
                  "    pid = os.fork()\n"
                  "    if pid == 0: %s\n"
                  "    report('ended', status=os.waitpid(pid, 0)[1])\n" % statement)
    forking.fork()
    assert forking.shell.next_report("ended")["status"] == status << 8
    end_line(forking)
    assert forking.shell.errors.count(b"ValueError: in the child") == (status == 1)
    forking.close()


@pytest.mark.parametrize("echo", [True, False], ids=["with echo", "without echo"])
def test_a_child_keeps_the_shell_s_files(terminal, echo):
    """Also those under numbers that were the editor's, before the shell closed them all."""
    shell = terminal(settings={} if echo else {"ECHO": False})
    shell.ask("Tavorin.readline('> ')")
    shell.wait_for_prompt(editing=echo)
    shell.type("abc\r")
    assert shell.outcome() == Returned("abc")
    shell.do("channel = int(os.environ['TAVORIN_TEST_CHANNEL'])\n"
             "os.closerange(3, channel), os.closerange(channel + 1, 64)\n"
             "files = [open('/dev/null') for number in range(20)]\n"
             "def is_closed(file):\n"
             "    try: os.fstat(file.fileno())\n"
             "    except OSError: return True\n"
             "def fork_child():\n"
             "    pid = os.fork()\n"
             "    if pid == 0:\n"
             "        report('closed', numbers=[f.fileno() for f in files if is_closed(f)])\n"
             "        os._exit(0)\n"
             "    os.waitpid(pid, 0)\n"
             "fork_child()\n")
    assert shell.next_report("closed")["numbers"] == []


@pytest.mark.parametrize("end", ["Tavorin.readline('second> ')", "ctypes.CDLL(None).exit(3)"],
                         ids=["abort", "exit"])
def test_a_child_that_ends_within_its_line_gives_the_terminal_back(terminal, end):
    shell = terminal()
    go = new_fifo(shell)
    shell.read_line()
    shell.do("import ctypes, threading\n"
             "def end():\n"
             "    os.read(os.open('go', os.O_RDONLY), 1)\n"
             "    %s\n"
             "def run_child():\n"
             "    pid = os.fork()\n"
             "    if pid == 0:\n"
             "        thread = threading.Thread(target=end)\n"
             "        thread.daemon = True\n"
             "        thread.start()\n"
             "        Tavorin.readline('child> ')\n"
             "    os.waitpid(pid, 0)\n" % end)
    shell.ask("run_child()")
    shell.wait_for_prompt("child> ")
    os.write(go, b"x")
    assert shell.outcome() == Returned(None)
    shell.assert_settings_as_before()
    os.close(go)
