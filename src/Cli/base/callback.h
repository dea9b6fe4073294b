// Calls of the shell's functions within a read.
#pragma once

#include "Cli/base/python.h"

// Calls `function`, with the editor's streams returned meanwhile and the interpreter's lock held.
// Takes over the reference to `arguments`; null stands for an exception that is set, which stays.
// Returns what the function returns, null with an exception set.
//
// A child that the function has forked must not go on with the line, which is its parent's. If it
// returns or raises an exception, it ends as a program does, with the same status.
PyObject *call_within_read(PyObject *function, PyObject *arguments);
