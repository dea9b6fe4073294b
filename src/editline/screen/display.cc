// Redrawing the line around the output of other code.
#include "editline/screen/display.h"

#include <stdio_ext.h>

#include <cstdio>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/terminal.h"
#include "editline/base/variables.h"
#include "editline/screen/output_watch.h"
#include "editline/screen/rows.h"

namespace lineedit {

// Used between begin_output and end_output, until the line is redrawn.
static struct {
  // The terminal's cursor is not where the editor left it.
  bool moved;
  // Rows from the prompt down to the terminal's cursor, as long as nothing is written. If it is not
  // 0, the terminal is watched.
  int rows;
} output;

void begin_output() {
  if (!editor_exists() || !editor.has_terminal || !editing_is_on()) return;
  make_reads_wait(fileno(rl_instream), true);
  const LineInfoW *line = el_wline(editor.el);
  output.rows = row_on_screen(line->lastchar);
  const int rows_below = row_of_line(line->lastchar) - row_of_line(line->cursor);
  for (int i = 0; i < rows_below; ++i) fputc('\n', rl_outstream);
  output.moved = rows_below > 0;
  fflush(rl_outstream);
  if (output.rows > 0) begin_output_watch(fileno(rl_outstream));
}

static bool nothing_was_written() {
  fflush(rl_outstream);
  return output.rows > 0 && !output_was_written();
}

static void move_up(int rows) {
  for (int i = 0; i < rows; ++i) el_set(editor.el, EL_ECHOTC, "-s", "up", nullptr);
}

// EL_REFRESH draws as if the cursor were at the start of an empty row.
void redraw_line() {
  if (!editor.has_terminal || !editing_is_on()) return;
  if (nothing_was_written()) move_up(output.rows);
  output = {};
  if (screen_can_be_cleared()) {
    fputc('\r', rl_outstream);
    el_set(editor.el, EL_ECHOTC, "-s", "cd", nullptr);
  } else {
    fputc('\n', rl_outstream);
  }
  el_set(editor.el, EL_REFRESH);
}

void move_to_prompt() {
  output = {};
  move_up(row_on_screen(el_wline(editor.el)->cursor));
}

void redraw_in_place() {
  move_to_prompt();
  redraw_line();
}

void end_output() {
  if (!editor_exists() || !editor.has_terminal) return;
  if (editing_is_on()) make_reads_wait(fileno(rl_instream), false);
  if (rl_done != 0 && line_cursor() != line_length()) {
    // The read is over: later output must not overwrite the line.
    move_cursor_to(line_length());
    redraw_line();
  } else if (output.moved && nothing_was_written()) {
    redraw_line();
  }
  output = {};
  end_output_watch();
}

// Fills the buffer with blanks, which are discarded before it is full.
void wipe_output_buffer() {
  fflush(rl_outstream);
  for (size_t i = 1; i < __fbufsize(rl_outstream); ++i) fputc(' ', rl_outstream);
  __fpurge(rl_outstream);
}

}  // namespace lineedit
