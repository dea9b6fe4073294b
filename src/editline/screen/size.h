// The size of the screen, and the size that libedit is told.
#pragma once

namespace lineedit {

int screen_rows();
int screen_columns();

// For a new line, a new size and a new editor: the size is looked up again.
void forget_screen_size();

// For a line being edited: the screen has another size.
void follow_screen_size();

// For each change of the line and after follow_screen_size, before the next key is read.
// Tells libedit that the screen is higher if it could not hold a line of so many rows.
void fit_editor_to(int rows);

}  // namespace lineedit
