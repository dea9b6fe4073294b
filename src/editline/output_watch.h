// Whether anything has been written to a terminal since a moment, by whomever: this process, one
// that it started, or the system's console.
#pragma once

namespace lineedit {

// Begins to watch the terminal that `fd` is open on. A watch that is on ends first.
void watch_output(int fd);

// Ends the watch. Returns false only when surely nothing was written; true, then, without a watch
// and where the system refuses one (the terminal is another user's, say).
bool output_was_written();

}  // namespace lineedit
