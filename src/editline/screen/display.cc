// Redrawing the line around the output of other code.
#include "editline/screen/display.h"

#include <stdio_ext.h>

#include <cstdio>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/streams.h"
#include "editline/base/variables.h"
#include "editline/screen/drawing.h"
#include "editline/screen/editor_output.h"
#include "editline/screen/output_watch.h"
#include "editline/screen/writer.h"

namespace lineedit {

// Used between begin_output and end_output, until the line is drawn again.
static struct {
  // The terminal is watched.
  bool watched;
} output;

static bool line_is_shown() {
  return editor_exists() && editor.has_terminal && editing_is_on() && line_is_drawn();
}

void begin_output() {
  if (!line_is_shown()) return;
  update_drawing();
  mute_editor(false);
  move_below_line();
  close_terminal();
  output.watched = begin_output_watch(output_descriptor());
}

void redraw_line() {
  if (!line_is_shown()) return;
  fflush(editor_stream());
  flush_stream();
  if (!output.watched)
    draw_again();
  else if (output_was_written())
    draw_below_output();
  else
    update_drawing();
  output = {};
}

void end_output() {
  if (!line_is_shown()) return;
  mute_editor(true);
  if (rl_done != 0 && line_cursor() != line_length()) {
    // The read is over: later output must not overwrite the line.
    move_cursor_to(line_length());
    redraw_line();
  } else {
    update_drawing();
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
