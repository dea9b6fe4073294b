// Redrawing the line, and keeping it intact when other code writes to the terminal.
#pragma once

namespace lineedit {

// Draws prompt and line in the row of the terminal's cursor and below. rl_forced_update_display has
// the whole contract.
void redraw_line();

// Bracket code that may write to the terminal, such as a completer. begin_output moves the
// terminal's cursor down to the row in which the line ends, so that output does not overwrite the
// line. Between the two, redraw_line draws the line in place if nothing was written, and otherwise
// below the output, in a row of its own. If it was not called, end_output moves the cursor back as
// far as it was moved, and leaves the rest of the display alone. If rl_done ends the read it moves
// the cursor to the end of the line.
void begin_output();
void end_output();

// Wipes what was drawn from the buffer of rl_outstream, before the next user. The stream must be
// open. Adds nothing to the output.
void wipe_output_buffer();

}  // namespace lineedit
