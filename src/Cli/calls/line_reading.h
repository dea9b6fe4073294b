// The two line-reading calls.
#pragma once

#include "Cli/base/python.h"

// Python's readline(prompt, function=None, key=None, parent=None): reads one line with completion
// through `function`, in the history mode `key`. Raises KeyboardInterrupt, EOFError, or what the
// completion callable raised.
PyObject *py_readline(PyObject *self, PyObject *args);
// Python's simpleReadline(prompt): reads one line. Ctrl-C and Ctrl-Z go to the shell's own
// handlers.
PyObject *py_simpleReadline(PyObject *self, PyObject *args);

// For a forked child: no line is being read.
void leave_line_to_parent();
