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

// The row of the screen, counted from that of the prompt, in which the cursor is when it stands
// behind `end`: on the next character, which may not fit into the row. What does not fit on the
// screen is scrolled away at the top.
static int row_of(const wchar_t *end) {
  int rows = 0;
  int columns = 0;
  rl_get_screen_size(&rows, &columns);
  const LineInfoW *line = el_wline(layer.editor);
  ScreenPosition at =
      screen_position(layer.prompt, line->buffer, static_cast<size_t>(end - line->buffer), columns);
  if (end < line->lastchar && at.column + wcwidth(*end) > columns) ++at.row;
  return at.row < rows ? at.row : rows - 1;
}

void rl_begin_output() {
  if (!layer_is_initialised() || !layer.has_terminal || !editing_is_on()) return;
  const LineInfoW *line = el_wline(layer.editor);
  beside.rows = row_of(line->lastchar);
  const int rows_below = beside.rows - row_of(line->cursor);
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

// The editor draws as if the cursor stood at the start of an empty row.
void rl_forced_update_display() {
  if (!initialise_layer()) return;
  if (!layer.has_terminal || !editing_is_on()) return;
  if (nothing_was_written()) {
    for (int i = 0; i < beside.rows; ++i) el_set(layer.editor, EL_ECHOTC, "-s", "up", nullptr);
  }
  beside = {};
  if (can_clear()) {
    fputc('\r', rl_outstream);
    el_set(layer.editor, EL_ECHOTC, "-s", "cd", nullptr);
  } else {
    fputc('\n', rl_outstream);
  }
  el_set(layer.editor, EL_REFRESH);
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

}  // namespace lineedit
