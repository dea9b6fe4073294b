// The terminal: a new user's, and its width.
#pragma once

#include "Cli/base/python.h"

// Python's resetInput(...): lets go of the present streams and empties the history; the next
// readline sets the editor up over what sys.stdin and sys.stdout are then. To be called once after
// each set-up, and before the two are replaced. Arguments are ignored.
PyObject *py_resetInput(PyObject *self, PyObject *args);
// Python's TerminalWidthIs(width): the columns of the present editor's screen, until the terminal
// tells it otherwise.
PyObject *py_TerminalWidthIs(PyObject *self, PyObject *args);
