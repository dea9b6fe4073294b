// The Python calls for history.
#pragma once

#include "Cli/base/python.h"

// Python's history([key]).
PyObject *py_history(PyObject *self, PyObject *args);
// Python's newHistoryMode(key, parent_key).
PyObject *py_newHistoryMode(PyObject *self, PyObject *args);
// Python's addHistory(line, key, parent_key).
PyObject *py_addHistory(PyObject *self, PyObject *args);
// Python's clearHistory().
PyObject *py_clearHistory(PyObject *self, PyObject *args);
// Python's historyLimitIs(limit).
PyObject *py_historyLimitIs(PyObject *self, PyObject *args);

// Empties the store: through the editor if that has the store plugged in, else directly, so that no
// editor is created for it.
void clear_recorded_lines();
