// The Python calls that switch the completion keys and tell whether they are on.
#pragma once

#include "Cli/base/python.h"

// Python's keyBindingsEnabledIs(bool). Sets the editor up when that has not been done.
PyObject *py_keyBindingsEnabledIs(PyObject *self, PyObject *args);
// Python's keyBindingsEnabled().
PyObject *py_keyBindingsEnabled(PyObject *self, PyObject *args);
