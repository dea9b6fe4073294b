// The place in history of the line being edited.
#pragma once

#include "editline/base/text.h"

namespace lineedit {

// For the start of a line, which is never in history.
void reset_place_in_history();
// Wipes what was typed, before the next user.
void wipe_typed_line();

// How many lines back the place is; 0 is the line being typed.
int lines_back();
// Saves the line being typed; to be called before the first step away from it. Does nothing at any
// other place.
void save_typed_line();
// Steps to the next older or newer place. Returns false if there is none.
bool step_in_history(bool older);
// Steps to a place that was visited before, `back` lines back.
void return_to_place(int back);
// The bytes of the line at the place, borrowed; null for the line being typed, which has none. Here
// and below, a line that has been removed from history counts as empty.
const char *stored_line_at_place();
// Copies the line at the place.
void read_line_at_place(LineText *line);

}  // namespace lineedit
