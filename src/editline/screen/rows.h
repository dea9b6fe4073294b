// How the line lies on the screen, and what has to be done so that libedit draws one of several
// rows as it should. It is looked at before each key; most need next to nothing.
#pragma once

#include <cwchar>

namespace lineedit {

// The row in which the cursor is when it stands behind `end` in the line, counted from that of the
// prompt: in all of the line, and in what the screen has room for.
int row_of_line(const wchar_t *end);
int row_on_screen(const wchar_t *end);

// How many rows the screen has; the editor may have been told of more.
int screen_rows();
bool screen_can_be_cleared();

// Sees to it that the editor draws the line as it should from now on. Returns whether it is to be
// drawn anew for that.
bool fit_screen_to_line();

// For a new line, a new screen and a new editor.
void forget_screen();
// For another user: nothing of what was drawn is kept.
void wipe_drawn_line();

}  // namespace lineedit
