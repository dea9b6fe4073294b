// The interpreter's lock. Every transition between the editor and the interpreter goes through
// these two calls.
#pragma once

#include "Cli/base/python.h"

// Releases the lock and returns the saved thread state. The two calls alternate strictly across the
// whole process; a call out of turn ends the process.
PyThreadState *releaseGil();
// Acquires the lock again with the saved thread state.
void acquireGil();
// For a forked child, in which the thread that released the lock does not exist.
void forget_released_gil();
