"""What an importer of the module sees: its name, functions, doc strings and argument errors."""

import subprocess

import pytest

from harness import Raised, Returned, module_path

MODULE_DOC = ("This module implements interactive command input,\n"
              "with support for editing, completion and help.")

# In the order of the method table.  The shell's help shows the doc strings word for word.
DOC_STRINGS = {
    "readline":
        "readline(string, function, string, string) -> None\n"
        "Read a line of input, using the given prompt string and\n"
        "callback function for completion.  The callback is\n"
        "called as function(line, pos, key) where line is the\n"
        "contents of the line buffer, pos is the current cursor\n"
        "position, and key is the key that invoked completion.\n"
        "The return value is the completed text to append to the\n"
        "line, or None if there is no completion.  Two other optional\n"
        "arguments can be provided to support per-mode history, which\n"
        "specifies the history key for the current mode and its parent.\n"
        "If key is not specified, the line is not added to history.",
    "simpleReadline":
        "simpleReadline(string) -> None\n"
        "Read a line of input, using the given prompt string.\n"
        "This does not support the use of ctrl+c and ctrl+z",
    "history":
        "history(string) -> list\n"
        "Return a list containing the lines in the history.  An optional\n"
        "string can be provided as a key to return only history relevant\n"
        "to the specified key.",
    "newHistoryMode":
        "newHistoryMode(string, string) -> None\n"
        "Create a new history mode based on the key and parent key.",
    "addHistory":
        "addHistory(string, string, string) -> bool\n"
        "Add a line to history with two keys provided to support per-mode\n"
        "history: the first specifies the history key for the current mode\n"
        "and the second specifies its parent.  If the parent mode does not\n"
        "exist, return False, else return True.",
    "clearHistory":
        "clearHistory() -> None\n"
        "Clear the session command history.",
    "keyBindingsEnabledIs":
        "keyBindingsEnabledIs(bool) -> None\n"
        "Enable/disable readline bindings for the <tab> and ? keys.",
    "keyBindingsEnabled":
        "keyBindingsEnabled() -> bool\n"
        "Return whether readline bindings for the <tab> and ? keys are enabled.",
    "historyLimitIs":
        "historyLimitIs(int) -> None\n"
        "Specify history recording limit (default 1024).",
    "TerminalWidthIs":
        "TerminalWidthIs(int) -> None\n"
        "Set Terminal Width using rl_screen_size.",
    "loggingSyncEnabledIs":
        "loggingSyncEnabledIs(filename, callback) -> None\n"
        "Enable/disable synchronous logging.",
    "resetInput":
        "resetInput() -> None\n"
        "Resets the CLI for a new user with new terminal to come in.",
}

FUNCTIONS = list(DOC_STRINGS)

# The interpreter's own flags of a method: how it takes its arguments.
VARARGS, NOARGS = 1, 4
NOARGS_FUNCTIONS = ("clearHistory", "keyBindingsEnabled")

# Reads the module's method table through the functions that the interpreter made from it.
READ_METHOD_TABLE = """
import ctypes

class Method(ctypes.Structure):
    _fields_ = [("name", ctypes.c_char_p), ("code", ctypes.c_void_p), ("flags", ctypes.c_int),
                ("doc", ctypes.c_char_p)]

class Function(ctypes.Structure):
    _fields_ = [("references", ctypes.c_ssize_t), ("type", ctypes.c_void_p),
                ("method", ctypes.POINTER(Method))]

def method_table(names):
    methods = [Function.from_address(id(getattr(Tavorin, name))).method for name in names]
    methods.sort(key=lambda method: ctypes.addressof(method.contents))
    return [(method.contents.name, method.contents.flags) for method in methods]
"""

IMPORT_BOTH_WAYS = """
def outcome_of_import():
    try:
        import Tavorin
    except ImportError as error:
        return str(error)
    return "imported"
"""


def test_the_name_and_doc_string(shell):
    assert shell.do("Tavorin.__name__") == "Tavorin"
    assert shell.do("Tavorin.__doc__") == MODULE_DOC
    assert shell.do("os.path.realpath(Tavorin.__file__)") == shell.do(
        "os.path.realpath(%r)" % module_path())


def test_there_is_nothing_in_it_but_the_twelve_functions(shell):
    names = shell.do("sorted(name for name in dir(Tavorin) if not name.startswith('__'))")
    assert names == sorted(FUNCTIONS)
    assert shell.do("[type(getattr(Tavorin, n)).__name__ for n in %r]" % FUNCTIONS) == [
        "builtin_function_or_method"] * 12


@pytest.mark.parametrize("function", FUNCTIONS)
def test_doc_string(shell, function):
    assert shell.do("Tavorin.%s.__doc__" % function) == DOC_STRINGS[function]


def test_the_method_table_s_order_and_flags(shell):
    shell.do(READ_METHOD_TABLE)
    assert shell.do("method_table(%r)" % FUNCTIONS) == [
        [name, NOARGS if name in NOARGS_FUNCTIONS else VARARGS] for name in FUNCTIONS]


class TestBesideTheInterpretersReadline:
    """The interpreter's own readline module drives the same terminal."""

    def test_an_earlier_import_of_it_is_refused(self, terminal):
        shell = terminal(imports=())
        # Not every interpreter has that module; its name in sys.modules is what counts.
        shell.do("import imp; sys.modules['readline'] = imp.new_module('readline')")
        shell.ask("import Tavorin")
        assert shell.outcome() == Raised(
            "ImportError", "Tavorin cannot be used if the readline module is loaded")
        assert shell.do("'Tavorin' in sys.modules") is False

    def test_the_refusal_is_not_remembered(self, terminal):
        shell = terminal(imports=())
        shell.do(IMPORT_BOTH_WAYS)
        shell.do("import imp; sys.modules['readline'] = imp.new_module('readline')")
        assert shell.do("outcome_of_import()") != "imported"
        shell.do("del sys.modules['readline']")
        assert shell.do("outcome_of_import()") == "imported"

    def test_a_later_import_of_it_does_no_harm(self, terminal):
        shell = terminal(imports=())
        shell.do("import Tavorin")
        # An interpreter without that module tests the order just as well.
        shell.do("try:\n    import readline\n"
                 "except ImportError:\n    import imp; sys.modules['readline'] = "
                 "imp.new_module('readline')")
        shell.begin_line()
        shell.type("ab<left>c<enter>")
        assert shell.outcome() == Returned("acb")


ARGUMENT_ERRORS = [
    ("readline()", "readline() takes at least 1 argument (0 given)"),
    ("readline('> ', None, 'a', 'b', 'c')", "readline() takes at most 4 arguments (5 given)"),
    ("readline(1)", "readline() argument 1 must be string, not int"),
    ("readline(None)", "readline() argument 1 must be string, not None"),
    ("readline('a\\0b')",
     "readline() argument 1 must be string without null bytes, not str"),
    ("readline('> ', None, 5)", "readline() argument 3 must be string, not int"),
    ("readline('> ', None, None)", "readline() argument 3 must be string, not None"),
    ("readline('> ', None, 'a', None)", "readline() argument 4 must be string, not None"),
    ("readline(prompt='> ')", "readline() takes no keyword arguments"),
    ("simpleReadline()", "simpleReadline() takes exactly 1 argument (0 given)"),
    ("simpleReadline('> ', None)", "simpleReadline() takes exactly 1 argument (2 given)"),
    ("simpleReadline(1)", "simpleReadline() argument 1 must be string, not int"),
    ("simpleReadline(prompt='> ')", "simpleReadline() takes no keyword arguments"),
    ("history('a', 'b')", "history() takes at most 1 argument (2 given)"),
    ("history(1)", "history() argument 1 must be string, not int"),
    ("history(None)", "history() argument 1 must be string, not None"),
    ("newHistoryMode()", "newHistoryMode() takes exactly 2 arguments (0 given)"),
    ("newHistoryMode('a')", "newHistoryMode() takes exactly 2 arguments (1 given)"),
    ("newHistoryMode('a', 'b', 'c')", "newHistoryMode() takes exactly 2 arguments (3 given)"),
    ("newHistoryMode('a', 1)", "newHistoryMode() argument 2 must be string, not int"),
    ("newHistoryMode(None, 'b')", "newHistoryMode() argument 1 must be string, not None"),
    ("addHistory()", "addHistory() takes exactly 3 arguments (0 given)"),
    ("addHistory('a', 'b')", "addHistory() takes exactly 3 arguments (2 given)"),
    ("addHistory('a', 'b', 'c', 'd')", "addHistory() takes exactly 3 arguments (4 given)"),
    ("addHistory(1, 'b', 'c')", "addHistory() argument 1 must be string, not int"),
    ("addHistory('a', 'b', None)", "addHistory() argument 3 must be string, not None"),
    ("clearHistory(1)", "clearHistory() takes no arguments (1 given)"),
    ("clearHistory(a=1)", "clearHistory() takes no keyword arguments"),
    ("keyBindingsEnabledIs()", "keyBindingsEnabledIs() takes exactly 1 argument (0 given)"),
    ("keyBindingsEnabledIs(True, False)",
     "keyBindingsEnabledIs() takes exactly 1 argument (2 given)"),
    ("keyBindingsEnabledIs(1)", "Expected a bool"),
    ("keyBindingsEnabledIs(0)", "Expected a bool"),
    ("keyBindingsEnabledIs(None)", "Expected a bool"),
    ("keyBindingsEnabledIs('True')", "Expected a bool"),
    ("keyBindingsEnabled(1)", "keyBindingsEnabled() takes no arguments (1 given)"),
    ("historyLimitIs()", "historyLimitIs() takes exactly 1 argument (0 given)"),
    ("historyLimitIs(1, 2)", "historyLimitIs() takes exactly 1 argument (2 given)"),
    ("historyLimitIs('5')", "an integer is required"),
    ("historyLimitIs(None)", "an integer is required"),
    ("historyLimitIs(1.5)", "integer argument expected, got float"),
    # This one's errors carry no function name.
    ("TerminalWidthIs()", "function takes exactly 1 argument (0 given)"),
    ("TerminalWidthIs(80, 24)", "function takes exactly 1 argument (2 given)"),
    ("TerminalWidthIs('80')", "an integer is required"),
    ("TerminalWidthIs(80.0)", "integer argument expected, got float"),
    ("loggingSyncEnabledIs()", "loggingSyncEnabledIs() takes at least 1 argument (0 given)"),
    ("loggingSyncEnabledIs('a', None, 'c')",
     "loggingSyncEnabledIs() takes at most 2 arguments (3 given)"),
    ("loggingSyncEnabledIs(1)", "loggingSyncEnabledIs() argument 1 must be string, not int"),
    ("resetInput(a=1)", "resetInput() takes no keyword arguments"),
]


@pytest.mark.parametrize("call, message", ARGUMENT_ERRORS, ids=[e[0] for e in ARGUMENT_ERRORS])
def test_argument_error(shell, call, message):
    shell.ask("Tavorin." + call)
    assert shell.outcome() == Raised("TypeError", message)


def test_a_number_beyond_an_int_overflows(shell):
    shell.ask("Tavorin.TerminalWidthIs(1 << 40)")
    assert shell.outcome() == Raised("OverflowError", "signed integer is greater than maximum")


def test_a_prompt_in_unicode_is_encoded(shell):
    shell.ask("Tavorin.readline(u'> ')")
    shell.wait_for_prompt()
    shell.type("x<enter>")
    assert shell.outcome() == Returned("x")
    shell.ask("Tavorin.readline(u'\\xe9')")
    assert shell.outcome().type == "UnicodeEncodeError"


def test_reset_input_takes_any_arguments(shell):
    # Set up first, since a reset drops the references that the set-up took.
    shell.do("Tavorin.keyBindingsEnabledIs(True)")
    assert shell.do("Tavorin.resetInput(1, 'two')") is None


def test_the_exported_symbols():
    listing = subprocess.run(["nm", "-D", "--defined-only", module_path()], check=True,
                             capture_output=True, text=True).stdout
    # A symbol with a version reads name@@VERSION; the version itself is an absolute symbol.
    symbols = {fields[2].split("@")[0]: fields[1]
               for fields in map(str.split, listing.splitlines()) if fields[1] != "A"}
    assert sorted(symbols) == ["complete_line", "history_saved_invokers", "initTavorin", "maps",
                               "readlineThreadId"]
    assert symbols["complete_line"] == symbols["initTavorin"] == "T"
    assert {symbols["history_saved_invokers"], symbols["maps"],
            symbols["readlineThreadId"]} <= {"D", "B"}
