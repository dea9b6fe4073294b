// Drawing the line anew, and keeping it whole beside what others write to its terminal.
#include <unistd.h>

#include <cstdio>
#include <cwchar>

#include "layer_state.h"
#include "output_watch.h"
#include "readline_layer.h"
#include "screen_position.h"

namespace lineedit {

// Between rl_begin_output and rl_end_output, until the line is drawn anew.
static struct {
  // The terminal's cursor is not where the editor left it.
  bool moved;
  // Rows from the prompt down to the terminal's cursor, as long as nothing is written. The terminal
  // is watched when there are any.
  int rows;
} beside;

// The row of the line, counted from that of the prompt, in which the cursor is when it stands
// behind `end`: on the next character, which may not fit into the row.
static int row_of_line(const wchar_t *end) {
  int columns = 0;
  rl_get_screen_size(nullptr, &columns);
  const LineInfoW *line = el_wline(layer.editor);
  ScreenPosition at =
      screen_position(layer.prompt, line->buffer, static_cast<size_t>(end - line->buffer), columns);
  if (end < line->lastchar && at.column + wcwidth(*end) > columns) ++at.row;
  return at.row;
}

// The same on the screen. What does not fit there is scrolled away at the top.
static int row_of(const wchar_t *end) {
  int rows = 0;
  rl_get_screen_size(&rows, nullptr);
  const int row = row_of_line(end);
  return row < rows ? row : rows - 1;
}

void rl_begin_output() {
  if (!layer_is_initialised() || !layer.has_terminal || !editing_is_on()) return;
  const LineInfoW *line = el_wline(layer.editor);
  beside.rows = row_of(line->lastchar);
  const int rows_below = row_of_line(line->lastchar) - row_of_line(line->cursor);
  for (int i = 0; i < rows_below; ++i) fputc('\n', rl_outstream);
  beside.moved = rows_below > 0;
  fflush(rl_outstream);
  if (beside.rows > 0) begin_output_watch(fileno(rl_outstream));
}

static bool nothing_was_written() {
  fflush(rl_outstream);
  return beside.rows > 0 && !output_was_written();
}

static bool can_clear() {
  char *clear = nullptr;
  el_get(layer.editor, EL_GETTC, "cd", &clear);
  return clear != nullptr && *clear != '\0';
}

static void move_up(int rows) {
  for (int i = 0; i < rows; ++i) el_set(layer.editor, EL_ECHOTC, "-s", "up", nullptr);
}

// The editor draws as if the cursor stood at the start of an empty row.
void rl_forced_update_display() {
  if (!initialise_layer()) return;
  if (!layer.has_terminal || !editing_is_on()) return;
  if (nothing_was_written()) move_up(beside.rows);
  beside = {};
  if (can_clear()) {
    fputc('\r', rl_outstream);
    el_set(layer.editor, EL_ECHOTC, "-s", "cd", nullptr);
  } else {
    fputc('\n', rl_outstream);
  }
  el_set(layer.editor, EL_REFRESH);
}

void redraw_in_place() {
  beside = {};
  move_up(row_of(el_wline(layer.editor)->cursor));
  rl_forced_update_display();
}

void rl_end_output() {
  if (!layer_is_initialised() || !layer.has_terminal) return;
  const LineInfoW *line = el_wline(layer.editor);
  if (rl_done != 0 && line->cursor != line->lastchar) {
    // Nothing more will be typed: what follows on the terminal shall not write over the line.
    el_cursor(layer.editor, static_cast<int>(line->lastchar - line->cursor));
    rl_forced_update_display();
  } else if (beside.moved && nothing_was_written()) {
    rl_forced_update_display();
  }
  beside = {};
  end_output_watch();
}

// --- Lines higher than the screen ----------------------------------------------------------------

// The line is known to have room on the screen up to the one length, as long as it gets no shorter
// than the other.
static struct {
  int longest;
  int latest;
  // A character can fill several rows.
  bool narrow;
} fitting;

// No character of a line takes more columns.
static constexpr int widest_character = 8;

static void set_editors_rows(int rows) {
  char digits[16];
  snprintf(digits, sizeof digits, "%d", rows);
  el_set(layer.editor, EL_SETTC, "li", digits, nullptr);
}

// libedit 3.1-20221030 forgets the upper rows of a line that is higher than its screen, and loses
// track of the row in which the cursor is: the next character can then be written through a null
// pointer. So it is told of a screen that is higher; the terminal scrolls by itself.
static int make_screen_higher(int rows, int rows_needed) {
  if (layer.true_rows == 0) layer.true_rows = rows;
  set_editors_rows(rows_needed * 2);
  return rows_needed * 2;
}

// Returns whether the screen had to be made higher.
static bool measure_line(int length) {
  int rows = 0;
  int columns = 0;
  el_get(layer.editor, EL_GETTC, "li", &rows);
  el_get(layer.editor, EL_GETTC, "co", &columns);
  // One for the cursor behind a full row, and one that a character adds before the next look.
  const int needed = row_of_line(el_wline(layer.editor)->lastchar) + 2;
  const bool too_low = needed >= rows;
  if (too_low) rows = make_screen_higher(rows, needed);
  fitting.narrow = columns < widest_character;
  const int rows_of_character = fitting.narrow ? widest_character / columns + 1 : 1;
  fitting.longest = length + (rows - needed) / rows_of_character;
  return too_low;
}

// libedit counts one row for such a character when it moves the cursor, and what is then typed at
// the end of the line gets beyond its screen.
static bool cursor_went_astray(int cursor, int length) {
  return fitting.narrow && cursor == length && length == fitting.latest;
}

bool fit_screen_to_line() {
  const LineInfoW *line = el_wline(layer.editor);
  const int length = static_cast<int>(line->lastchar - line->buffer);
  const int cursor = static_cast<int>(line->cursor - line->buffer);
  const bool astray = cursor_went_astray(cursor, length);
  const bool fits = length <= fitting.longest && length >= fitting.latest;
  fitting.latest = length;
  if ((fits && !astray) || !layer.terminal_is_raw || !editing_is_on()) return false;
  return measure_line(length) || astray;
}

void forget_higher_screen() {
  fitting = {};
  if (layer.true_rows != 0) set_editors_rows(layer.true_rows);
  layer.true_rows = 0;
}

}  // namespace lineedit
