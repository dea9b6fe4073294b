// The editor's input hook, which waits for the next key and serves the log monitor meanwhile.
#pragma once

#include <cstdio>

// Waits for a byte on rl_instream, whatever `stream` is, and returns it as a signed char widened to
// int; -1 at the end of input and after a failed read. The byte 255 cannot be told from that. Log
// events are served while it waits, before a key that is there at the same time.
int read_char(FILE *stream);
