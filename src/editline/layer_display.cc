// Drawing the line anew, and keeping it whole beside what others write to its terminal.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>

#include "layer_state.h"
#include "line_text.h"
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

// What is known of the line and its screen, so that most keys need no look.
static struct {
  // The line fits as it should up to the one length, as long as it gets no shorter than the other.
  int longest;
  int latest;
  // The editor's screen, and where the prompt ends on it; not known while the width is 0.
  int rows;
  int columns;
  bool can_clear;
  ScreenPosition prompt_end;
  // Where the line fills several rows, its text at the latest look.
  bool several_rows;
  LineText drawn;
} fitting;

// No character of a line takes more columns. On a narrow screen one can fill several rows.
static constexpr int widest_character = 8;

static bool screen_is_narrow() { return fitting.columns < widest_character; }

static bool is_plain(const wchar_t *line, int length) {
  unsigned others = 0;
  for (int i = 0; i < length; ++i) others |= line[i] < L' ' || line[i] > L'~' ? 1U : 0U;
  return others == 0;
}

static ScreenPosition position_behind(const wchar_t *line, int length) {
  if (!is_plain(line, length))
    return screen_position(layer.prompt, line, static_cast<size_t>(length), fitting.columns);
  const int column = fitting.prompt_end.column + length;
  return {fitting.prompt_end.row + column / fitting.columns, column % fitting.columns};
}

static void learn_screen() {
  if (fitting.columns != 0) return;
  el_get(layer.editor, EL_GETTC, "li", &fitting.rows);
  el_get(layer.editor, EL_GETTC, "co", &fitting.columns);
  char *clear = nullptr;
  el_get(layer.editor, EL_GETTC, "cd", &clear);
  fitting.can_clear = clear != nullptr && *clear != '\0';
  fitting.prompt_end = screen_position(layer.prompt, nullptr, 0, fitting.columns);
}

// The row of the line, counted from that of the prompt, in which the cursor is when it stands
// behind `end`: on the next character, which may not fit into the row.
static int row_of_line(const wchar_t *end) {
  learn_screen();
  const LineInfoW *line = el_wline(layer.editor);
  ScreenPosition at = position_behind(line->buffer, static_cast<int>(end - line->buffer));
  if (end < line->lastchar && at.column + wcwidth(*end) > fitting.columns) ++at.row;
  return at.row;
}

// The same on the screen. What does not fit there is scrolled away at the top.
static int row_of(const wchar_t *end) {
  const int row = row_of_line(end);
  const int rows = layer.true_rows != 0 ? layer.true_rows : fitting.rows;
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

static void move_up(int rows) {
  for (int i = 0; i < rows; ++i) el_set(layer.editor, EL_ECHOTC, "-s", "up", nullptr);
}

// The editor draws as if the cursor stood at the start of an empty row.
void rl_forced_update_display() {
  if (!initialise_layer()) return;
  if (!layer.has_terminal || !editing_is_on()) return;
  if (nothing_was_written()) move_up(beside.rows);
  beside = {};
  learn_screen();
  if (fitting.can_clear) {
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

// --- Lines of several rows -----------------------------------------------------------------------

static void set_editors_rows(int rows) {
  char digits[16];
  snprintf(digits, sizeof digits, "%d", rows);
  el_set(layer.editor, EL_SETTC, "li", digits, nullptr);
  fitting.rows = rows;
}

// libedit 3.1-20221030 forgets the upper rows of a line that is higher than its screen, and loses
// track of the row in which the cursor is: the next character can then be written through a null
// pointer. So it is told of a screen that is higher; the terminal scrolls by itself. Returns
// whether there was not room enough: for the cursor behind a full row, and for what a key adds.
static bool make_screen_high_enough(int last_row) {
  const int needed = last_row + 2;
  if (needed < fitting.rows) return false;
  if (layer.true_rows == 0) layer.true_rows = fitting.rows;
  set_editors_rows(needed * 2);
  return true;
}

static bool fit_to(const wchar_t *line, int length) {
  learn_screen();
  const ScreenPosition end = position_behind(line, length);
  fitting.several_rows = end.row > 0;
  const bool was_too_low = make_screen_high_enough(end.row);
  const int columns_left = fitting.columns - end.column;
  const int rows_left = fitting.rows - end.row - 2;
  if (end.row == 0)
    fitting.longest = length + columns_left / widest_character;
  else
    fitting.longest = length + (screen_is_narrow() ? rows_left / widest_character : rows_left);
  return was_too_low;
}

// How a line differs from what was drawn: the first place, and how much longer it is.
struct Change {
  int first;
  int growth;
  // Nothing but the insertion, or the deletion, of one character.
  bool insertion;
  bool deletion;
};

static Change change_of_line(const wchar_t *line, int length) {
  const wchar_t *drawn = fitting.drawn.characters;
  const int drawn_length = static_cast<int>(fitting.drawn.length);
  const int shorter = std::min(length, drawn_length);
  const int first = static_cast<int>(std::mismatch(line, line + shorter, drawn).first - line);
  const int growth = length - drawn_length;
  const size_t rest = static_cast<size_t>(shorter - first);
  const bool same_rest = wmemcmp(line + length - rest, drawn + drawn_length - rest, rest) == 0;
  return {first, growth, same_rest && growth == 1, same_rest && growth == -1};
}

// Whether a row from that of the change on, but not the last, is full. After an insertion, which
// moves each row on by one character, the row must also end as it did.
static bool full_row_changed(const wchar_t *line, int length, const Change *change) {
  const int columns = fitting.columns;
  const int row = (fitting.prompt_end.column + change->first) / columns;
  const int drawn = static_cast<int>(fitting.drawn.length);
  int end = (row + 1) * columns - fitting.prompt_end.column;
  for (; end < length; end += columns) {
    const bool alike = end <= drawn && line[end - 1] == fitting.drawn.characters[end - 1];
    if (line[end - 1] != L' ' && (alike || !change->insertion)) return true;
  }
  return false;
}

// libedit 3.1-20221030 inserts within a row, goes over its right margin to mend the row's end, and
// then erases the rest of the row below, where it does not know of it. It finds that cheaper where
// characters come twice: at the ends of a row before and after, or anywhere in what comes in the
// place of something else. Returns whether that may have happened.
static bool row_may_be_lost(const wchar_t *line, int length) {
  if (fitting.drawn.length == 0) return false;
  const Change change = change_of_line(line, length);
  if ((change.first == length && change.growth == 0) || change.deletion) return false;
  return !is_plain(line, length) || full_row_changed(line, length, &change);
}

// Returns whether the line is to be drawn anew.
static bool look_at_rows(const LineInfoW *line, int length) {
  const size_t drawn = fitting.drawn.length;
  if (line->cursor == line->lastchar && static_cast<size_t>(length) == drawn + 1) {
    append_text(&fitting.drawn, line->lastchar - 1, 1);
    return false;
  }
  const bool lost = row_may_be_lost(line->buffer, length);
  set_text(&fitting.drawn, line->buffer, static_cast<size_t>(length));
  return lost;
}

// On a narrow screen libedit counts too few rows when it moves the cursor, and what is then typed
// at the end of the line gets beyond its screen.
static bool cursor_went_astray(const LineInfoW *line, int length) {
  return fitting.columns != 0 && screen_is_narrow() && line->cursor == line->lastchar &&
         length == fitting.latest;
}

bool fit_screen_to_line() {
  const LineInfoW *line = el_wline(layer.editor);
  const int length = static_cast<int>(line->lastchar - line->buffer);
  const bool astray = cursor_went_astray(line, length);
  const bool fits = length <= fitting.longest && length >= fitting.latest && !astray;
  fitting.latest = length;
  if (fits && !fitting.several_rows) return false;
  if (!layer.terminal_is_raw || !editing_is_on()) return false;
  const bool too_low = !fits && fit_to(line->buffer, length);
  if (!fitting.several_rows) {
    set_text(&fitting.drawn, line->buffer, 0);
    return too_low || astray;
  }
  return look_at_rows(line, length) || too_low || astray;
}

void forget_screen() {
  if (layer.true_rows != 0) set_editors_rows(layer.true_rows);
  layer.true_rows = 0;
  fitting.longest = fitting.latest = 0;
  fitting.columns = 0;
  fitting.several_rows = false;
  fitting.drawn.length = 0;
}

}  // namespace lineedit
