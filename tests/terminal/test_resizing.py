"""The window is resized while a line of three rows is edited: in a terminal that leaves its rows as
they are, and in tmux, which wraps them anew.

What counts is how many rows show the beginning of the prompt, and that no earlier row is lost.
"""

import os
import shutil
import subprocess
import tempfile
import time

import pytest

from harness import PATIENCE, Raised

ROWS, COLUMNS = 24, 80
LINE = "".join("%03d," % number for number in range(52))[:207]

SLOWLY, AT_ONCE = True, False
DRAG = [(ROWS, columns) for columns in [*range(79, 49, -1), *range(51, 81)]]

# Whether the line is drawn at each size, the sizes, and how many prompts may be left.
CHANGES = [
    pytest.param(SLOWLY, [(12, COLUMNS), (40, COLUMNS), (ROWS, COLUMNS)], 1, id="heights"),
    pytest.param(SLOWLY, [(ROWS, 50)], 2, id="narrower"),
    pytest.param(SLOWLY, [(ROWS, 130)], 2, id="wider"),
    pytest.param(AT_ONCE, DRAG, 3, id="dragged fast"),
    pytest.param(SLOWLY, [(ROWS, columns) for columns in (68, 51, 50, 53, 70, 80)], 3,
                 id="dragged slowly"),
]
AT_THE_END, IN_THE_MIDDLE, AT_THE_BEGINNING = "", "\001" + "\033f" * 25, "\001"


class Emulated:
    """A terminal that leaves its rows as they are."""

    def __init__(self, terminal, earlier, prompt):
        self.shell = terminal(rows=ROWS, columns=COLUMNS)
        self.shell.do("for number in range(%d): print 'earlier %%d' %% number" % earlier)
        self.shell.ask("Tavorin.readline(%r)" % prompt)
        self.shell.wait_until(self.shell.is_editing, "a line to be edited")

    def type(self, keys):
        self.shell.paste(keys.encode())
        self.shell.wait_until(self.shell.has_taken_all_keys, "the keys to be taken")
        self.shell.wait_for_sleep()

    def resize(self, rows, columns):
        self.shell.resize(rows, columns)

    def drawn(self):
        return len(self.shell.output)

    def wait_until(self, condition):
        self.shell.wait_until(condition, "the line to be drawn")

    def rows(self):
        return [row.rstrip() for row in self.shell.screen.display]

    def close(self):
        self.shell.type("<ctrl-c>")
        assert self.shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")


class Tmux:
    """tmux wraps its rows anew, and keeps those that scroll off."""

    # The line end at the start is typed when the output is being recorded.
    SHELL = """
import sys
sys.stdin.readline()
for number in range(%d): print 'earlier %%d' %% number
import Tavorin
Tavorin.readline(%r)
"""

    def __init__(self, _, earlier, prompt):
        self.folder = tempfile.mkdtemp()
        self.output = os.path.join(self.folder, "output")
        script = os.path.join(self.folder, "shell.py")
        with open(script, "w") as file:
            file.write(self.SHELL % (earlier, prompt))
        self.call("-f", "/dev/null", "new-session", "-d", "-x", str(COLUMNS), "-y", str(ROWS),
                  "PYTHONPATH=%s HOME=%s LC_ALL=C.UTF-8 exec %s %s" % (
                      os.environ["TAVORIN_MODULE_DIR"], self.folder,
                      os.environ["TAVORIN_PYTHON"], script))
        self.call("set-option", "-g", "status", "off")
        self.call("pipe-pane", "exec cat >" + self.output)
        self.call("send-keys", "Enter")
        self.wait_until(lambda: any(row.endswith(">") for row in self.rows()))

    def call(self, *arguments):
        return subprocess.run(["tmux", "-S", os.path.join(self.folder, "socket"), *arguments],
                              check=True, stdout=subprocess.PIPE, text=True,
                              start_new_session=True).stdout

    def type(self, keys):
        drawn = self.drawn()
        self.call("send-keys", "-l", keys)
        self.wait_until(lambda: self.drawn() > drawn)

    def resize(self, rows, columns):
        self.call("resize-window", "-x", str(columns), "-y", str(rows))

    def drawn(self):
        return os.path.getsize(self.output) if os.path.exists(self.output) else 0

    def wait_until(self, condition):
        end = time.monotonic() + PATIENCE
        while not condition():
            assert time.monotonic() < end, "\n".join(self.rows())
            time.sleep(0.01)

    def rows(self):
        return self.call("capture-pane", "-p", "-S", "-").split("\n")

    def close(self):
        self.call("kill-server")
        shutil.rmtree(self.folder)


@pytest.fixture
def begin(terminal):
    """Begins the line at a terminal of the kind given, and moves the cursor."""
    screens = []

    def start(kind, earlier, keys, prompt="> "):
        screen = kind(terminal, earlier, prompt)
        screens.append(screen)
        screen.type(LINE)
        if keys:
            screen.type(keys)
        return screen

    yield start
    for screen in screens:
        screen.close()


def resize(screen, slowly, sizes):
    for size in sizes:
        drawn = screen.drawn()
        screen.resize(*size)
        if slowly or size == sizes[-1]:
            screen.wait_until(lambda: screen.drawn() > drawn)


def expect(screen, earlier, prompts, beginning="> 000,"):
    """At most so many prompts, below all rows that were there before, as far as they are kept."""
    def is_right():
        rows = screen.rows()
        begins = [number for number, row in enumerate(rows) if row.startswith(beginning)]
        return (0 < len(begins) <= prompts
                and "earlier %d" % (earlier - 1) in rows[:begins[0]]
                and not any(row.startswith("earlier") for row in rows[begins[0]:])
                and "".join(rows[begins[-1]:]).strip() == beginning + LINE[4:])
    screen.wait_until(is_right)


@pytest.mark.parametrize("slowly, sizes, prompts", CHANGES)
@pytest.mark.parametrize("kind, earlier, keys", [
    pytest.param(Emulated, 3, AT_THE_END, id="emulated-top"),
    pytest.param(Emulated, 60, AT_THE_END, id="emulated-bottom"),
    pytest.param(Emulated, 60, IN_THE_MIDDLE, id="emulated-middle"),
    pytest.param(Emulated, 60, AT_THE_BEGINNING, id="emulated-beginning"),
    pytest.param(Tmux, 3, AT_THE_END, id="tmux-top"),
    pytest.param(Tmux, 60, IN_THE_MIDDLE, id="tmux-middle"),
])
def test_few_prompts_are_left_and_nothing_is_lost(begin, kind, earlier, keys, slowly, sizes,
                                                  prompts):
    screen = begin(kind, earlier, keys)
    resize(screen, slowly, sizes)
    expect(screen, earlier, prompts)


@pytest.mark.parametrize("kind", [Emulated, Tmux])
@pytest.mark.parametrize("prompt, beginning", [
    ("\\001\\033[1m\\002> \\001\\033[0m\\002", "> 000,"),
    ("one\\ntwo> ", "two> 000,"),
])
def test_a_prompt_with_colours_or_of_two_rows(begin, kind, prompt, beginning):
    screen = begin(kind, 3, AT_THE_END, prompt.encode().decode("unicode_escape"))
    for sizes in (CHANGES[1].values[1], CHANGES[2].values[1]):
        resize(screen, SLOWLY, sizes)
    expect(screen, 3, 3, beginning)
    assert len([row for row in screen.rows() if row == "one"]) == (beginning != "> 000,")
