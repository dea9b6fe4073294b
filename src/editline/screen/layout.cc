#include "editline/screen/layout.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <cwctype>

namespace lineedit {

static constexpr int tab_stop = 8;

// --- Rows ----------------------------------------------------------------------------------------

static void add_row(Layout *layout, int width) {
  if (layout->row_count == layout->room) {
    layout->room = layout->room * 2 + 4;
    const size_t size = static_cast<size_t>(layout->room) * sizeof(ScreenRow);
    layout->rows = static_cast<ScreenRow *>(realloc(layout->rows, size));
  }
  layout->rows[layout->row_count++] = {layout->text.length, width};
}

static ScreenRow *last_row(Layout *layout) { return &layout->rows[layout->row_count - 1]; }

// Adds text of a known width that fits in the row. A full row is followed by another at once: that
// is where the cursor goes.
static void add_text(Layout *layout, const wchar_t *text, size_t length, int width, int columns) {
  append_text(&layout->text, text, length);
  ScreenRow *row = last_row(layout);
  row->end = layout->text.length;
  row->width += width;
  if (row->width >= columns) add_row(layout, 0);
}

static void add_column(Layout *layout, wchar_t character, int columns) {
  add_text(layout, &character, 1, 1, columns);
}

// --- Characters ----------------------------------------------------------------------------------

static void add_tab(Layout *layout, int columns) {
  do add_column(layout, L' ', columns);
  while (last_row(layout)->width % tab_stop != 0);
}

// What stands for a character that cannot be shown: ^A or \U+0085. A byte that is not part of a
// character is a negative one, shown as \U+FFE9.
static void add_substitute(Layout *layout, wchar_t character, int columns) {
  char substitute[16];
  const unsigned code = static_cast<unsigned>(character);
  if (code < 0x80)
    snprintf(substitute, sizeof substitute, "^%c", static_cast<char>(code ^ 0x40));
  else
    snprintf(substitute, sizeof substitute, "\\U+%04X",
             character < 0 ? code & 0xffff : code & 0x1fffff);
  for (const char *at = substitute; *at != '\0'; ++at) add_column(layout, *at, columns);
}

static bool is_empty(const Layout *layout, int row) {
  return layout->rows[row].end == (row > 0 ? layout->rows[row - 1].end : 0);
}

// Adds a character without a column of its own, such as an accent, to the character before it,
// which may have filled the row before. Returns false if there is none.
static bool add_mark(Layout *layout, wchar_t mark, int columns) {
  int row = layout->row_count - 1;
  if (is_empty(layout, row) && row > 0 && layout->rows[row - 1].width == columns) --row;
  if (is_empty(layout, row)) return false;
  append_character(&layout->text, mark);
  layout->rows[row].end = last_row(layout)->end = layout->text.length;
  layout->plain = false;
  return true;
}

// 0 for a character that is not shown as it is, or takes no column.
static int width_of(wchar_t character) {
  if (is_plain(character)) return 1;
  const auto code = static_cast<wint_t>(character);
  return iswprint(code) != 0 ? std::max(wcwidth(character), 0) : 0;
}

static void add_character(Layout *layout, wchar_t character, int columns) {
  const int width = width_of(character);
  if (character == L'\n') {
    add_row(layout, 0);
  } else if (character == L'\t') {
    add_tab(layout, columns);
  } else if (width > 0) {
    while (last_row(layout)->width + width > columns) add_column(layout, L' ', columns);
    if (width > 1) layout->plain = false;
    add_text(layout, &character, 1, width, columns);
  } else if (iswprint(static_cast<wint_t>(character)) == 0 ||
             !add_mark(layout, character, columns)) {
    add_substitute(layout, character, columns);
  }
}

// --- Lines ---------------------------------------------------------------------------------------

// How many characters from `line` on are plain and fit in the row.
static size_t plain_run(const Layout *layout, const wchar_t *line, size_t length, int columns) {
  const int left = columns - layout->rows[layout->row_count - 1].width;
  const size_t limit = std::min(length, static_cast<size_t>(left));
  size_t run = 0;
  while (run < limit && is_plain(line[run])) ++run;
  return run;
}

static void add_characters(Layout *layout, const wchar_t *line, size_t length, int columns) {
  while (length > 0) {
    size_t used = plain_run(layout, line, length, columns);
    if (used > 0) {
      add_text(layout, line, used, static_cast<int>(used), columns);
    } else {
      add_character(layout, *line, columns);
      used = 1;
    }
    line += used;
    length -= used;
  }
}

static ScreenPosition end_of(const Layout *layout) {
  return {layout->row_count - 1, layout->rows[layout->row_count - 1].width};
}

// A wide character may not fit in the rest of the row; then the cursor is in the next one with it.
static void set_cursor(Layout *layout, wchar_t next, int columns) {
  layout->cursor = end_of(layout);
  if (layout->cursor.column + width_of(next) > columns)
    layout->cursor = {layout->cursor.row + 1, 0};
}

void lay_out(Layout *layout, ScreenPosition start, const wchar_t *line, size_t length,
             size_t cursor, int columns) {
  layout->text.length = 0;
  layout->row_count = 0;
  layout->plain = true;
  layout->start = start;
  for (int row = 0; row < start.row; ++row) add_row(layout, columns);
  add_row(layout, start.column);
  add_characters(layout, line, cursor, columns);
  set_cursor(layout, cursor < length ? line[cursor] : L'\0', columns);
  add_characters(layout, line + cursor, length - cursor, columns);
}

void lay_out_next(Layout *layout, wchar_t character) {
  append_character(&layout->text, character);
  ScreenRow *row = last_row(layout);
  row->end = layout->text.length;
  layout->cursor.column = ++row->width;
}

void wipe_layout(Layout *layout) {
  wipe_text(&layout->text);
  free(layout->rows);
  *layout = {};
}

}  // namespace lineedit
