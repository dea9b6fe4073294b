// Sets up the editor on first use.
#pragma once

// Non-zero once init_readline has run; resetInput clears it.
extern int readlineInitialized;

// Sets up the editor on the present sys.stdin and sys.stdout, and takes a reference to each. To be
// called if readlineInitialized is 0, with the interpreter's lock held. Reports no error.
void init_readline();
