// The module's frame: set-up of the editor on first use, and the two calls through which every
// crossing between the editor and the interpreter gives up or takes back the interpreter's lock.
#pragma once

#include "Cli/base/python.h"

// Non-zero once init_readline has run; resetInput clears it.
extern int readlineInitialized;

// Sets the editor up over what sys.stdin and sys.stdout are now, on each of which it takes a
// reference. Called when readlineInitialized is 0, with the lock held. Reports no error.
void init_readline();

// Gives up the interpreter's lock. The two calls alternate strictly across the whole process; one
// out of turn ends it. Returns the saved thread state.
PyThreadState *releaseGil();
// Takes the lock back with the saved thread state.
void acquireGil();
