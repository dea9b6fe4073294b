// Where on the screen a character of the line is drawn: the editor knows, but does not tell.
#pragma once

#include <cstddef>

namespace lineedit {

// Both count from 0; the row from the one that the prompt begins in.
struct ScreenPosition {
  int row;
  int column;
};

// Where the editor draws what follows `length` characters of `line` behind `prompt`, on a screen
// `columns` wide. Sequences between two \001 in the prompt take no room.
ScreenPosition screen_position(const wchar_t *prompt, const wchar_t *line, size_t length,
                               int columns);

// Where the editor draws what follows `character`, which it draws at `at`.
void advance_position(ScreenPosition *at, wchar_t character, int columns);

}  // namespace lineedit
