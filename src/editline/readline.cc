// The readline calls. Each sets up the editor if needed, and calls the file that does the work.
#include "editline/readline.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/locale.h"
#include "editline/base/terminal.h"
#include "editline/base/text.h"
#include "editline/commands/bindings.h"
#include "editline/commands/completion.h"
#include "editline/commands/editing.h"
#include "editline/commands/history_place.h"
#include "editline/commands/history_search.h"
#include "editline/commands/history_walk.h"
#include "editline/input/bulk_guard.h"
#include "editline/input/keys.h"
#include "editline/input/line_reading.h"
#include "editline/input/signals.h"
#include "editline/screen/display.h"
#include "editline/screen/prompt.h"
#include "editline/screen/size.h"
#include "editline/setup.h"

namespace lineedit {

static struct {
  // What rl_insert_text inserts, decoded.
  LineText inserted;
} calls;

// --- Set-up and reading --------------------------------------------------------------------------

int rl_initialize() {
  wipe_text(&calls.inserted);
  return set_up_editor() ? 0 : -1;
}

void release_streams(bool open) {
  if (open && rl_outstream != nullptr) wipe_output_buffer();
  rl_instream = rl_outstream = nullptr;
}

// libedit's narrow read returns an empty line if there is one character that it cannot encode. Its
// count can be larger than the line that it returns (after a line over 1023 characters, Up and
// Down). So the wide line is read, and measured and encoded here.
static char *encode_read_line(const wchar_t *characters, int count) {
  if (characters == nullptr || count <= 0) return nullptr;
  const size_t length = wcsnlen(characters, static_cast<size_t>(count));
  char *line = static_cast<char *>(malloc(encoded_size(length)));
  const size_t bytes = encode_line(line, characters, length);
  if (bytes > 0 && line[bytes - 1] == '\n') line[bytes - 1] = '\0';
  return line;
}

static char *read_line() {
  int count = 0;
  begin_line_on_terminal();
  const wchar_t *characters = engine::el_wgets(editor.el, &count);
  end_line_on_terminal(characters == nullptr);
  return encode_read_line(characters, count);
}

static void reset_for_line() {
  rl_done = 0;
  reset_keys();
  reset_place_in_history();
  end_text_search();
  end_word_insertion();
  reset_search();
}

// A signal handler may jump from the wait for a key to a caller's frame, so no frame in between may
// own anything.
char *readline(const char *prompt) {
  if (!require_editor()) return nullptr;
  if (rl_instream == nullptr) return nullptr;
  enter_editor_locale();
  reset_for_line();
  set_prompt(prompt != nullptr ? prompt : "");
  const bool blocked_here = block_signals(nullptr);
  install_signal_handlers();
  char *line = read_line();
  restore_signal_handlers();
  leave_editor_locale();
  if (blocked_here) unblock_signals();
  return line;
}

void rl_tty_overflow_fix(int on) { bulk_guard_request(on); }

void give_terminal_back() { restore_terminal(); }

// --- The line being edited -----------------------------------------------------------------------

static int clamp_to_line(int position) {
  if (position < 0) return 0;
  return position < rl_end ? position : rl_end;
}

int rl_delete_text(int start, int end) {
  if (!require_editor()) return 0;
  start = clamp_to_line(start);
  end = clamp_to_line(end);
  const bool entered = enter_editor_locale();
  delete_from_line(start, end);
  publish_line();
  if (entered) leave_editor_locale();
  return end - start;
}

int rl_insert_text(const char *text) {
  if (text == nullptr || *text == '\0') return 0;
  if (!require_editor()) return 0;
  const bool entered = enter_editor_locale();
  if (rl_point >= 0 && rl_point <= line_length()) move_cursor_to(rl_point);
  decode_text(&calls.inserted, text);
  const bool inserted = insert_at_cursor(calls.inserted.characters);
  if (inserted) publish_line();
  if (entered) leave_editor_locale();
  return inserted ? static_cast<int>(strlen(text)) : 0;
}

void rl_forced_update_display() {
  if (!require_editor()) return;
  const bool entered = enter_editor_locale();
  redraw_line();
  if (entered) leave_editor_locale();
}

// --- Completion and keys -------------------------------------------------------------------------

int rl_complete(int, int invoking_key) {
  if (!require_editor()) return CC_ERROR;
  const bool entered = enter_editor_locale();
  const int status = complete_line_at_cursor(invoking_key);
  if (entered) leave_editor_locale();
  return status;
}

int rl_insert(int count, int key) {
  const char text[] = {static_cast<char>(key), '\0'};
  for (int i = 0; i < count; ++i) rl_insert_text(text);
  return 0;
}

static bool is_key(int key) { return key >= 0 && key < 256; }

int rl_parse_and_bind(const char *line) {
  if (!require_editor()) return 1;
  const bool entered = enter_editor_locale();
  const int result = run_editor_command(line);
  if (entered) leave_editor_locale();
  return result == 0 ? 0 : 1;
}

int rl_bind_key(int key, rl_command_func_t *function) {
  if (function != rl_insert || !is_key(key)) return -1;
  if (!require_editor()) return -1;
  bind_key_to_itself(key);
  return 0;
}

int rl_add_defun(const char *name, rl_command_func_t *function, int key) {
  if (!is_key(key)) return -1;
  if (!require_editor()) return -1;
  const bool entered = enter_editor_locale();
  add_application_command(name, function, key);
  if (entered) leave_editor_locale();
  return 0;
}

rl_command_func_t *rl_named_function(const char *) { return nullptr; }

char **rl_invoking_keyseqs_in_map(rl_command_func_t *, Keymap) { return nullptr; }

int rl_bind_keyseq_in_map(const char *, rl_command_func_t *, Keymap) { return 0; }

int rl_bind_key_in_map(int, rl_command_func_t *, Keymap) { return 0; }

// --- History and screen --------------------------------------------------------------------------

History *get_history() { return editor.history; }

int add_history(const char *line) {
  HistEvent event;
  if (require_editor()) history(editor.history, &event, H_ENTER, line);
  return 0;
}

void clear_history() {
  HistEvent event;
  if (require_editor()) history(editor.history, &event, H_CLEAR);
}

void rl_get_screen_size(int *rows, int *cols) {
  if (!require_editor()) return;
  if (rows != nullptr) *rows = screen_rows();
  if (cols != nullptr) *cols = screen_columns();
}

void rl_set_screen_size(int rows, int cols) {
  if (require_editor()) set_screen_size(rows, cols);
}

}  // namespace lineedit
