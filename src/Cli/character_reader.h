// The editor's input hook, which waits for the next key.
#pragma once

#include <cstdio>

#include "python.h"

// Waits for a byte on rl_instream, whatever `stream` is, and returns it as a signed char widened to
// int; -1 at the end of input and after a failed read. The byte 255 cannot be told from that.
int read_char(FILE *stream);

// Python's loggingSyncEnabledIs(filename, callback=None).
PyObject *py_loggingSyncEnabledIs(PyObject *self, PyObject *args);
