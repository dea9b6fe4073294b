"""Line input that is no terminal: a pipe, a file, nothing at all.

There each read gives a line for as long as there is one, and then says so again and again; a shell
that is fed by a script must come to its end, and never spin or crash.
"""

import fcntl
import os
import signal

import pytest

from harness import CLOSED, PIPE, TERMINAL, Raised, Returned
from processes import processor_seconds

END_OF_INPUT = Raised("EOFError", "readline returned NULL")
SIMPLE_END_OF_INPUT = Raised("EOFError", "simpleReadline returned NULL")

# Much more than hundreds of reads need, and much less than a reader that spins uses up.
PROCESSOR_SECONDS = 5

# Reads until the input ends, and then some more; returns the lines and the exceptions.
READ_ALL = """
def read_all(read, more=3):
    lines, ends = [], []
    while len(ends) < more:
        try:
            lines.append(read("> "))
        except EOFError as error:
            ends.append(str(error))
    return [lines, ends]
"""

INPUTS = {
    "nothing": (b"", []),
    "one line": (b"abc\n", ["abc"]),
    "many lines": (b"".join(b"line %d\n" % n for n in range(500)),
                   ["line %d" % n for n in range(500)]),
    "empty lines": (b"\n\nabc\n\n", ["", "", "abc", ""]),
    "no newline at the end": (b"abc\ndef", ["abc", "def"]),
    "only a word": (b"abc", ["abc"]),
    "blanks": (b"  abc  \n \n\t\n", ["  abc  ", " ", "\t"]),
    # Either of the two ends a line, and only the newline is taken off it.
    "carriage returns": (b"abc\r\ndef\rgh\r\n", ["abc\r", "", "def\r", "gh\r", ""]),
    "keys that edit at a terminal": (b"ab\x01c\x02\x15\x17d\x7f\x1b[De\tf?\n",
                                     ["ab\x01c\x02\x15\x17d\x7f\x1b[De\tf?"]),
    "signal and end-of-file characters": (b"a\x03b\x1ac\x04d\x1ce\n", ["a\x03b\x1ac\x04d\x1ce"]),
    "a history event": (b"!!\n!abc\n^a^b\n", ["!!", "!abc", "^a^b"]),
    "UTF-8": ("gr\u00fc\u00df dich \u20ac \U0001f600\n\u00e4\n".encode(),
              ["gr\u00fc\u00df dich \u20ac \U0001f600", "\u00e4"]),
    "Latin-1": (b"gr\xfc\xdf dich\n\xe4\n", ["gr\udcfc\udcdf dich", "\udce4"]),
}
for _length in (1022, 1023, 1024, 1025, 5000, 100000):
    INPUTS["%d bytes" % _length] = (b"x" * _length + b"\nabc\n", ["x" * _length, "abc"])


@pytest.fixture(params=["pipe", "file"])
def start(request, terminal, tmp_path):
    """Starts a shell whose standard input is a pipe or a file with the given data."""
    def start_with(data, **options):
        if request.param == "file":
            (tmp_path / "input").write_bytes(data)
            reader = os.open(tmp_path / "input", os.O_RDONLY)
        else:
            reader = filled_pipe(data)
        shell = terminal(stdin=reader, **options)
        os.close(reader)
        shell.do(READ_ALL)
        return shell
    return start_with


def filled_pipe(data):
    """The reading end of a pipe in which all of `data` waits, and nothing will follow."""
    reader, writer = os.pipe()
    fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, max(65536, len(data)))
    if data:
        assert os.write(writer, data) == len(data)
    os.close(writer)
    return reader


def assert_little_work(shell):
    assert processor_seconds(shell.pid) < PROCESSOR_SECONDS


@pytest.mark.parametrize("data, lines", list(INPUTS.values()), ids=list(INPUTS))
def test_lines(start, data, lines):
    shell = start(data)
    assert shell.do("read_all(Tavorin.readline)") == [lines, ["readline returned NULL"] * 3]
    assert_little_work(shell)


@pytest.mark.parametrize("locale", ["C.UTF-8", "C"])
@pytest.mark.parametrize("name", ["many lines", "UTF-8", "Latin-1", "no newline at the end"])
def test_lines_in_a_locale(start, locale, name):
    data, lines = INPUTS[name]
    shell = start(data, locale=locale)
    shell.do("import locale; locale.setlocale(locale.LC_ALL, '')")
    assert shell.do("read_all(Tavorin.readline)") == [lines, ["readline returned NULL"] * 3]


@pytest.mark.parametrize("name", ["nothing", "many lines", "empty lines", "no newline at the end"])
def test_simple_lines(start, name):
    data, lines = INPUTS[name]
    shell = start(data)
    assert shell.do("read_all(Tavorin.simpleReadline)") == [
        lines, ["simpleReadline returned NULL"] * 3]
    assert_little_work(shell)


@pytest.mark.parametrize("stdout", [PIPE, CLOSED], ids=["into a pipe", "into nothing"])
@pytest.mark.parametrize("name", ["nothing", "many lines", "no newline at the end"])
def test_lines_with_output_elsewhere(start, stdout, name):
    data, lines = INPUTS[name]
    shell = start(data, stdout=stdout)
    assert shell.do("read_all(Tavorin.readline)") == [lines, ["readline returned NULL"] * 3]


def test_the_terminal_is_left_alone(start):
    shell = start(b"abc\n")
    shell.do("read_all(Tavorin.readline)")
    shell.assert_settings_as_before()


def test_end_of_input_a_thousand_times(start):
    shell = start(b"")
    assert shell.do("read_all(Tavorin.readline, 1000)") == [
        [], ["readline returned NULL"] * 1000]
    assert_little_work(shell)


def test_a_completer_is_not_asked(start):
    shell = start(b"ab\tc?\n")
    shell.do("def completer(key, line, position):\n    report('completion')\n")
    assert shell.do("Tavorin.readline('> ', completer)") == "ab\tc?"
    assert not shell.has_report("completion")


class TestAPipeThatIsFilledSlowly:
    @pytest.fixture
    def pipe(self):
        reader, writer = os.pipe()
        yield reader, writer
        for fd in (reader, writer):
            try:
                os.close(fd)
            except OSError:
                pass

    def test_a_line_in_pieces(self, terminal, pipe):
        shell = terminal(stdin=pipe[0])
        shell.ask("Tavorin.readline('> ')")
        for piece in (b"a", b"b", b"c\nd"):
            shell.wait_for_sleep()
            os.write(pipe[1], piece)
        assert shell.outcome() == Returned("abc")
        os.write(pipe[1], b"ef\n")
        assert shell.do("Tavorin.readline('> ')") == "def"

    def test_an_end_that_comes_late(self, terminal, pipe):
        shell = terminal(stdin=pipe[0])
        os.close(pipe[0])
        shell.ask("Tavorin.readline('> ')")
        shell.wait_for_sleep()
        os.close(pipe[1])
        assert shell.outcome() == END_OF_INPUT

    def test_python_reads_on_where_the_module_stopped(self, terminal, pipe):
        """The module takes no byte more than its line from the descriptor."""
        shell = terminal(stdin=pipe[0])
        os.write(pipe[1], b"abc\ndef\n")
        assert shell.do("Tavorin.readline('> ')") == "abc"
        assert shell.do("os.read(0, 100)") == "def\n"

    @pytest.mark.parametrize("number, message", [(signal.SIGINT, "Ctrl-C pressed"),
                                                 (signal.SIGTSTP, "Ctrl-Z pressed")])
    def test_a_signal_ends_the_read(self, terminal, pipe, number, message):
        shell = terminal(stdin=pipe[0])
        for _ in range(2):
            shell.ask("Tavorin.readline('> ')")
            shell.wait_for_sleep()
            shell.signal(number)
            assert shell.outcome() == Raised("KeyboardInterrupt", message)
            shell.assert_settings_as_before()
        os.write(pipe[1], b"abc\n")
        assert shell.do("Tavorin.readline('> ')") == "abc"


@pytest.mark.parametrize("call, end", [("Tavorin.readline('> ')", END_OF_INPUT),
                                       ("Tavorin.simpleReadline('> ')", SIMPLE_END_OF_INPUT)],
                         ids=["readline", "simpleReadline"])
class TestNoInputAtAll:
    def check(self, shell, call, end):
        for _ in range(5):
            shell.ask(call)
            assert shell.outcome() == end
        assert_little_work(shell)
        shell.assert_settings_as_before()

    @pytest.mark.parametrize("stdout", [TERMINAL, PIPE, CLOSED])
    def test_dev_null(self, terminal, call, end, stdout):
        with open(os.devnull) as null:
            shell = terminal(stdin=null.fileno(), stdout=stdout)
        self.check(shell, call, end)

    @pytest.mark.parametrize("stdout", [TERMINAL, PIPE, CLOSED])
    def test_a_closed_descriptor(self, terminal, call, end, stdout):
        shell = terminal(stdin=CLOSED, stdout=stdout)
        self.check(shell, call, end)

    def test_a_descriptor_closed_later(self, shell, call, end):
        shell.read_line()
        shell.do("os.close(0)")
        self.check(shell, call, end)

    def test_a_descriptor_for_writing(self, terminal, call, end, tmp_path):
        with open(tmp_path / "output", "wb") as output:
            shell = terminal(stdin=output.fileno())
        self.check(shell, call, end)


# What a shell may have put into the place of the two objects: nothing that the module can use.
# The process's own streams are taken then.
REPLACEMENTS = {
    "closed": "sys.{0}.close()",
    "a string file": "import StringIO; sys.{0} = StringIO.StringIO('not this\\n')",
    "a number": "sys.{0} = 5",
    "None": "sys.{0} = None",
    "deleted": "del sys.{0}",
    "a closed file": "sys.{0} = open('/dev/null', 'r+'); sys.{0}.close()",
}


@pytest.mark.parametrize("replacement", list(REPLACEMENTS.values()), ids=list(REPLACEMENTS))
class TestReplacedStreams:
    @pytest.mark.parametrize("name", ["stdin", "stdout"])
    def test_the_terminal_behind_the_process_is_read(self, shell, replacement, name):
        shell.do("kept = sys.stdin, sys.stdout")
        shell.do(replacement.format(name))
        for line in ("abc", "def"):
            shell.begin_line()
            shell.type(line + "x<backspace><enter>")
            assert shell.outcome() == Returned(line)
            shell.assert_settings_as_before()
        shell.begin_line("abc")
        shell.type("<ctrl-c>")
        assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")

    def test_the_pipe_behind_the_process_is_read(self, terminal, replacement):
        reader = filled_pipe(b"abc\ndef\n")
        shell = terminal(stdin=reader)
        os.close(reader)
        shell.do(READ_ALL + "kept = sys.stdin")
        shell.do(replacement.format("stdin"))
        assert shell.do("read_all(Tavorin.readline)") == [
            ["abc", "def"], ["readline returned NULL"] * 3]
        assert_little_work(shell)

    def test_a_closed_descriptor_behind_it_gives_no_line(self, terminal, replacement):
        shell = terminal(stdin=CLOSED)
        shell.do(READ_ALL + "kept = sys.stdin")
        shell.do(replacement.format("stdin"))
        assert shell.do("read_all(Tavorin.readline)") == [[], ["readline returned NULL"] * 3]
        assert_little_work(shell)


class TestAFileInTheirPlace:
    def test_lines_come_from_the_file_that_is_standard_input(self, shell, tmp_path):
        (tmp_path / "lines").write_text("abc\ndef\n")
        shell.do(READ_ALL + "sys.stdin = open(%r)" % str(tmp_path / "lines"))
        assert shell.do("read_all(Tavorin.readline)") == [
            ["abc", "def"], ["readline returned NULL"] * 3]
        shell.assert_settings_as_before()

    def test_the_prompt_goes_to_the_file_that_is_standard_output(self, shell, tmp_path):
        shell.do("sys.stdout = open(%r, 'w')" % str(tmp_path / "output"))
        shell.ask("Tavorin.readline('> ')")
        shell.type("abc<enter>")
        assert shell.outcome() == Returned("abc")
        assert b"> " not in shell.output
        shell.assert_settings_as_before()

    def test_the_module_keeps_the_file_open_that_it_reads_from(self, shell, tmp_path):
        """The shell may drop it: the object lives on for as long as the editor uses it."""
        (tmp_path / "lines").write_text("abc\ndef\n")
        shell.do("import gc; sys.stdin = open(%r)" % str(tmp_path / "lines"))
        assert shell.do("Tavorin.readline('> ')") == "abc"
        shell.do("sys.stdin = sys.__stdin__; gc.collect()")
        assert shell.do("Tavorin.readline('> ')") == "def"

    def test_input_from_a_terminal_and_output_to_a_pipe(self, terminal):
        """Such output is no place to edit on: the terminal's own line input is used."""
        shell = terminal(stdout=PIPE)
        shell.ask("Tavorin.readline('> ')")
        shell.type("abx<backspace>c<enter>")
        assert shell.outcome() == Returned("abc")
        shell.assert_settings_as_before()
        shell.ask("Tavorin.readline('> ')")
        shell.wait_for_sleep()
        shell.type("<ctrl-c>")
        assert shell.outcome() == Raised("KeyboardInterrupt", "Ctrl-C pressed")
        shell.ask("Tavorin.readline('> ')")
        shell.type("<ctrl-d>")
        assert shell.outcome() == END_OF_INPUT
        shell.assert_settings_as_before()
