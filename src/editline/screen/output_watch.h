// Detects whether anything is written to a terminal: by this process, by one that it started, or by
// the system's console.
#pragma once

namespace lineedit {

// Begin and end a watch on the terminal that `fd` is open on. Beginning a watch ends the previous
// one. Returns false if the system refuses one, for instance on another user's terminal.
bool begin_output_watch(int fd);
void end_output_watch();

// Returns false only if certainly nothing was written since the watch began. So it returns true
// without a watch.
bool output_was_written();

}  // namespace lineedit
