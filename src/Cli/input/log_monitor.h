// The log monitor, whose events go to the shell's callable between two keys.
#pragma once

#include "Cli/base/python.h"

// The descriptor that is readable when the monitor has events, or -1 if it is off or has no
// descriptor.
int log_descriptor();
// Passes the pending events to the shell's callable, which may turn the monitor off.
void process_log_events();

// Python's loggingSyncEnabledIs(filename, callback=None): starts the log monitor, or stops it when
// `callback` is None. The callable is borrowed for as long as the monitor runs.
PyObject *py_loggingSyncEnabledIs(PyObject *self, PyObject *args);
