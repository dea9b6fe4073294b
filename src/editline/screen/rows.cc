// Lines of several rows. libedit 3.1-20221030 has bugs in drawing them. Two workarounds are here:
// it is told that the screen is higher, and what it may have drawn wrong is redrawn.
#include "editline/screen/rows.h"

#include <algorithm>
#include <cstdio>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/text.h"
#include "editline/base/wipe.h"
#include "editline/screen/position.h"
#include "editline/screen/prompt.h"

namespace lineedit {

static struct {
  // The editor's screen, and where the prompt ends on it. Unknown while `columns` is 0.
  int rows;
  int columns;
  // The real number of rows if the editor was told a larger one, else 0.
  int true_rows;
  bool can_be_cleared;
  ScreenPosition prompt_end;
  // The line at the latest check.
  struct {
    int length;
    // Where the line ends.
    ScreenPosition end;
    // The cursor was in a row that has scrolled off the screen.
    bool out_of_view;
    // The line's text if it fills several rows, else empty.
    LineText drawn;
  } latest;
} screen;

// --- Positions -----------------------------------------------------------------------------------

static void query_screen() {
  if (screen.columns != 0) return;
  char *clear = nullptr;
  el_get(editor.el, EL_GETTC, "li", &screen.rows);
  el_get(editor.el, EL_GETTC, "co", &screen.columns);
  el_get(editor.el, EL_GETTC, "cd", &clear);
  screen.can_be_cleared = clear != nullptr && *clear != '\0';
  screen.prompt_end = screen_position(prompt_text(), nullptr, 0, screen.columns);
}

int screen_rows() {
  query_screen();
  return screen.true_rows != 0 ? screen.true_rows : screen.rows;
}

bool screen_can_be_cleared() {
  query_screen();
  return screen.can_be_cleared;
}

static bool is_plain(const wchar_t *line, int length) {
  unsigned others = 0;
  for (int i = 0; i < length; ++i) others |= line[i] < L' ' || line[i] > L'~' ? 1U : 0U;
  return others == 0;
}

static ScreenPosition position_behind(const wchar_t *line, int length) {
  if (!is_plain(line, length))
    return screen_position(prompt_text(), line, static_cast<size_t>(length), screen.columns);
  const int column = screen.prompt_end.column + length;
  return {screen.prompt_end.row + column / screen.columns, column % screen.columns};
}

// The cursor is on the next character, which may not fit in the row.
int row_of_line(const wchar_t *end) {
  query_screen();
  const LineInfoW *line = el_wline(editor.el);
  ScreenPosition at = position_behind(line->buffer, static_cast<int>(end - line->buffer));
  if (end < line->lastchar && at.column + wcwidth(*end) > screen.columns) ++at.row;
  return at.row;
}

// Rows that do not fit have scrolled off at the top.
int row_on_screen(const wchar_t *end) {
  const int row = row_of_line(end);
  const int rows = screen_rows();
  return row < rows ? row : rows - 1;
}

// --- Lines higher than the screen ----------------------------------------------------------------

static void set_editor_rows(int rows) {
  char digits[16];
  snprintf(digits, sizeof digits, "%d", rows);
  begin_wiping();
  el_set(editor.el, EL_SETTC, "li", digits, nullptr);
  end_wiping();
  screen.rows = rows;
}

// libedit forgets the upper rows of a line that is higher than its screen, and loses track of the
// cursor's row. It may then write the next character through a null pointer. So it is told that the
// screen is higher; the terminal scrolls by itself. Two spare rows are needed: one for the cursor
// after a full row, one for what a key adds. Returns whether the screen was too low.
static bool make_screen_high_enough() {
  const int needed = screen.latest.end.row + 2;
  if (needed < screen.rows) return false;
  if (screen.true_rows == 0) screen.true_rows = screen.rows;
  set_editor_rows(needed * 2);
  return true;
}

// Whether the cursor's row has scrolled off the screen, now or at the latest check. The terminal's
// own cursor is then in another row.
static bool cursor_is_out_of_view(const LineInfoW *line) {
  const bool was = screen.latest.out_of_view;
  screen.latest.out_of_view = screen.true_rows != 0 && line->cursor != line->lastchar &&
                              row_of_line(line->cursor) <= screen.latest.end.row - screen.true_rows;
  return was || screen.latest.out_of_view;
}

// If one character can fill several rows, libedit counts too few of them when it moves the cursor.
// What is then typed at the end of the line lands outside its screen.
static bool cursor_may_be_misplaced(const LineInfoW *line, int length) {
  constexpr int widest_character = 8;
  return screen.columns < widest_character && line->cursor == line->lastchar &&
         length == screen.latest.length;
}

// --- Lost rows -----------------------------------------------------------------------------------

// How the line differs from what was drawn: the index of the first difference, and how many
// characters longer it is.
struct Change {
  int first;
  int growth;
  // One character was inserted, or deleted, and nothing else changed.
  bool insertion;
  bool deletion;
};

static Change change_of_line(const wchar_t *line, int length) {
  const wchar_t *drawn = screen.latest.drawn.characters;
  const int drawn_length = static_cast<int>(screen.latest.drawn.length);
  const int shorter = std::min(length, drawn_length);
  const int first = static_cast<int>(std::mismatch(line, line + shorter, drawn).first - line);
  const int growth = length - drawn_length;
  const size_t rest = static_cast<size_t>(shorter - first);
  const bool same_rest = wmemcmp(line + length - rest, drawn + drawn_length - rest, rest) == 0;
  return {first, growth, same_rest && growth == 1, same_rest && growth == -1};
}

// Whether any row from the change on, except the last, is full. An insertion shifts each row by one
// character; after it, only a row that still ends in the same character counts.
static bool full_row_changed(const wchar_t *line, int length, const Change *change) {
  const int columns = screen.columns;
  const int row = (screen.prompt_end.column + change->first) / columns;
  const int drawn = static_cast<int>(screen.latest.drawn.length);
  int end = (row + 1) * columns - screen.prompt_end.column;
  for (; end < length; end += columns) {
    const bool alike = end <= drawn && line[end - 1] == screen.latest.drawn.characters[end - 1];
    if (line[end - 1] != L' ' && (alike || !change->insertion)) return true;
  }
  return false;
}

// libedit may insert characters within a row and then rewrite the row's end past the right margin.
// This erases the rest of the row below, and libedit does not know. It does so where repeated
// characters make it cheaper: if a row ends in the same character before and after, or anywhere in
// text that replaces other text. Returns whether this may have happened.
static bool row_may_be_lost(const wchar_t *line, int length) {
  if (screen.latest.drawn.length == 0) return false;
  const Change change = change_of_line(line, length);
  if ((change.first == length && change.growth == 0) || change.deletion) return false;
  return !is_plain(line, length) || full_row_changed(line, length, &change);
}

// Updates the copy of what is drawn. Returns whether the line must be redrawn.
static bool update_drawn_rows(const LineInfoW *line, int length, bool appended) {
  if (screen.latest.end.row == 0) {
    screen.latest.drawn.length = 0;
    return false;
  }
  if (appended && screen.latest.drawn.length > 0) {
    append_text(&screen.latest.drawn, line->lastchar - 1, 1);
    return false;
  }
  const bool lost = row_may_be_lost(line->buffer, length);
  set_text(&screen.latest.drawn, line->buffer, static_cast<size_t>(length));
  return lost;
}

// --- The check before each key -------------------------------------------------------------------

bool fit_screen_to_line() {
  if (!editor.terminal_is_raw || !editing_is_on()) return false;
  query_screen();
  const LineInfoW *line = el_wline(editor.el);
  const int length = static_cast<int>(line->lastchar - line->buffer);
  const bool appended = !test_and_clear_line_replaced() && line->cursor == line->lastchar &&
                        length == screen.latest.length + 1;
  if (appended)
    advance_position(&screen.latest.end, line->lastchar[-1], screen.columns);
  else
    screen.latest.end = position_behind(line->buffer, length);
  const bool misplaced = cursor_may_be_misplaced(line, length);
  screen.latest.length = length;
  const bool too_low = make_screen_high_enough();
  const bool out_of_view = cursor_is_out_of_view(line);
  return update_drawn_rows(line, length, appended) || misplaced || too_low || out_of_view;
}

void reset_screen() {
  if (screen.true_rows != 0) set_editor_rows(screen.true_rows);
  screen.true_rows = 0;
  screen.columns = 0;
  screen.latest.length = 0;
  mark_line_replaced();
  screen.latest.out_of_view = false;
  screen.latest.drawn.length = 0;
}

void wipe_drawn_line() { wipe_text(&screen.latest.drawn); }

}  // namespace lineedit
