// The stream that libedit writes to. What it draws is dropped, since the layer draws the line.
#pragma once

#include <cstdio>

namespace lineedit {

// The stream; opened on first use and kept. Null if there is no memory.
FILE *editor_stream();

// While it is muted, everything that libedit writes is dropped. Otherwise it goes to rl_outstream.
// libedit also lists key bindings and file names there. Returns whether it was muted.
bool mute_editor(bool muted);

// Returns whether libedit has rung the bell since the last call.
bool take_bell();

// Overwrites what is left in the stream's buffer.
void wipe_editor_output();

}  // namespace lineedit
