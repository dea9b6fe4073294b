"""The documents: the commands of the README and the code of the page on using do what is said, and every
path and every link leads somewhere."""

import os
import pathlib
import re
import shlex
import shutil
import subprocess

import pytest

from harness import Raised, Returned
from monitor import assert_bursts_are_shown, assert_whole_lines_count
from screen import Wrapped

ROOT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENTS = ["README.md", "bench/README.md", *(str(path.relative_to(ROOT))
                                               for path in sorted(ROOT.glob("docs/*.md")))]


def text_of(document):
    return (ROOT / document).read_text()


# --- The commands of the README

# For the commands in which the first text is: what is put behind them, so that they take a moment only
# and leave the system alone, and what must come of them: what they write, or the files that there are.
RUNS = [
    ("scripts/demo", "", "  eth0     uplink\n  eth1     \n"),
    ("examples/shell.py", "", "  eth0     uplink\n  eth1     \n"),
    ("scripts/test", "--help", "usage: scripts/test"),
    ("scripts/build", "", ["build/Tavorin.so"]),
    ("--component stand-in", "--prefix prefix", ["prefix/**/Tavorin.so", "prefix/**/libVesker.so"]),
    ("cmake --install", "--prefix prefix", ["prefix/**/Tavorin.so"]),
    ("cpack", "", ["build/packages/tavorin_*.deb", "build/packages/tavorin-stand-in_*.deb"]),
    ("--target uninstall", "; ! ls prefix", []),
    ("cmake --preset debug", "", ["build-debug/build.ninja"]),
    ("cmake --build --preset debug", "--target Vesker", ["build-debug/libVesker.so"]),
    ("ctest", "-N", "terminal.test_documents"),
]


def commands():
    """The indented lines, without their comments, and what the text has in backticks."""
    found = re.findall(r"^    (\S.*)$|`((?:\w+=\S+ )*scripts/\w[^`]*)`", text_of("README.md"), re.M)
    return list(dict.fromkeys(" ".join(shlex.split(line or inline, comments=True))
                              for line, inline in found))


def row_of(command):
    return next((row for row in RUNS if row[0] in command), None)


@pytest.fixture(scope="module")
def project(tmp_path_factory):
    """The project in another folder, where its commands are run as they stand."""
    folder = tmp_path_factory.mktemp("project")
    for path in ROOT.iterdir():
        if path.name == "scripts":
            shutil.copytree(path, folder / path.name)   # a script finds the project by its folder
        elif not path.name.startswith((".", "build")):
            (folder / path.name).symlink_to(path)
    return folder


@pytest.mark.parametrize("command", commands())
def test_command_of_the_readme(command, project):
    """In the order of the README: what is installed was built before."""
    assert row_of(command), "RUNS has to say how this is run here"
    _, added, expected = row_of(command)
    python = os.environ["TAVORIN_PYTHON"]
    line = re.sub(r"[\w./]*python2\.7", lambda _: shlex.quote(python), command)
    done = subprocess.run(
        "%s %s" % (line, added), shell=True, cwd=project, input="show interfaces\nexit\n",
        env=dict(os.environ, PYTHON=python, TAVORIN_INSTALL_RECORD=str(project / "installed")),
        capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr
    if isinstance(expected, str):
        assert expected in done.stdout
    else:
        assert all(list(project.glob(pattern)) for pattern in expected)


def test_every_row_is_for_a_command():
    used = [row_of(command) for command in commands()]
    assert [row for row in RUNS if row not in used] == []


# --- Links and paths

@pytest.mark.parametrize("document", DOCUMENTS)
def test_links_lead_somewhere(document):
    for target in re.findall(r"\]\(([^)]+)\)", text_of(document)):
        if target.startswith("http"):
            continue
        path, _, section = target.partition("#")
        linked = (ROOT / document).parent / path if path else ROOT / document
        assert linked.exists(), target
        if section:
            titles = re.findall(r"^#+ (.*)$", linked.read_text(), re.M)
            assert section in [title.lower().replace(" ", "-") for title in titles]


FOLDERS = [path for path in ROOT.iterdir()
           if path.is_dir() and not path.name.startswith((".", "build"))]


def named_paths(document):
    """What begins with a folder of the project, anywhere in the text, and names of files in backticks."""
    text = text_of(document)
    folders = "|".join(folder.name for folder in FOLDERS)
    return (re.findall(r"(?<![\w./-])(?:%s)/[\w./-]*\b" % folders, text) +
            re.findall(r"`([\w-]+\.(?:cc|h|py|md|cmake))`", text))


def is_there(path):
    """As it is, or as a file of the source without its ending; a name alone may be in any folder."""
    if "/" in path:
        return (ROOT / path).exists() or any(ROOT.glob(path + ".*"))
    return any(any(folder.rglob(path)) for folder in FOLDERS)


@pytest.mark.parametrize("document", DOCUMENTS)
def test_paths_exist(document):
    missing = [path for path in named_paths(document) if not is_there(path)]
    assert not missing, ", ".join(missing)


# --- The code of the page on using

@pytest.fixture
def blocks():
    found = re.findall(r"^```python\n(.*?)^```$", text_of("docs/using.md"), re.M | re.S)
    assert len(found) == 7, "each has a test below"
    return found


def test_the_shell_in_twenty_lines(shell, blocks):
    assert len(blocks[0].splitlines()) <= 20
    shell.ask(blocks[0])
    shell.wait_for_prompt("device> ")
    shell.type("show ver?")
    shell.wait_for_row(1, "version    Tell the version")
    shell.wait_for_cursor_row("device> show ver")
    shell.type("<tab>now<enter>")
    shell.wait_for_row(3, "device>")
    shell.type("<up>")
    shell.wait_for_cursor_row("device> show version now")
    shell.type("<ctrl-c>")
    shell.wait_for_screen("(Ctrl-C pressed)")
    shell.wait_for_row(5, "device>")
    shell.type("<ctrl-z>")
    shell.wait_for_screen("(Ctrl-Z pressed)")
    shell.type("<ctrl-d>")
    assert shell.outcome() == Returned(None)
    shell.assert_settings_as_before()


def test_the_completion_that_replaces(shell, blocks):
    shell.do(blocks[1])
    shell.begin_line("ping loopback", "Tavorin.readline('> ', complete)")
    shell.type("<tab><enter>")
    assert shell.outcome() == Returned("ping 127.0.0.1")


def test_the_tree_of_modes(shell, blocks):
    shell.do(blocks[2])
    shell.ask("Tavorin.newHistoryMode('new', 'unknown')")
    assert shell.outcome() == Raised("KeyError", "'unknown'")


@pytest.fixture
def log(shell, blocks):
    """The log of the page, with its monitor on."""
    shell.do(blocks[3])
    found, = pathlib.Path(shell.home).rglob("device.log")
    return found


@pytest.mark.parametrize("half, left", [("half", []), ("x" * 100, ["> " + "x" * 78])],
                         ids=["a row", "two rows"])
def test_the_log(shell, log, half, left):
    """What a message leaves of the half-typed line above it, and the whole of it below."""
    shell.do("print 'earlier'")
    shell.begin_line()
    shell.type(half)
    line = Wrapped("> " + half, 80)
    line.wait(shell, above=["earlier"])
    with open(log, "a") as file:
        file.write("eth0: link down\n")
    line.wait(shell, above=["earlier", *left, "eth0: link down"])
    shell.type("<enter>")
    assert shell.outcome() == Returned(half)


def test_the_log_in_pieces(shell, log):
    shown = len(shell.output)
    assert_whole_lines_count(log, lambda: shell.do("show_news(0, 0)"))
    shell.wait_for_output(b"next\r\n", shown)
    assert bytes(shell.output[shown:]) == b"\r\033[Jhalf\r\n\r\033[Jnext\r\n"


def test_the_log_in_bursts(shell, log):
    shell.begin_line("half")
    assert_bursts_are_shown(shell, log, "> half")
    shell.type("<enter>")
    assert shell.outcome() == Returned("half")


def test_the_next_user(shell, blocks):
    shell.do(blocks[4])
    shell.read_line()
    shell.do("Tavorin.addHistory('a line', 'exec', '')")
    shell.do("next_user(os.ttyname(0))")
    assert shell.do("Tavorin.history()") == []
    shell.read_line()


@pytest.mark.parametrize("shut_off, line", [(False, "cab"), (True, "abc")])
def test_the_settings_file_that_is_not_read(shell, blocks, shut_off, line):
    pathlib.Path(shell.home, ".editrc").write_text("bind ^O ed-move-to-beg\n")
    shell.do(blocks[5] if shut_off else "")
    shell.begin_line()
    shell.type("ab<ctrl-o>c<enter>")
    assert shell.outcome() == Returned(line)


def test_the_marks_of_a_paste(shell, blocks):
    shell.do(blocks[6])
    shell.do("mark_pastes(True)")
    shell.wait_for_output(b"\x1b[?2004h")
    shell.begin_line("a", "Tavorin.readline('> ', lambda *key: 'completed')")
    shell.paste(b"\x1b[200~\t?\x1b[201~\r")
    assert shell.outcome() == Returned("a\t?")
    shell.do("mark_pastes(False)")
    shell.wait_for_output(b"\x1b[?2004l")
