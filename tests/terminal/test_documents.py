"""The documents: every command and every piece of code in them is run, and every link leads
somewhere.

A command is known here by its text, with what runs it.  One that is changed, added or taken out in a
document makes a test fail until this file knows it again.
"""

import os
import pathlib
import re
import shlex
import subprocess

import pytest

from harness import Raised, Returned, sanitizer_environment

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("TAVORIN_BUILD_DIR", ""))
DOCUMENTS = ["README.md", "docs/using.md", "docs/design.md", "docs/benchmarks.md",
             "docs/measurements.md", "bench/README.md"]


def text_of(document):
    return (ROOT / document).read_text()


def code_blocks(document, language):
    return re.findall(r"^```%s\n(.*?)^```$" % language, text_of(document), re.M | re.S)


def commands(document):
    """The indented lines, without their comments."""
    unfenced = re.sub(r"^```.*?^```$", "", text_of(document), flags=re.M | re.S)
    lines = re.findall(r"^    (\S.*)$", unfenced, re.M)
    return [" ".join(shlex.split(line, comments=True)) for line in lines]


# --- Commands

def help_of_script(command, tmp_path):
    """Run in full by the continuous integration or by hand, they tell at least what they do."""
    script = [word for word in command.split() if word.startswith(("scripts/", "bench/"))][0]
    done = subprocess.run([ROOT / script, "--help"], capture_output=True, text=True)
    assert script in done.stdout + done.stderr


def in_continuous_integration(command, tmp_path):
    assert command in (ROOT / ".ci" / "run").read_text()


def runs_the_example(command, tmp_path):
    """With the build and the interpreter of this test."""
    (example,) = [word for word in command.split() if word.startswith("examples/")]
    environment = dict(os.environ, PYTHONPATH=str(BUILD), **sanitizer_environment())
    done = subprocess.run([os.environ["TAVORIN_PYTHON"], ROOT / example], env=environment, text=True,
                          input="show interfaces\nexit\n", capture_output=True)
    assert (done.returncode, done.stdout) == (0, "  eth0     uplink\n  eth1     \n")


def with_cmake(command, tmp_path):
    """The same command for this test's build, and into a folder of this test."""
    words = [str(BUILD) if word == "build" else
             str(BUILD / word[len("build/"):]) if word.startswith("build/") else word
             for word in command.split()]
    if "--install" in words:
        words += ["--prefix", str(tmp_path)]
    if words[0] == "cpack":
        words += ["-B", str(tmp_path)]
    subprocess.run(words, check=True, stdout=subprocess.DEVNULL)


def is_configured(command, tmp_path):
    """Presets and options that CMake knows; another build takes too long for a test."""
    presets = (ROOT / "CMakePresets.json").read_text()
    options = (ROOT / "CMakeLists.txt").read_text() + (ROOT / "bench/CMakeLists.txt").read_text()
    for preset in re.findall(r"--preset (\w+)", command):
        assert '"%s"' % preset in presets
    for folder in re.findall(r"--test-dir (\S+)", command):
        assert '"${sourceDir}/%s"' % folder in presets
    for option in re.findall(r"-D(\w+)", command):
        assert option in options


def is_a_benchmark(command, tmp_path):
    name = command.split("/bench_")[1]
    assert (ROOT / "bench" / (name + ".cc")).is_file()
    assert "tavorin_benchmark(%s" % name in (ROOT / "bench/CMakeLists.txt").read_text()


COMMANDS = {
    "scripts/demo": in_continuous_integration,
    "scripts/test": in_continuous_integration,
    "scripts/test --fast -- -R history": help_of_script,
    "scripts/check-fresh": help_of_script,
    "scripts/build": help_of_script,
    "scripts/setup bench": help_of_script,
    "bench/run": help_of_script,
    "bench/run --quick": help_of_script,
    "bench/run --only typed --only completion": help_of_script,
    "PYTHONPATH=build python2.7 examples/shell.py": runs_the_example,
    "cmake --install build": with_cmake,
    "cmake --install build --component stand-in": with_cmake,
    "cpack --config build/CPackConfig.cmake": with_cmake,
    "cmake --build build --target uninstall": with_cmake,
    "cmake --preset release -DTAVORIN_BENCH=ON": is_configured,
    "cmake --build --preset release": is_configured,
    "cmake --preset debug -DTAVORIN_PYTHON=python2.7": is_configured,
    "cmake --build --preset debug": is_configured,
    "ctest --test-dir build-debug": is_configured,
    "build/bench/bench_bulk_guard": is_a_benchmark,
    "build/bench/bench_history_lines": is_a_benchmark,
    "build/bench/bench_history_memory": is_a_benchmark,
    "build/bench/bench_history_modes": is_a_benchmark,
    "build/bench/bench_history_keys": is_a_benchmark,
}


def test_every_command_is_known_here():
    assert {command for document in DOCUMENTS for command in commands(document)} == set(COMMANDS)


@pytest.mark.parametrize("command", COMMANDS)
def test_command(command, tmp_path):
    kept = {path: path.read_text() for path in BUILD.glob("install_manifest*.txt")}
    try:
        if command.endswith("uninstall"):
            subprocess.run(["cmake", "--install", BUILD, "--prefix", tmp_path], check=True,
                           stdout=subprocess.DEVNULL)
        COMMANDS[command](command, tmp_path)
    finally:
        for path, text in kept.items():
            path.write_text(text)


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
