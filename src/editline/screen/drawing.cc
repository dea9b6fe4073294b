#include "editline/screen/drawing.h"

#include <algorithm>
#include <cwchar>
#include <utility>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/text.h"
#include "editline/screen/editor_output.h"
#include "editline/screen/layout.h"
#include "editline/screen/prompt.h"
#include "editline/screen/size.h"
#include "editline/screen/writer.h"

namespace lineedit {

static struct {
  // A line is being edited.
  bool edited;
  // The prompt has not been drawn.
  bool prompt_is_due;
  // What is shown, and what shall be.
  Layout shown;
  Layout next;
  // The line that is shown, and its cursor.
  LineText line;
  size_t cursor;
  // Rows count from the row in which the prompt begins. Those from `first` to `bottom` are on the
  // screen and can be reached; at most as many as the screen has.
  int first;
  int bottom;
  // Where the terminal's cursor is. In the column behind the last one, it is still in the last one.
  ScreenPosition at;
  // During an update: the rows up to this one showed something before it, and as many characters of
  // the row `begun_row` have been written as `begun` says.
  int old_bottom;
  int begun_row;
  size_t begun;
} drawing;

// --- The terminal's cursor -----------------------------------------------------------------------

// The screen scrolls when the cursor moves down from its last row.
static void note_row() {
  drawing.bottom = std::max(drawing.bottom, drawing.at.row);
  drawing.first = std::max(drawing.first, drawing.bottom - screen_rows() + 1);
}

static void return_to_margin() {
  write_repeated('\r', 1);
  drawing.at.column = 0;
}

static void move_to_row(int row) {
  if (row < drawing.at.row) {
    if (drawing.at.column >= screen_columns()) return_to_margin();
    if (has_control(Control::up))
      for (int i = row; i < drawing.at.row; ++i) write_control(Control::up);
  } else if (row > drawing.at.row) {
    if (drawing.at.column > 0) return_to_margin();
    write_repeated('\n', row - drawing.at.row);
  }
  drawing.at.row = row;
  note_row();
}

static int columns_of(const Layout *layout, wchar_t character) {
  return layout->plain ? 1 : wcwidth(character);
}

struct RowText {
  const wchar_t *characters;
  size_t length;
  // Where it begins and ends.
  int column;
  int width;
};

static RowText row_text(const Layout *layout, int row) {
  const size_t start = row > 0 ? layout->rows[row - 1].end : 0;
  const int column = row == layout->start.row ? layout->start.column : 0;
  return {layout->text.characters + start, layout->rows[row].end - start, column,
          layout->rows[row].width};
}

static void wrap_at_once() {
  if (drawing.at.column < screen_columns() || wraps_late() || !wraps()) return;
  drawing.at = {drawing.at.row + 1, 0};
  note_row();
}

static void write_characters(const wchar_t *characters, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    write_character(characters[i]);
    drawing.at.column += columns_of(&drawing.next, characters[i]);
  }
  wrap_at_once();
}

// For terminals that can move to the right only by writing what is there.
static void rewrite_up_to(int column) {
  const RowText row = row_text(&drawing.next, drawing.at.row);
  return_to_margin();
  if (drawing.at.row == 0) write_prompt(screen_columns());
  drawing.at.column = row.column;
  for (size_t i = 0; i < row.length && drawing.at.column < column; ++i)
    write_characters(row.characters + i, 1);
}

static void move_to_column(int column) {
  constexpr int few = 4;
  if (drawing.at.column >= screen_columns() && column < screen_columns()) return_to_margin();
  const int distance = drawing.at.column - column;
  if (distance == 0) return;
  if (column == 0) {
    return_to_margin();
  } else if (distance > few && has_control(Control::column)) {
    write_control(Control::column, column);
  } else if (distance > 0) {
    write_repeated('\b', distance);
  } else if (has_control(Control::column)) {
    write_control(Control::column, column);
  } else if (has_control(Control::right)) {
    for (int i = drawing.at.column; i < column; ++i) write_control(Control::right);
  } else {
    rewrite_up_to(column);
  }
  drawing.at.column = column;
}

static void move_to(int row, int column) {
  move_to_row(row);
  move_to_column(column);
}

// --- One row -------------------------------------------------------------------------------------

// What the row shows: nothing, if it was not on the screen.
static RowText shown_row(int row) {
  if (row > drawing.old_bottom || row >= drawing.shown.row_count) return {L"", 0, 0, 0};
  return row_text(&drawing.shown, row);
}

static void clear_columns(int count) {
  if (count <= 0) return;
  if (has_control(Control::clear_row)) {
    write_control(Control::clear_row);
  } else {
    write_repeated(' ', count);
    drawing.at.column += count;
    wrap_at_once();
  }
}

static bool is_mark(const Layout *layout, wchar_t character) {
  return !layout->plain && wcwidth(character) == 0;
}

// The length of the beginning that both rows have in common. A character that takes no column stays
// with the one before it.
static size_t common_beginning(const RowText *old, const RowText *next) {
  const size_t limit = std::min(old->length, next->length);
  size_t same = static_cast<size_t>(
      std::mismatch(next->characters, next->characters + limit, old->characters).first -
      next->characters);
  while (same > 0 && ((same < next->length && is_mark(&drawing.next, next->characters[same])) ||
                      (same < old->length && is_mark(&drawing.shown, old->characters[same]))))
    --same;
  return same;
}

static int column_of(const RowText *row, size_t index) {
  int column = row->column;
  for (size_t i = 0; i < index; ++i) column += columns_of(&drawing.next, row->characters[i]);
  return column;
}

// Writes the beginning of the row after a full one, so that the terminal goes there by itself and
// takes both for one row: where text is copied, or the width changes.
static void continue_row(int row, int last) {
  if (row >= last || drawing.at.column < screen_columns() || !wraps_late()) return;
  const RowText next = row_text(&drawing.next, row + 1);
  size_t length = next.length > 0 ? 1 : 0;
  while (length > 0 && length < next.length && is_mark(&drawing.next, next.characters[length]))
    ++length;
  drawing.at = {row + 1, 0};
  note_row();
  drawing.begun_row = row + 1;
  drawing.begun = length;
  if (length > 0) {
    write_characters(next.characters, length);
  } else {
    write_repeated(' ', 1);
    return_to_margin();
  }
}

// Writes the row's text from the index on, and clears what is shown behind it up to `width`.
static void write_rest(int row, const RowText *next, size_t from, int width, int last) {
  move_to(row, column_of(next, from));
  write_characters(next->characters + from, next->length - from);
  clear_columns(width - next->width);
  continue_row(row, last);
}

// Moves the text from the index `same` on by as many columns as the line has grown or shrunk, if
// that makes most of the row right and the terminal can. The rest of the row is then written.
static bool shift_row(int row, const RowText *old, const RowText *next, size_t same, int last) {
  constexpr size_t least = 8;
  const bool grown = drawing.next.text.length > drawing.shown.text.length;
  const size_t inserted = grown ? drawing.next.text.length - drawing.shown.text.length : 0;
  const size_t removed = grown ? 0 : drawing.shown.text.length - drawing.next.text.length;
  const size_t from = same + removed;
  const size_t to = same + inserted;
  if (!drawing.shown.plain || !drawing.next.plain || inserted + removed == 0) return false;
  if (from + least > old->length || to + least > next->length) return false;
  const size_t moved = std::min(old->length - from, next->length - to);
  if (wmemcmp(old->characters + from, next->characters + to, moved) != 0) return false;
  if (!has_control(grown ? Control::insert : Control::remove)) return false;

  move_to(row, next->column + static_cast<int>(same));
  write_control(grown ? Control::insert : Control::remove, static_cast<int>(inserted + removed));
  write_characters(next->characters + same, inserted);
  const int width = std::min(old->width + static_cast<int>(inserted) - static_cast<int>(removed),
                             screen_columns());
  if (to + moved < next->length || width > next->width)
    write_rest(row, next, to + moved, width, last);
  return true;
}

// In rows of the same length, also the end may be the same.
static bool exchange_text(int row, const RowText *old, const RowText *next, size_t same) {
  if (!drawing.shown.plain || !drawing.next.plain || old->length != next->length) return false;
  size_t end = next->length;
  while (old->characters[end - 1] == next->characters[end - 1]) --end;
  if (end == next->length) return false;
  move_to(row, next->column + static_cast<int>(same));
  write_characters(next->characters + same, end - same);
  return true;
}

static void update_row(int row, int last) {
  const RowText old = shown_row(row);
  const RowText next = row_text(&drawing.next, row);
  size_t same = common_beginning(&old, &next);
  if (row == drawing.begun_row) same = std::max(same, drawing.begun);
  if (same == old.length && same == next.length) return;
  if (shift_row(row, &old, &next, same, last)) return;
  if (exchange_text(row, &old, &next, same)) return;
  write_rest(row, &next, same, old.width, last);
}

// --- All rows ------------------------------------------------------------------------------------

static void clear_rows_below(int last) {
  const int end = std::min(drawing.old_bottom, drawing.shown.row_count - 1);
  for (int row = last + 1; row <= end; ++row) {
    const RowText old = shown_row(row);
    if (old.width == 0) continue;
    move_to(row, 0);
    if (has_control(Control::clear_below)) {
      write_control(Control::clear_below);
      return;
    }
    clear_columns(old.width);
  }
}

// Updates the rows from `top` to `last`.
static void update_rows(int top, int last) {
  drawing.old_bottom = drawing.bottom;
  drawing.begun_row = -1;
  for (int row = std::max(top, drawing.next.start.row); row <= last; ++row) update_row(row, last);
  clear_rows_below(last);
  move_to(drawing.next.cursor.row, drawing.next.cursor.column);
  std::swap(drawing.shown, drawing.next);
}

// How many rows are used. A terminal that wraps at once would scroll behind a full last row.
static int usable_rows() {
  const bool spare = wraps() && !wraps_late() && screen_rows() > 1;
  return screen_rows() - (spare ? 1 : 0);
}

// The first row to show, and the last one below it that there is room for.
static int top_row() {
  const int cursor = drawing.next.cursor.row;
  if (drawing.next.row_count <= usable_rows()) return 0;
  if (cursor < drawing.first) return cursor < usable_rows() ? 0 : cursor;
  return std::max(drawing.first, cursor - usable_rows() + 1);
}

static int last_row(int top) { return std::min(drawing.next.row_count, top + usable_rows()) - 1; }

// Draws the rows from `top` to `last`; the terminal's cursor is at the start of an empty row. The
// prompt is drawn as a whole, and its upper rows may scroll off.
static void draw_rows(int top, int last) {
  if (top <= drawing.next.start.row) top = 0;
  drawing.first = drawing.bottom = top;
  drawing.at = {top, 0};
  drawing.shown.text.length = 0;
  drawing.shown.row_count = 0;
  if (top == 0) {
    write_prompt(screen_columns());
    drawing.at = drawing.next.start;
    note_row();
  }
  update_rows(top, last);
}

// Draws all of the line if its last screenful has the cursor in it; the rows above scroll off.
// Otherwise the cursor's row becomes the top one.
static void draw_everything() {
  const int cursor = drawing.next.cursor.row;
  const int end = drawing.next.row_count - 1;
  const int top = cursor < usable_rows() ? 0 : cursor;
  if (cursor > end - usable_rows())
    draw_rows(0, end);
  else
    draw_rows(top, last_row(top));
}

static void clear_from_here() {
  if (has_control(Control::clear_below)) {
    return_to_margin();
    write_control(Control::clear_below);
  } else {
    write_bytes("\r\n", 2);
  }
}

// Shows rows that had scrolled off the screen.
static void scroll_back(int top) {
  const int reached = drawing.bottom - drawing.first;
  move_to_row(drawing.first);
  clear_from_here();
  draw_rows(top, last_row(top));
  drawing.bottom = std::max(drawing.bottom, top + reached);
}

// --- The line ------------------------------------------------------------------------------------

// The line to be shown, and its cursor.
struct Line {
  const wchar_t *characters;
  size_t length;
  size_t cursor;
};

static Line edited_line() {
  const LineInfoW *line = el_wline(editor.el);
  return {line->buffer, static_cast<size_t>(line->lastchar - line->buffer),
          static_cast<size_t>(line->cursor - line->buffer)};
}

static void prepare(const Line *line) {
  const int columns = screen_columns();
  lay_out(&drawing.next, prompt_end(columns), line->characters, line->length, line->cursor,
          columns);
  set_text(&drawing.line, line->characters, line->length);
  drawing.cursor = line->cursor;
  fit_editor_to(drawing.next.row_count, drawing.next.plain);
}

static bool begins_as_drawn(const Line *line) {
  return wmemcmp(line->characters, drawing.line.characters, drawing.line.length) == 0;
}

// Whether the cursor is where the line's cursor was drawn: move_below_line moves it away.
static bool cursor_is_drawn() {
  return drawing.at.row == drawing.shown.cursor.row &&
         drawing.at.column == drawing.shown.cursor.column;
}

// The common case: a character has been added at the end, and the row goes on.
static bool draw_added_character(const Line *line) {
  if (line->length != drawing.line.length + 1 || line->cursor != line->length) return false;
  const wchar_t added = line->characters[line->length - 1];
  const int width = width_of(added);
  if (drawing.cursor != drawing.line.length || width == 0 || !cursor_is_drawn()) return false;
  if (drawing.at.column + width >= screen_columns()) return false;
  if (!begins_as_drawn(line)) return false;
  append_character(&drawing.line, added);
  drawing.cursor = line->cursor;
  lay_out_next(&drawing.shown, added, width);
  write_character(added);
  drawing.at.column += width;
  return true;
}

static bool is_drawn(const Line *line) {
  return line->length == drawing.line.length && line->cursor == drawing.cursor &&
         begins_as_drawn(line) && cursor_is_drawn();
}

static void draw_first_time(const Line *line) {
  drawing.prompt_is_due = false;
  write_upper_prompt();
  prepare(line);
  draw_everything();
}

static void draw_changes(const Line *line) {
  prepare(line);
  const int top = top_row();
  if (top < drawing.first)
    scroll_back(top);
  else
    update_rows(top, last_row(top));
}

// Some terminals wrap their rows anew at another width, others leave them as they are, and it
// cannot be told which. So the cursor is as many rows below the first one as before, or as many as
// in the new layout. The smaller number spares what is above the line, and may leave a part of it
// there.
static void draw_below_top(const Line *line) {
  prepare(line);
  move_to_row(drawing.at.row - std::min(drawing.at.row - drawing.first, drawing.next.cursor.row));
  clear_from_here();
  drawing.first = 0;
  const int top = top_row();
  draw_rows(top, last_row(top));
}

static void draw(const Line *line) {
  if (drawing.prompt_is_due)
    draw_first_time(line);
  else if (screen_size_has_changed())
    draw_below_top(line);
  else if (!draw_added_character(line) && !is_drawn(line))
    draw_changes(line);
}

void begin_drawing(bool edited) {
  drop_unwritten();
  forget_screen_size();
  drawing.edited = edited;
  drawing.prompt_is_due = editor.has_terminal;
}

bool line_is_drawn() { return drawing.edited && !drawing.prompt_is_due; }

void update_drawing() {
  if (!drawing.edited && !drawing.prompt_is_due) return;
  const Line line = edited_line();
  draw(&line);
  if (take_bell()) write_repeated('\a', 1);
  flush_writer();
}

void return_to_drawn_line() {
  set_edited_line(&drawing.line, drawing.cursor);
  write_repeated('\a', 1);
}

void end_drawing(bool next_row) {
  Line line = edited_line();
  if (line.length > 0 && line.characters[line.length - 1] == L'\n') --line.length;
  line.cursor = line.length;
  draw(&line);
  if (next_row) write_bytes("\r\n", 2);
  flush_writer();
  drawing.edited = false;
}

void draw_in_place() {
  if (!line_is_drawn()) return;
  const Line line = edited_line();
  draw_below_top(&line);
  flush_writer();
}

// Blanks fill the row in which the output ends and go on in the next one; if nothing is in that
// row, they stay in it.
static void begin_fresh_row() {
  if (wraps()) {
    write_repeated(' ', screen_columns() - (wraps_late() ? 0 : 1));
    write_repeated('\r', 1);
  } else {
    write_bytes("\r\n", 2);
  }
}

static void draw_from_here() {
  const Line line = edited_line();
  prepare(&line);
  draw_everything();
  flush_writer();
}

void draw_below_output() {
  begin_fresh_row();
  if (has_control(Control::clear_below)) write_control(Control::clear_below);
  draw_from_here();
}

void draw_again() {
  clear_from_here();
  draw_from_here();
}

void draw_on_clear_screen() {
  const Line line = edited_line();
  if (has_control(Control::clear_screen))
    write_control(Control::clear_screen);
  else
    write_bytes("\r\n", 2);
  draw_first_time(&line);
  flush_writer();
}

static int last_shown_row() {
  return std::min(drawing.shown.row_count, drawing.first + usable_rows()) - 1;
}

void move_below_line() {
  move_to_row(last_shown_row());
  flush_writer();
}

void move_behind_line() {
  if (!line_is_drawn()) return;
  const int last = last_shown_row();
  move_to(last, drawing.shown.rows[last].width);
  flush_writer();
}

void wipe_drawing() {
  wipe_layout(&drawing.shown);
  wipe_layout(&drawing.next);
  wipe_text(&drawing.line);
  wipe_writer();
  wipe_editor_output();
  drawing = {};
}

}  // namespace lineedit
