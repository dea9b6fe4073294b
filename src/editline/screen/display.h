// Drawing the line again, and keeping it whole beside what others write to its terminal.
#pragma once

namespace lineedit {

// Clears the row where the terminal's cursor is, and what is below, and draws prompt and line
// there; in a row of its own where the terminal cannot clear. Does nothing where there is no
// terminal or the line is not edited.
void redraw_line();
// The same where the line is drawn already.
void redraw_in_place();
// For code that changes the line before it draws it there: moves the terminal's cursor up to the
// prompt's row.
void move_to_prompt();

// Around code that may write to the terminal beside the line, such as a completer. The first moves
// the terminal's cursor down to the row in which the line ends, so that nothing of it is written
// over. Between the two, redraw_line draws the line in its own place when nothing was written, and
// else below. Where that was not called, the second leaves the display alone, except in two cases:
// with nothing written it puts the cursor back, and when rl_done says that the read is over the
// cursor goes behind the line.
void begin_output();
void end_output();

// For another user: overwrites what the buffer of rl_outstream, which must be open, holds of what
// was drawn. Writes nothing.
void wipe_output_buffer();

}  // namespace lineedit
