// Computes where on the screen a character of the line is drawn. libedit knows, but has no call for
// it.
#pragma once

#include <cstddef>

namespace lineedit {

// Both count from 0. Row 0 is the one in which the prompt begins.
struct ScreenPosition {
  int row;
  int column;
};

// The position after `prompt` and `length` characters of `line`, on a screen `columns` wide.
// Sequences between two \001 in the prompt take no columns.
ScreenPosition screen_position(const wchar_t *prompt, const wchar_t *line, size_t length,
                               int columns);

// Advances `*at`, the position of `character`, to the position after it.
void advance_position(ScreenPosition *at, wchar_t character, int columns);

}  // namespace lineedit
