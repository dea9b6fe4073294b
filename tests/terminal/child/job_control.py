"""A very small shell with job control: it runs one command as its foreground job.

The kernel never stops a process by SIGTSTP whose process group is orphaned, and the child of a
test is alone in its session.  Under this parent, which is the session's leader and stays in a
process group of its own, it can be stopped and continued as under a login shell.

Usage: job_control.py STATUS_FD VARIABLES COMMAND ARGUMENT...

Writes one JSON line to STATUS_FD for every change in the job's state.  VARIABLES is a JSON object
with environment variables for the job alone.
"""

import json
import os
import signal
import sys


def tell(status_fd, **fields):
    os.write(status_fd, (json.dumps(fields) + "\n").encode())


def become_foreground_job():
    """Move the calling process to a new process group, and give that one the terminal."""
    os.setpgid(0, 0)
    signal.signal(signal.SIGTTOU, signal.SIG_IGN)
    terminal = os.open("/dev/tty", os.O_RDWR | os.O_CLOEXEC)
    os.tcsetpgrp(terminal, os.getpid())
    os.close(terminal)
    signal.signal(signal.SIGTTOU, signal.SIG_DFL)


def run_job(variables, command):
    """Start the job in the foreground, and return its process id."""
    pid = os.fork()
    if pid:
        return pid
    try:
        become_foreground_job()
        os.environ.update(variables)
        os.execv(command[0], command)
    finally:
        os._exit(127)


def main():
    status_fd = int(sys.argv[1])
    os.set_inheritable(status_fd, False)
    pid = run_job(json.loads(sys.argv[2]), sys.argv[3:])
    tell(status_fd, state="started", pid=pid)
    while True:
        status = os.waitpid(pid, os.WUNTRACED | os.WCONTINUED)[1]
        if os.WIFSTOPPED(status):
            tell(status_fd, state="stopped", signal=os.WSTOPSIG(status))
        elif os.WIFCONTINUED(status):
            tell(status_fd, state="continued")
        else:
            tell(status_fd, state="ended", returncode=os.waitstatus_to_exitcode(status))
            return


main()
