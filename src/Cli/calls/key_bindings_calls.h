// The Python calls that turn the completion keys on and off, and tell whether they are on.
#pragma once

#include "Cli/base/python.h"

// Python's keyBindingsEnabledIs(bool). Sets up the editor if needed.
PyObject *py_keyBindingsEnabledIs(PyObject *self, PyObject *args);
// Python's keyBindingsEnabled().
PyObject *py_keyBindingsEnabled(PyObject *self, PyObject *args);
