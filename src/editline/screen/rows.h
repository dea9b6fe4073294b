// The rows of the line on the screen, and the workarounds with which libedit draws a line of
// several rows correctly. They are checked before each key, which costs next to nothing for most
// keys.
#pragma once

#include <cwchar>

namespace lineedit {

// The row of the cursor when it is at `end` in the line, counted from the row in which the prompt
// begins. The second stops at the last row of the screen.
int row_of_line(const wchar_t *end);
int row_on_screen(const wchar_t *end);

// The real number of rows; the editor may have been told a larger one.
int screen_rows();
bool screen_can_be_cleared();

// Makes the editor's screen high enough for the line. Returns whether the line must be redrawn,
// since libedit may have drawn it wrong.
bool fit_screen_to_line();

// Forgets the screen's size and what was drawn: for a new line, a new size and a new editor.
void reset_screen();
// Wipes what was drawn, before the next user.
void wipe_drawn_line();

}  // namespace lineedit
