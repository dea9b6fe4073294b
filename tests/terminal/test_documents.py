"""The documents: every command and every piece of code in them is run, and every link leads
somewhere.

A command is known here by its text, with what runs it.  One that is changed, added or taken out in a
document makes a test fail until this file knows it again.
"""

import os
import pathlib
import re
import shlex
import shutil
import subprocess

import pytest

from harness import Raised, Returned, sanitizer_environment

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("TAVORIN_BUILD_DIR", ""))
DOCUMENTS = ["README.md", "docs/robustness.md", "docs/using.md", "docs/design.md", "docs/benchmarks.md",
             "docs/measurements.md", "bench/README.md"]


def text_of(document):
    return (ROOT / document).read_text()


def code_blocks(document, language):
    return re.findall(r"^```%s\n(.*?)^```$" % language, text_of(document), re.M | re.S)


def commands(document):
    """The indented lines, without their comments, and what a text has in backticks."""
    unfenced = re.sub(r"^```.*?^```$", "", text_of(document), flags=re.M | re.S)
    lines = re.findall(r"^    (\S.*)$", unfenced, re.M)
    inline = re.findall(r"`((?:\w+=\S+ )*(?:(?:scripts|build)/\w|cmake |ctest |cpack )[^`]*)`", unfenced)
    return {" ".join(shlex.split(line, comments=True)) for line in lines + inline} - FILES


# --- Commands

# In backticks, too, but no commands.
FILES = {"build/Tavorin.so", "build/bench/measurements.md", "scripts/cppcheck.suppressions",
         "scripts/memcheck.suppressions"}


class Project:
    """The project in another folder, where its commands are run as they stand: what they build, and
    where, is nobody else's.  They take the interpreter of this test for any."""

    def __init__(self, folder):
        self.folder = folder
        for path in ROOT.iterdir():
            if path.name == "scripts":
                shutil.copytree(path, folder / path.name)   # a script finds the project by its folder
            elif not path.name.startswith((".", "build")):
                (folder / path.name).symlink_to(path)
        self.environment = dict(os.environ, PYTHON=os.environ["TAVORIN_PYTHON"],
                                TAVORIN_INSTALL_RECORD=str(folder / "installed"))

    def run(self, command, *more, typed=""):
        """Run it at a command line; returns what it wrote on standard output."""
        command = re.sub(r"^PYTHON=\S+ ", "", command)
        command = command.replace("python2.7", shlex.quote(os.environ["TAVORIN_PYTHON"]))
        done = subprocess.run(["sh", "-c", " ".join([command, *more])], cwd=self.folder, input=typed,
                              env=self.environment, capture_output=True, text=True)
        assert done.returncode == 0, done.stdout + done.stderr
        return done.stdout


@pytest.fixture(scope="module")
def project(tmp_path_factory):
    return Project(tmp_path_factory.mktemp("project"))


def runs(command, project):
    project.run(command)


def runs_the_shell(command, project):
    """After a build, which is quick if there was one."""
    project.run("scripts/build")
    assert project.run(command, typed="show interfaces\nexit\n") == "  eth0     uplink\n  eth1     \n"


def installs(command, project):
    """Into a folder of this test.  The stand-in is built, too, with the module."""
    project.run("scripts/build")
    prefix = project.folder / "prefix"
    project.run(command, "--prefix", shlex.quote(str(prefix)))
    name = "libVesker.so" if "stand-in" in command else "Tavorin.so"
    assert name in [path.name for path in prefix.rglob("*")]


def packs(command, project):
    project.run("scripts/build")
    project.run(command)
    assert len(list((project.folder / "build/packages").glob("*.deb"))) == 2


def uninstalls(command, project):
    installs("cmake --install build", project)
    project.run(command)
    assert not (project.folder / "prefix").exists()


CONFIGURING = {"release": "cmake --preset release -DTAVORIN_BENCH=ON",
               "debug": "cmake --preset debug -DTAVORIN_PYTHON=python2.7"}


def builds_one_target(command, project):
    """All of them would take a minute."""
    project.run(CONFIGURING[command.split()[-1]])
    project.run(command, "--target", "Vesker")


def lists_the_tests(command, project):
    """This is one of them, and another build would take too long to make."""
    project.run(CONFIGURING["debug"])
    assert "terminal.test_documents" in project.run(command, "-N")


def selects_tests(command, project):
    """scripts/test builds all tests, which takes a minute: what it hands on to ctest is tried."""
    project.run(CONFIGURING["debug"])
    said = project.run("ctest --test-dir build-debug -N " + command.partition(" -- ")[2])
    assert "terminal.test_history_calls" in said and "terminal.test_signals" not in said
    assert "--fast" in project.run("scripts/test --help")


def in_continuous_integration(command, project):
    """It runs all tests in all builds: this is a part of it."""
    assert command in (ROOT / ".ci" / "run").read_text()


def makes_a_debian(command, project):
    """It needs root, a mirror and a quarter of an hour, so it only tells what it takes."""
    assert command in project.run(command + " --help")


def tells_its_use(command, project):
    """It takes minutes and more to build."""
    script = command.split()[0]
    assert script in project.run(script + " --help 2>&1")


def soaks(command, project):
    """For a moment, not for an hour."""
    assert "lines" in project.run(command + " --lines 300 --minutes 0")


def is_a_tool(command, project):
    """It installs checkers and takes minutes; tests/scripts tries what it does with stand-ins."""
    script, *arguments = command.split()
    usage = project.run(script + " --help")
    assert script in usage and all(argument in usage for argument in arguments)


def is_a_benchmark(command, project):
    """Run where Google Benchmark is installed and the build of this test has made them."""
    name = command.split("/bench_")[1]
    assert (ROOT / "bench" / (name + ".cc")).is_file()
    assert "tavorin_benchmark(%s" % name in (ROOT / "bench/CMakeLists.txt").read_text()
    program = BUILD / "bench" / ("bench_" + name)
    if program.exists():
        subprocess.run([program, "--benchmark_list_tests=true"], check=True)


COMMANDS = {
    "scripts/build": runs,
    "scripts/demo": runs_the_shell,
    "PYTHON=/opt/python2.7/bin/python2.7 scripts/demo": runs_the_shell,
    "PYTHONPATH=build python2.7 examples/shell.py": runs_the_shell,
    "scripts/test": in_continuous_integration,
    "scripts/test --fast -- -R history": selects_tests,
    "scripts/check-fresh": makes_a_debian,
    "cmake --install build": installs,
    "cmake --install build --component stand-in": installs,
    "cpack --config build/CPackConfig.cmake": packs,
    "cmake --build build --target uninstall": uninstalls,
    "cmake --preset release -DTAVORIN_BENCH=ON": runs,
    "cmake --build --preset release": builds_one_target,
    "cmake --preset debug -DTAVORIN_PYTHON=python2.7": runs,
    "cmake --build --preset debug": builds_one_target,
    "ctest --test-dir build-debug": lists_the_tests,
    "scripts/soak": soaks,
    "scripts/coverage": is_a_tool,
    "scripts/coverage --quick": is_a_tool,
    "scripts/memcheck": is_a_tool,
    "scripts/lint": is_a_tool,
    "scripts/lint --quick": is_a_tool,
    "scripts/fuzz": tells_its_use,
    "scripts/setup bench": tells_its_use,
    "bench/run": tells_its_use,
    "bench/run --quick": tells_its_use,
    "bench/run --only typed --only completion": tells_its_use,
    "build/bench/bench_bulk_guard": is_a_benchmark,
    "build/bench/bench_history_lines": is_a_benchmark,
    "build/bench/bench_history_memory": is_a_benchmark,
    "build/bench/bench_history_modes": is_a_benchmark,
    "build/bench/bench_history_keys": is_a_benchmark,
}


def test_every_command_is_known_here():
    assert {command for document in DOCUMENTS for command in commands(document)} == set(COMMANDS)


@pytest.mark.parametrize("command", COMMANDS)
def test_command(command, project):
    COMMANDS[command](command, project)


# --- Links and names

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


def test_every_room_is_in_the_table():
    """The README tells what each file of the source is for, and of no other."""
    rows = re.findall(r"^\| (`.*?) \|", text_of("README.md"), re.M)
    named = set()
    for row in rows:
        names = re.findall(r"`([^`]+)`", row)
        folder = names[0].rpartition("/")[0]
        named |= {name if "/" in name else folder + "/" + name for name in names}
    named = {name.rpartition(".")[0] or name for name in named if name.startswith("src/")}
    files = {str(path.relative_to(ROOT).with_suffix("")) for folder in ("Cli", "editline")
             for path in (ROOT / "src" / folder).iterdir()}
    assert files - named == {"src/Cli/exports", "src/Cli/python", "src/editline/layer_state"}
    assert named - files == set()


# --- Code

def test_all_code_is_in_the_page_on_using():
    assert [document for document in DOCUMENTS if code_blocks(document, "python")] == [
        "docs/using.md"]


@pytest.fixture
def blocks():
    return code_blocks("docs/using.md", "python")


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


def test_the_log(shell, blocks):
    shell.do(blocks[3])
    shell.begin_line("half", "Tavorin.readline('> ')")
    log, = pathlib.Path(shell.home).rglob("device.log")
    with open(log, "a") as file:
        file.write("eth0: link down\n")
    shell.wait_for_row(1, "eth0: link down")
    shell.wait_for_row(2, "> half")
    shell.type("<enter>")
    assert shell.outcome() == Returned("half")


def test_the_next_user(shell, blocks):
    shell.do(blocks[4])
    shell.read_line()
    shell.do("Tavorin.addHistory('a line', 'exec', '')")
    shell.do("next_user(os.ttyname(0))")
    assert shell.do("Tavorin.history()") == []
    shell.read_line()


def test_no_block_is_left_out(blocks):
    assert len(blocks) == 5
