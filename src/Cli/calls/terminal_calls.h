// The Python calls for the terminal: handing over to a new user, and the width.
#pragma once

#include "Cli/base/python.h"

// Python's resetInput(...): releases the streams and empties the history. The next readline sets up
// the editor on what sys.stdin and sys.stdout are then. To be called once after each set-up, before
// those two are replaced. Arguments are ignored.
PyObject *py_resetInput(PyObject *self, PyObject *args);
// Python's TerminalWidthIs(width): sets the columns of the editor's screen, until the terminal
// reports another size.
PyObject *py_TerminalWidthIs(PyObject *self, PyObject *args);
