// Reading one line through libedit.
#include "editline/input/line_reading.h"

#include <sys/ioctl.h>

#include <cerrno>
#include <cstdio>

#include "editline/base/editor.h"
#include "editline/base/streams.h"
#include "editline/base/terminal.h"
#include "editline/input/bulk_guard.h"
#include "editline/screen/drawing.h"
#include "editline/screen/editor_output.h"

namespace lineedit {

static struct {
  // The terminal could not be made raw: the line is read without editing.
  bool terminal_failed;
  // Whether editing was on before that.
  bool was_editing;
} reading;

static bool input_queue_is_empty() {
  int bytes = 0;
  ioctl(input_descriptor(), FIONREAD, &bytes);
  return bytes == 0;
}

// libedit edits only on a raw terminal, and takes any other to be at the end of input.
static void begin_failed_line() {
  reading.terminal_failed = true;
  reading.was_editing = editing_is_on();
  set_editing(false);
}

// Also ends a failed line that a signal handler has jumped out of.
static void end_failed_line() {
  if (reading.terminal_failed) set_editing(reading.was_editing);
  reading.terminal_failed = false;
}

static void report_failure(EditLine *el) {
  FILE *errors = nullptr;
  el_get(el, EL_GETFP, 2, &errors);
  fputs("Could not set rawmode.\n", errors);
  fflush(errors);
}

// libedit 3.1-20221030 shows the prompt before it makes the terminal raw; keys that arrive in
// between would go through the driver's line editing and change the line. Returns false if no line
// is to be read.
static bool switch_to_raw_mode(EditLine *el) {
  end_failed_line();
  const bool cooked = editor.has_terminal && !editor.terminal_is_raw;
  if (make_terminal_raw()) return true;
  // Asked only after the failure: on a cooked terminal the kernel counts byte by byte.
  if (cooked && input_queue_is_empty()) return false;
  report_failure(el);
  begin_failed_line();
  return true;
}

static bool returns_single_characters(EditLine *el) {
  int unbuffered = 0;
  el_get(el, EL_UNBUFFERED, &unbuffered);
  return unbuffered != 0;
}

static LineMode line_mode() {
  if (reading.terminal_failed) return LineMode::failed;
  return editor.has_terminal && editing_is_on() ? LineMode::edited : LineMode::plain;
}

// Reads through libedit, which draws nothing, and notes the mode in which it leaves the terminal.
static const wchar_t *read_in_mode(EditLine *el, int *count) {
  const LineMode mode = line_mode();
  bulk_guard_begin_line(mode);
  const bool whole_line = !returns_single_characters(el);
  if (whole_line) begin_drawing(mode == LineMode::edited);
  mute_editor(true);
  const wchar_t *line = ::el_wgets(el, count);
  const int error = errno;
  if (mode == LineMode::edited && whole_line) {
    end_drawing(line != nullptr);
    if (editing_is_on()) editor.terminal_is_raw = false;
  }
  mute_editor(false);
  errno = error;
  return line;
}

const wchar_t *engine::el_wgets(EditLine *el, int *count) {
  int unused_count = 0;
  if (count == nullptr) count = &unused_count;
  *count = 0;
  if (!switch_to_raw_mode(el)) {
    errno = 0;
    return nullptr;
  }
  const wchar_t *line = read_in_mode(el, count);
  const int error = errno;
  end_failed_line();
  bulk_guard_end_line(el);
  errno = error;
  return line;
}

}  // namespace lineedit
