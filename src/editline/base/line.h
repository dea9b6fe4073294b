// The line being edited, in libedit's hands: looking at it, changing it, and publishing it to the
// application. Positions and lengths count characters.
#pragma once

#include "editline/base/text.h"

namespace lineedit {

int line_length();
int line_cursor();

// The line and the position of the cursor in it.
void take_edited_line(LineText *line, size_t *cursor);
void set_edited_line(const LineText *line, size_t cursor);

// Moves the cursor, without drawing.
void move_cursor_to(int position);
// Inserts `characters` at the cursor. Returns false where the editor refuses.
bool insert_at_cursor(const wchar_t *characters);
// Moves the cursor to `end` and deletes what is before it down to `start`.
void delete_from_line(int start, int end);

// Brings rl_point, rl_end and rl_line_buffer up to date with the editor's line.
void publish_line();

// Whether more of the line has changed, since the last call, than a character at its end.
bool take_line_was_replaced();
void note_line_was_replaced();

// Before each key: makes sure that deleting does not read beyond the line's buffer.
void keep_room_in_line();

// For a new editor and another user: nothing of what was typed is kept. Publish the line after it.
void wipe_line();

}  // namespace lineedit
