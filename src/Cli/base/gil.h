// The interpreter's lock: the two calls through which every crossing between the editor and the
// interpreter gives it up or takes it back.
#pragma once

#include "Cli/base/python.h"

// Gives up the interpreter's lock. The two calls alternate strictly across the whole process; one
// out of turn ends it. Returns the saved thread state.
PyThreadState *releaseGil();
// Takes the lock back with the saved thread state.
void acquireGil();
