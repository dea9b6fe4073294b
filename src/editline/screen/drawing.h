// What is on the screen of prompt and line, and drawing what has changed. libedit's own drawing is
// not used: it loses rows and columns where text wraps, or is not one column a character.
#pragma once

namespace lineedit {

// For a new line, of which nothing is drawn yet. Of a line that is not edited, only the prompt will
// be drawn.
void begin_drawing(bool edited);

// Draws what has changed since the last call: before each wait for a key. The first call draws the
// prompt, too. The terminal's cursor must be where the last call left it.
void update_drawing();
// Whether a line is being edited and has been drawn.
bool line_is_drawn();

// Makes the editor's line again what is drawn, with a bell.
void return_to_drawn_line();

// Draws the last changes of a line, and moves the terminal's cursor to its end, or to the row
// below.
void end_drawing(bool next_row);

// Draws prompt and line, in the row of the terminal's cursor and below. On a terminal that cannot
// clear, draws them in a new row.
void draw_again();

// Draws prompt and line anew where they are. The size may have changed; the terminal's cursor must
// not have been moved.
void draw_in_place();

// Clears the screen, and draws the whole prompt and the line at its top.
void draw_on_clear_screen();

// The same in a row of its own, which may be the one in which the terminal's cursor is.
void draw_below_output();

// Moves the terminal's cursor to the row in which the line ends.
void move_below_line();
// Moves it to the end of the line, so that what others write stands behind or below.
void move_behind_line();

// Wipes what was drawn, before the next user.
void wipe_drawing();

}  // namespace lineedit
