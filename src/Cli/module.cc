// The module: its method table and its registration with the interpreter.
#include "Cli/base/python.h"
#include "Cli/calls/history_calls.h"
#include "Cli/calls/key_bindings_calls.h"
#include "Cli/calls/line_reading.h"
#include "Cli/calls/terminal_calls.h"
#include "Cli/history/history_store.h"
#include "Cli/input/log_monitor.h"
#include "editline/readline.h"

static PyMethodDef methods[] = {
    {"readline", py_readline, METH_VARARGS,
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
     "If key is not specified, the line is not added to history."},
    {"simpleReadline", py_simpleReadline, METH_VARARGS,
     "simpleReadline(string) -> None\n"
     "Read a line of input, using the given prompt string.\n"
     "This does not support the use of ctrl+c and ctrl+z"},
    {"history", py_history, METH_VARARGS,
     "history(string) -> list\n"
     "Return a list containing the lines in the history.  An optional\n"
     "string can be provided as a key to return only history relevant\n"
     "to the specified key."},
    {"newHistoryMode", py_newHistoryMode, METH_VARARGS,
     "newHistoryMode(string, string) -> None\n"
     "Create a new history mode based on the key and parent key."},
    {"addHistory", py_addHistory, METH_VARARGS,
     "addHistory(string, string, string) -> bool\n"
     "Add a line to history with two keys provided to support per-mode\n"
     "history: the first specifies the history key for the current mode\n"
     "and the second specifies its parent.  If the parent mode does not\n"
     "exist, return False, else return True."},
    {"clearHistory", py_clearHistory, METH_NOARGS,
     "clearHistory() -> None\n"
     "Clear the session command history."},
    {"keyBindingsEnabledIs", py_keyBindingsEnabledIs, METH_VARARGS,
     "keyBindingsEnabledIs(bool) -> None\n"
     "Enable/disable readline bindings for the <tab> and ? keys."},
    {"keyBindingsEnabled", py_keyBindingsEnabled, METH_NOARGS,
     "keyBindingsEnabled() -> bool\n"
     "Return whether readline bindings for the <tab> and ? keys are enabled."},
    {"historyLimitIs", py_historyLimitIs, METH_VARARGS,
     "historyLimitIs(int) -> None\n"
     "Specify history recording limit (default 1024)."},
    {"TerminalWidthIs", py_TerminalWidthIs, METH_VARARGS,
     "TerminalWidthIs(int) -> None\n"
     "Set Terminal Width using rl_screen_size."},
    {"loggingSyncEnabledIs", py_loggingSyncEnabledIs, METH_VARARGS,
     "loggingSyncEnabledIs(filename, callback) -> None\n"
     "Enable/disable synchronous logging."},
    {"resetInput", py_resetInput, METH_VARARGS,
     "resetInput() -> None\n"
     "Resets the CLI for a new user with new terminal to come in."},
    {nullptr, nullptr, 0, nullptr},
};

static const char module_doc[] =
    "This module implements interactive command input,\n"
    "with support for editing, completion and help.";

// Both modules would drive the terminal and install a line reader.
static bool interpreters_readline_is_loaded() {
  PyObject *modules = PySys_GetObject(const_cast<char *>("modules"));
  return PyMapping_HasKeyString(modules, const_cast<char *>("readline")) != 0;
}

PyMODINIT_FUNC __attribute__((visibility("default"))) initTavorin(void) {
  if (interpreters_readline_is_loaded()) {
    PyErr_SetString(PyExc_ImportError, "Tavorin cannot be used if the readline module is loaded");
    return;
  }
  PyObject *module = Py_InitModule4("Tavorin", methods, module_doc, nullptr, PYTHON_API_VERSION);
  if (module == nullptr) return;
  hist_init();
  lineedit::release_forked_children(leave_line_to_parent);
}
