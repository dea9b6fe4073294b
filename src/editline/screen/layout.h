// The rows that prompt and line fill on the screen.
#pragma once

#include <cstddef>

#include "editline/base/text.h"

namespace lineedit {

// Both count from 0. Row 0 is the one in which the prompt begins.
struct ScreenPosition {
  int row;
  int column;
};

struct ScreenRow {
  // Where its text ends in the layout's text; it begins where the row before ends.
  size_t end;
  // The columns up to its end, those of the prompt included. A row as wide as the screen continues
  // in the next one.
  int width;
};

// Part of a record at the top of a file; its storage only grows. A zeroed one has no rows.
struct Layout {
  // What the rows show, one after the other. A character that takes no column belongs to the one
  // before it.
  LineText text;
  ScreenRow *rows;
  int row_count;
  int room;
  // Each character of the text takes one column.
  bool plain;
  // Where the line begins, and where the cursor is.
  ScreenPosition start;
  ScreenPosition cursor;
};

// Lays out a line of `length` characters that begins at `start` on a screen `columns` (at least 2)
// wide, with the cursor on the character at `cursor`, or behind the last one.
void lay_out(Layout *layout, ScreenPosition start, const wchar_t *line, size_t length,
             size_t cursor, int columns);

// Adds a plain character at the end of a layout whose cursor is there. Its last row must have two
// free columns.
void lay_out_next(Layout *layout, wchar_t character);

// Whether the character takes one column whatever the locale: printable ASCII.
inline bool is_plain(wchar_t character) { return character >= L' ' && character <= L'~'; }

// Overwrites and frees the storage.
void wipe_layout(Layout *layout);

}  // namespace lineedit
