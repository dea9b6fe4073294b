// Sets up the editor on first use.
#pragma once

// Non-zero once init_readline has run; resetInput clears it.
extern int readlineInitialized;

// Sets up the editor on the present sys.stdin and sys.stdout, and takes a reference to each. To be
// called if readlineInitialized is 0, with the interpreter's lock held. Returns false with a Python
// exception set: MemoryError if no editor can be made, RuntimeError while a line is read.
bool init_readline();
