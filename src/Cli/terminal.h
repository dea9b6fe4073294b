// The terminal: a new user's, and its width.
#pragma once

#include "python.h"

// Python's resetInput(...).
PyObject *py_resetInput(PyObject *self, PyObject *args);
// Python's TerminalWidthIs(width).
PyObject *py_TerminalWidthIs(PyObject *self, PyObject *args);
