"""Starting a program in a session of its own on a terminal, and leaving nothing of it behind."""

import ctypes
import fcntl
import os
import platform
import signal
import subprocess
import termios


def _take_terminal(slave, closed):
    """Runs in the new process before its program: make `slave` the controlling terminal.

    Signal dispositions and the mask are inherited, and a test run in the background may have
    SIGINT ignored: every child starts from the same defaults.
    """
    fcntl.ioctl(slave, termios.TIOCSCTTY, 0)
    for number in signal.valid_signals() - {signal.SIGKILL, signal.SIGSTOP}:
        try:
            signal.signal(number, signal.SIG_DFL)
        except OSError:
            pass  # kept by the C library for itself
    signal.pthread_sigmask(signal.SIG_SETMASK, [])
    for fd in closed:
        os.close(fd)


def start_in_session(command, slave, streams, environment, folder, inherited):
    """Start `command` as the leader of a new session whose terminal is `slave`.

    `streams` are the descriptors for standard input, output and error; None closes that one.
    """
    closed = [number for number, fd in enumerate(streams) if fd is None]
    stdin, stdout, stderr = (slave if fd is None else fd for fd in streams)
    return subprocess.Popen(
        command, stdin=stdin, stdout=stdout, stderr=stderr, env=environment, cwd=folder,
        pass_fds=inherited, start_new_session=True,
        preexec_fn=lambda: _take_terminal(slave, closed))


def _fields(pid):
    """What the kernel says about a process, from its state on."""
    with open("/proc/%s/stat" % pid) as stat:
        # The name in parentheses may itself hold spaces and parentheses.
        return stat.read().rpartition(")")[2].split()


def state(pid):
    """The letter for what the process does: "S" sleeps, "R" runs, "T" is stopped."""
    return _fields(pid)[0]


def session_members(session):
    """The process ids of every live process in `session`; what has died but not been reaped is no
    member."""
    members = []
    for name in os.listdir("/proc"):
        if not name.isdigit():
            continue
        try:
            fields = _fields(name)
        except OSError:
            continue
        if int(fields[3]) == session and fields[0] not in "ZX":
            members.append(int(name))
    return members


def signal_thread(pid, thread, number):
    """Send a signal to one thread of a process; a thread that has ended gets none, an error."""
    if ctypes.CDLL(None, use_errno=True).tgkill(pid, thread, number) != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


# The system calls in which a line reader waits for a key, and for room for its output.
_PSELECT = {"x86_64": "270", "aarch64": "72"}[platform.machine()]
_WRITE = {"x86_64": "1", "aarch64": "64"}[platform.machine()]


def waits_in_select(pid, thread=None):
    """Whether that thread, or any of the process, sleeps in the system call that waits for a key."""
    return _sleeps_in(pid, _PSELECT, [thread] if thread else None)


def waits_in_write(pid):
    """Whether a thread of the process sleeps until somebody takes what it writes."""
    return _sleeps_in(pid, _WRITE)


def _sleeps_in(pid, number, threads=None):
    try:
        threads = threads or os.listdir("/proc/%d/task" % pid)
    except OSError:
        return False    # it has ended
    for thread in threads:
        try:
            with open("/proc/%d/task/%s/syscall" % (pid, thread)) as call:
                if call.read().split()[0] == number:
                    return True
        except (OSError, IndexError):
            continue
    return False


def signal_masks(pid):
    """Which signals the process has blocked, ignored and caught, as the kernel writes them."""
    with open("/proc/%d/status" % pid) as status:
        fields = dict(line.rstrip("\n").split(":", 1) for line in status)
    return {name: fields[name].strip() for name in ("SigBlk", "SigIgn", "SigCgt")}


def processor_seconds(pid):
    """The processor time that the process has used up to now."""
    fields = _fields(pid)
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def _kilobytes(pid, field):
    with open("/proc/%d/status" % pid) as status:
        return next(int(line.split()[1]) for line in status if line.startswith(field + ":"))


def resident_bytes(pid):
    """The memory that the process has in use."""
    return _kilobytes(pid, "VmRSS") * 1024


def peak_bytes(pid):
    """The most memory that the process has ever had in use."""
    return _kilobytes(pid, "VmHWM") * 1024


def open_descriptors(pid):
    """How many descriptors the process has open."""
    return len(os.listdir("/proc/%d/fd" % pid))


def thread_count(pid):
    """How many threads the process has."""
    return len(os.listdir("/proc/%d/task" % pid))


def describe_end(returncode):
    """How a process ended, in words."""
    if returncode is None:
        return "still running"
    if returncode < 0:
        return "died of %s" % signal.Signals(-returncode).name
    return "exited with status %d" % returncode
