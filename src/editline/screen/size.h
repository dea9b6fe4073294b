// The size of the screen, and the size that libedit is told.
#pragma once

namespace lineedit {

int screen_rows();
int screen_columns();

// For a new line, a new size and a new editor: the size is looked up again.
void forget_screen_size();

// Take another size over: the screen's own, or the one that is given, which lasts on screens that
// do not tell theirs.
void follow_screen_size();
void set_screen_size(int rows, int columns);
// Whether the size has changed since the latest call of fit_editor_to.
bool screen_size_has_changed();

// For each change of the line or the size, before the next key is read. Tells libedit that the
// screen is higher if it could not hold a line of so many rows. `plain` says
// whether each character of the line takes one column.
void fit_editor_to(int rows, bool plain);

}  // namespace lineedit
