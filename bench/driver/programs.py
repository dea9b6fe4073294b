"""The programs that are compared, what each can do, and how it is started."""

import dataclasses
import os
import shutil
import subprocess
import tempfile

from session import Session

FLOOR = "libedit_select"
USUAL = "raw_input"
OURS = "tavorin"


@dataclasses.dataclass
class Program:
    name: str
    title: str
    command: list
    environment: dict = dataclasses.field(default_factory=dict)
    takes_log: bool = False
    # Takes milliseconds where the others take microseconds: gets a share of the work only.
    slow: bool = False
    # Enter ends a search only, and has to be pressed once more for the line.
    search_end: bytes = b"\r"
    # Why it cannot be measured on this machine, or None.
    missing: str = None


def python_environment(root, build, libraries):
    path = os.pathsep.join([os.path.join(root, "bench/peers"), build])
    variables = {"PYTHONPATH": path, "PYTHONDONTWRITEBYTECODE": "1"}
    if libraries:
        variables["LD_LIBRARY_PATH"] = libraries
    return variables


def not_built(path):
    return None if os.access(path, os.X_OK) else "it is not built"


def why_missing(command, environment):
    """Runs a check; returns None or the last line of what is wrong."""
    done = subprocess.run(command, env=dict(common_environment("/"), **environment),
                          capture_output=True, text=True)
    if done.returncode == 0:
        return None
    return (done.stderr.strip().splitlines() or ["it does not run"])[-1]


def common_environment(home, locale="C"):
    """What every program gets, and nothing else: no settings of this user's."""
    return {"HOME": home, "TERM": "xterm", "LC_ALL": locale, "PATH": "/usr/bin:/bin",
            "PYTHONHASHSEED": "0"}


def all_programs(root, build, python2, python3, libraries):
    def peer(name):
        return os.path.join(build, "bench", name)

    def script(name):
        return os.path.join(root, "bench/peers", name)

    two = python_environment(root, build, libraries)
    three = dict(python_environment(root, build, ""), PROMPT_TOOLKIT_NO_CPR="1")
    gnu_readline = [python2, "-c", "import readline; assert 'GNU' in readline.__doc__, "
                                   "'its readline module is not over GNU readline'"]
    return [
        Program("libedit", "libedit, C", [peer("peer_libedit")],
                missing=not_built(peer("peer_libedit"))),
        Program(FLOOR, "libedit with select, C (the floor)", [peer("peer_libedit_select")],
                takes_log=True, missing=not_built(peer("peer_libedit_select"))),
        Program("gnu_readline", "GNU readline, C", [peer("peer_gnu_readline")],
                missing=not_built(peer("peer_gnu_readline"))),
        Program(USUAL, "Python 2.7, its readline module", [python2, script("raw_input_peer.py")],
                two, missing=why_missing(gnu_readline, two)),
        Program("prompt_toolkit", "Python 3, prompt_toolkit",
                [python3, script("prompt_toolkit_peer.py")], three, slow=True, search_end=b"\r\r",
                missing=why_missing([python3, "-c", "import prompt_toolkit"], three)),
        Program(OURS, "Tavorin", [python2, script("tavorin_peer.py")], two, takes_log=True,
                missing=why_missing([python2, "-c", "import Tavorin"], two)),
    ]


class Start:
    """Starts sessions, each in a folder of its own, which it removes at their end."""

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="tavorin-bench-")

    def session(self, program, log=False, wrap=(), locale="C"):
        """A session of the program; `wrap` goes before its command."""
        folder = tempfile.mkdtemp(dir=self.folder)
        command = [*wrap, *program.command, os.path.join(folder, "lines")]
        if log:
            command.append(os.path.join(folder, "log"))
            open(command[-1], "w").close()
        command[0] = shutil.which(command[0]) or command[0]
        environment = dict(common_environment(folder, locale), **program.environment)
        return Session(command, environment, folder)

    def close(self):
        shutil.rmtree(self.folder, ignore_errors=True)
