// The editor's input hook: waits for the next key, and handles log events meanwhile.
#pragma once

#include <cstdio>

// Waits for a byte on rl_instream, whatever `stream` is, and returns it as a signed char widened to
// int; -1 at the end of input and after a failed read. The byte 255 cannot be told from that.
// Handles log events while it waits, and before a key that is ready at the same time.
int read_char(FILE *stream);
