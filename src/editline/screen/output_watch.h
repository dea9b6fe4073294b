// Whether anything has been written to a terminal since a moment, by whomever: this process, one
// that it started, or the system's console.
#pragma once

namespace lineedit {

// Begins to watch the terminal that `fd` is open on, and ends that. A watch that is on ends when
// another begins.
void begin_output_watch(int fd);
void end_output_watch();

// Returns false only when surely nothing was written since the watch began; true, then, without a
// watch and where the system refuses one (the terminal is another user's, say).
bool output_was_written();

}  // namespace lineedit
