// Drawing the line anew, and keeping it whole beside what others write to its terminal.
#include <unistd.h>

#include <cstdio>
#include <cwchar>

#include "editline/base/editor.h"
#include "editline/readline.h"
#include "editline/screen/output_watch.h"
#include "editline/screen/rows.h"

namespace lineedit {

// Between rl_begin_output and rl_end_output, until the line is drawn anew.
static struct {
  // The terminal's cursor is not where the editor left it.
  bool moved;
  // Rows from the prompt down to the terminal's cursor, as long as nothing is written. The terminal
  // is watched when there are any.
  int rows;
} beside;

void rl_begin_output() {
  if (!layer_is_initialised() || !layer.has_terminal || !editing_is_on()) return;
  make_reads_wait(fileno(rl_instream), true);
  const LineInfoW *line = el_wline(layer.editor);
  beside.rows = row_on_screen(line->lastchar);
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
  if (screen_can_be_cleared()) {
    fputc('\r', rl_outstream);
    el_set(layer.editor, EL_ECHOTC, "-s", "cd", nullptr);
  } else {
    fputc('\n', rl_outstream);
  }
  el_set(layer.editor, EL_REFRESH);
}

void redraw_in_place() {
  beside = {};
  move_up(row_on_screen(el_wline(layer.editor)->cursor));
  rl_forced_update_display();
}

void rl_end_output() {
  if (!layer_is_initialised() || !layer.has_terminal) return;
  if (editing_is_on()) make_reads_wait(fileno(rl_instream), false);
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

}  // namespace lineedit
