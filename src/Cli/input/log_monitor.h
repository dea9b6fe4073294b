// The log monitor: its events go to the shell's callable between two keys.
#pragma once

#include "Cli/base/python.h"

// The descriptor that is readable when the monitor has events, or -1 while it is off or has none.
int log_descriptor();
// Hands the events that are there to the shell's callable, which may switch the monitor off.
void process_log_events();

// Python's loggingSyncEnabledIs(filename, callback=None): starts the log monitor, or stops it when
// `callback` is None. The callable is borrowed for as long as the monitor runs.
PyObject *py_loggingSyncEnabledIs(PyObject *self, PyObject *args);
