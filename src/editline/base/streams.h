// The descriptors of the editor's streams. While a callback runs, the application may close a
// stream, or replace what is behind its descriptor. The line then ends as at the end of input, and
// nothing more is read from there or written there.
#pragma once

namespace lineedit {

// Of rl_instream and rl_outstream; -1 for a released stream.
int input_descriptor();
int output_descriptor();

// Bracket a callback. The second releases both streams if the application has released one of them,
// or if a descriptor is closed or belongs to another file than before. Returns whether they can
// still be used.
void note_streams();
bool keep_unchanged_streams();

}  // namespace lineedit
