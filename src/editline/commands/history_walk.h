// Walking through history from a line that is being edited. The place where the walk is, for the
// commands that move it; the search that follows the typing is one of them (history_search.h).
#pragma once

#include <histedit.h>

#include "editline/base/text.h"

namespace lineedit {

// What the editor itself has for its history: the layer's history object, lines that the locale
// cannot decode made readable. The layer's commands do not need it; libedit's own ones, which the
// user may have bound, do.
int history_for_editor(void *history_object, HistEvent *event, int operation, ...);

// Adds the commands that go to an older or newer line, or to the next one that has the text before
// the cursor in it, and binds their keys.
void add_history_commands(EditLine *editor);

// At the start of a line, which is never in history.
void forget_place_in_history();
// For another user: nothing of what was typed is kept.
void forget_typed_text();

// --- For commands --------------------------------------------------------------------------------

// The next search for the text before the cursor is a new one.
void end_text_search();

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

// The editor's line and the position of the cursor in it.
void take_edited_line(LineText *line, size_t *cursor);
void set_edited_line(const LineText *line, size_t cursor);
// The same for code that runs in the wait for a key. What Ctrl-Y brings back may be lost.
void set_line_in_wait(const LineText *line, size_t cursor);

}  // namespace lineedit
