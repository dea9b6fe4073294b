// The line being edited, which libedit holds: reading it, changing it, and publishing it to the
// application. Positions and lengths are in characters.
#pragma once

#include "editline/base/text.h"

namespace lineedit {

int line_length();
int line_cursor();

// Copy the line and the position of its cursor out of the editor, and back into it.
void get_edited_line(LineText *line, size_t *cursor);
void set_edited_line(const LineText *line, size_t cursor);

// Moves the cursor, without drawing.
void move_cursor_to(int position);
// Inserts `characters` at the cursor. Returns false if the editor refuses.
bool insert_at_cursor(const wchar_t *characters);
// Moves the cursor to `end` and deletes the characters from `start` up to it.
void delete_from_line(int start, int end);

// Updates rl_point, rl_end and rl_line_buffer from the editor's line.
void publish_line();

// To be called before each key. Returns whether the key before it has made the line too long. By a
// repeat count, a yank, a macro or the like, a line may grow to 10000 characters, or to the length
// of the longest line that was typed, pasted, completed or recalled; by those it may grow further.
bool line_is_overgrown();
// Whether a key may make a line of this length.
bool line_may_have(size_t length);
// To be called when a completion of libedit's own has changed the line; the functions above call it
// themselves.
void accept_line_length();

// To be called before each key: keeps libedit's commands from reading and writing outside of the
// line's buffer.
void keep_line_in_bounds();

// Keys type texts from now on.
void expect_bound_texts();

// Wipes what was typed, before the next user. rl_line_buffer is null until the line of the new
// editor is published.
void wipe_line();

}  // namespace lineedit
