"""SIGINT and SIGTSTP at random instants, as in `test_random_signals.py`, while the shell forks.

A second thread forks, and so do the completion and the log function, in every way that Python has.
The signals go to the process, to one of its threads or to the whole group, and some to the children
alone.  Each child must have the shell's own dispositions and mask, get each of its signals once,
and end by SIGTERM.

TAVORIN_CHILD_SIGNAL_SECONDS sets the duration, TAVORIN_SIGNAL_SEED the seed.
"""

import collections
import dataclasses
import os
import signal

from monitor import ScriptedMonitor
from processes import session_members, signal_masks
from test_random_signals import READ_LINES, Rounds, new_seed, run_rounds

SECONDS = float(os.environ.get("TAVORIN_CHILD_SIGNAL_SECONDS", "2"))

FORKING = """
import errno
import multiprocessing
import random
import select
import subprocess

def note(number, frame):
    own = os.getpid() == shell
    report("signal" if own else "child's signal", number=number, pid=os.getpid())

def live(forever=True):
    report("child", pid=os.getpid(), masks=signal_masks())
    # Python 2.7 runs no handler in a child that was forked while its parent ran one, but for an
    # interrupted call.
    signal.signal(signal.SIGALRM, lambda *arguments: None)
    if forever:
        signal.setitimer(signal.ITIMER_REAL, 0.01, 0.01)
    while forever:
        try:
            select.select([], [], [])
        except select.error:
            pass

def wait_for(pid):
    while True:
        try:
            status = os.waitpid(pid, 0)[1]
        except OSError as error:
            if error.errno != errno.EINTR:
                raise
        else:
            return -os.WTERMSIG(status) if os.WIFSIGNALED(status) else os.WEXITSTATUS(status)

def by_fork(life=live):
    pid = os.fork()
    if pid == 0:
        try:
            life()
        finally:
            os._exit(0)
    return pid, lambda: wait_for(pid)

def short_lived():
    return by_fork(lambda: None)

def by_multiprocessing():
    process = multiprocessing.Process(target=live)
    process.start()
    def wait():
        while process.exitcode is None:
            process.join()
        return process.exitcode
    return process.pid, wait

def by_subprocess():
    process = subprocess.Popen(["sleep", "1000"], preexec_fn=lambda: live(False))
    return process.pid, process.wait

def report_end(pid, wait):
    report("ended", pid=pid, status=wait())

def fork_child(by):
    way = dice.choice([by_fork, short_lived, by_multiprocessing, by_subprocess])
    at_once = dice.random() < 0.3
    with forking:
        pid, wait = way()
    if at_once:
        os.kill(pid, signal.SIGTERM)
    report("forked", pid=pid, way=way.__name__, at_once=at_once, by=by)
    thread = threading.Thread(target=report_end, args=(pid, wait))
    thread.daemon = True
    thread.start()

def completer(key, line, position):
    fork_child("completer")
    return "-"

def on_log(first, second):
    fork_child("log function")
    return 1

def fork_when_asked():
    while True:
        try:
            os.read(wishes, 1)
        except OSError as error:
            if error.errno != errno.EINTR:
                raise
        else:
            fork_child("thread")

shell = os.getpid()
dice = random.Random()
# One at a time: while Python 2.7 makes a pipe for a child, another thread's child would inherit it.
forking = threading.Lock()
signal.signal(signal.SIGINT, note)
signal.signal(signal.SIGTSTP, note)
wishes = os.open("wishes", os.O_RDWR)
thread = threading.Thread(target=fork_when_asked)
thread.daemon = True
thread.start()
spinner = threading.Thread(target=spin)
spinner.daemon = True
spinner.start()
"""


@dataclasses.dataclass
class Child:
    """What the test knows of a child of the shell."""
    pid: int
    way: str
    at_once: bool       # it got a SIGTERM as soon as it was there
    by: str             # who has forked it
    masks: dict = None  # what it has reported of itself
    status: int = None
    sent: int = 0       # the signals that it must report

    def ends_by_itself(self):
        return self.at_once or self.way == "short_lived"


class RoundsBesideChildren(Rounds):
    """The same rounds, each with children of its own."""

    def __init__(self, shell, seed, monitor):
        super().__init__(shell, seed)
        self.monitor = monitor
        self.masks = shell.do("signal_masks()")     # those of the shell between two lines
        self.asked = 0              # children that the thread and the log function were asked for
        self.children = {}
        self.group_signalled = False
        self.counts = collections.Counter()
        self.wishes = os.open(os.path.join(shell.home, "wishes"), os.O_RDWR)

    # --- what goes on in a round

    def new_keys(self):
        keys = super().new_keys()
        if "<enter>" not in keys and self.random.random() < 0.6:
            keys.insert(self.random.randint(0, len(keys)), "<tab>")
        return keys

    def other_actions(self):
        actions = [self.fork_on_thread, self.fork_in_log_function, self.signal_children]
        return self.random.choices(actions, [4, 1, 2], k=self.random.randint(0, 3))

    def fork_on_thread(self):
        self.asked += 1
        os.write(self.wishes, b"x")

    def fork_in_log_function(self):
        self.asked += 1
        self.monitor.send((1, 2))

    def signal_children(self):
        for child in self.settled_children():
            self.shell.sent.append("[%s to child %d]" % (self.signal.name, child.pid))
            os.kill(child.pid, self.signal)
            child.sent += 1

    def send_signal(self):
        if self.random.random() < 0.6:
            super().send_signal()
            return
        for child in self.settled_children():
            child.sent += 1
        self.shell.sent.append("[%s to the group]" % self.signal.name)
        os.killpg(self.shell.pid, self.signal)
        self.group_signalled = True
        self.sent += 1

    # --- what is known of the children

    def take_reports(self):
        while self.shell.has_report("forked"):
            report = self.shell.next_report("forked")
            self.children[report["pid"]] = Child(*[report[name]
                                                   for name in ("pid", "way", "at_once", "by")])
            self.counts[report["way"] + " by the " + report["by"]] += 1
        for event, field in ("child", "masks"), ("ended", "status"):
            for report in self.shell.reports_of(event):
                if report["pid"] in self.children:
                    setattr(self.children[report["pid"]], field, report[field])

    def settled_children(self):
        """Those that take signals as Python does, and have taken all up to now: the kernel keeps only
        one of a kind for later."""
        self.take_reports()
        settled = [child for child in self.children.values() if child.masks
                   and not child.ends_by_itself() and child.way != "by_subprocess"]
        for child in settled:
            self.wait_for_signals(child)
        return settled

    def wait_for_signals(self, child):
        self.shell.wait_until(
            lambda: sum(report["pid"] == child.pid
                        for report in self.shell.reports_of("child's signal")) >= child.sent,
            "the signals of %r" % child)

    def all_are_known(self):
        self.take_reports()
        return (sum(child.by != "completer" for child in self.children.values()) == self.asked
                and all(child.masks or child.ends_by_itself()
                        for child in self.children.values()))

    def all_have_ended(self):
        self.take_reports()
        return all(child.status is not None for child in self.children.values())

    # --- what must hold

    def check_child(self, child):
        """It has what the shell has.  Its program keeps no handler, and may end by the signal."""
        if child.masks:
            assert child.masks == self.masks, child
        if child.way != "by_subprocess":
            self.wait_for_signals(child)
        elif not child.at_once and not (self.group_signalled and self.signal == signal.SIGINT):
            masks = signal_masks(child.pid)
            assert (masks["SigBlk"], masks["SigIgn"]) == (self.masks["SigBlk"],
                                                          self.masks["SigIgn"]), child

    def end_child(self, child):
        """A program may have been ended by the signal to the group."""
        try:
            os.kill(child.pid, signal.SIGTERM)
        except ProcessLookupError:
            assert child.way == "by_subprocess"

    def check_end(self, child):
        allowed = {-signal.SIGTERM}
        if child.way == "short_lived":
            allowed = allowed | {0} if child.at_once else {0}
        if child.way == "by_subprocess" and self.group_signalled:
            allowed.add(-self.signal)
        assert child.status in allowed, child

    def round(self, number):
        self.shell.forget()
        self.children = {}
        self.asked = 0
        self.group_signalled = False
        super().round(number)
        self.shell.wait_until(self.all_are_known, "the %d children to be known" % self.asked)
        for child in self.children.values():
            self.check_child(child)
            if not child.ends_by_itself():
                self.end_child(child)
        self.shell.wait_until(self.all_have_ended, "the children to end: %r" % self.children)
        for child in self.children.values():
            self.check_end(child)
        assert session_members(self.shell.pid) == [self.shell.pid]


def test_each_signal_ends_one_read_beside_children(terminal, tmp_path):
    monitor = ScriptedMonitor(tmp_path)
    shell = terminal(variables=monitor.variables())
    os.mkfifo(os.path.join(shell.home, "wishes"))
    shell.do(READ_LINES)
    shell.do(FORKING)
    shell.do("Tavorin.loggingSyncEnabledIs('%s', on_log)" % monitor.name)
    rounds = RoundsBesideChildren(shell, new_seed(), monitor)
    run_rounds(rounds, SECONDS)
    print(sorted(rounds.counts.items()))
    shell.do("stopping.set()")
    shell.read_line()
