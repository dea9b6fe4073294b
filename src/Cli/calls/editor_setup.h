// The set-up of the editor on first use.
#pragma once

// Non-zero once init_readline has run; resetInput clears it.
extern int readlineInitialized;

// Sets the editor up over what sys.stdin and sys.stdout are now, on each of which it takes a
// reference. Called when readlineInitialized is 0, with the lock held. Reports no error.
void init_readline();
