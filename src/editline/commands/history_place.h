// The place in history of the line that is being edited.
#pragma once

#include "editline/base/text.h"

namespace lineedit {

// At the start of a line, which is never in history.
void reset_place_in_history();
// For another user: nothing of what was typed is kept.
void wipe_typed_line();

// How many lines back the place is; 0 for the line that was being typed.
int lines_back();
// To be called in the line being typed, before the first step away from it.
void keep_typed_line();
// Steps to the next older or newer place. Returns false where there is none.
bool step_in_history(bool older);
// Steps to a place where the walk has been.
void return_in_history(int back);
// The bytes of the line at the place, borrowed, or null in the line that was being typed, which
// has none. Both take a line that is no longer there for an empty one.
const char *stored_line_at_place();
// The line at the place.
void read_line_at_place(LineText *line);

}  // namespace lineedit
