// The two line-reading calls, and the two signals that abandon a line.
#pragma once

#include <csignal>

#include "Cli/base/python.h"

// The completion callable of the latest readline call, or Python's None. Borrowed.
extern PyObject *completionCallback;

// An exception that the completion callable raised, on its way through the editor to readline. The
// first is null when there is none; the other two mean nothing then. References owned.
extern PyObject *py_lhandler_ptype;
extern PyObject *py_lhandler_pvalue;
extern PyObject *py_lhandler_ptraceback;

// What Ctrl-C and Ctrl-Z were bound to before the latest readline call. Kept whole, because
// signal() would give only the function back and turn system-call restarting on, so that a Ctrl-C
// would no longer interrupt what the shell waits for between two lines.
extern struct sigaction savedSigintHandler;
extern struct sigaction savedSigtstpHandler;

// Binds Ctrl-C and Ctrl-Z to the module's handlers, which jump out of the read in progress, and
// back to what they were bound to before.
void bind_signals_to_module();
void bind_signals_to_shell();

// Python's readline(prompt, function=None, key=None, parent=None): reads one line with completion
// through `function`, in the history mode `key`. Raises KeyboardInterrupt, EOFError, or what the
// completion callable raised.
PyObject *py_readline(PyObject *self, PyObject *args);
// Python's simpleReadline(prompt): reads one line; Ctrl-C and Ctrl-Z are the shell's own.
PyObject *py_simpleReadline(PyObject *self, PyObject *args);
