// Reading one line, and changing the line while it is edited.
#include "editline/readline.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "editline/base/editor.h"
#include "editline/base/text.h"
#include "editline/commands/history_search.h"
#include "editline/commands/history_walk.h"
#include "editline/input/bulk_guard.h"
#include "editline/input/keys.h"
#include "editline/input/signals.h"
#include "editline/screen/rows.h"

namespace lineedit {

char *rl_line_buffer;
int rl_point;
int rl_end;
int rl_done;

// --- The published line --------------------------------------------------------------------------

void publish_line() {
  const LineInfoW *line = el_wline(layer.editor);
  rl_point = static_cast<int>(line->cursor - line->buffer);
  rl_end = static_cast<int>(line->lastchar - line->buffer);
  const size_t size = encoded_size(static_cast<size_t>(rl_end));
  if (size > layer.text_size) {
    layer.text_size = size * 2;
    layer.text = static_cast<char *>(realloc(layer.text, layer.text_size));
  }
  encode_line(layer.text, line->buffer, static_cast<size_t>(rl_end));
  rl_line_buffer = layer.text;
}

// --- Reading -------------------------------------------------------------------------------------

// libedit's own narrow read turns a line with one character that it cannot encode into an empty
// one, and its count can be larger than the line it returns (after a line over 1023 characters, Up
// and Down). So the line is taken wide, measured, and encoded here.
static char *read_line() {
  if (!layer.terminal_is_raw) read_terminal_settings(&layer.line_start, fileno(rl_instream));
  int count = 0;
  const wchar_t *characters = lineedit::el_wgets(layer.editor, &count);
  if (!layer.terminal_is_raw) put_back_uncooked_settings(&layer.line_start);
  if (characters == nullptr || count <= 0) return nullptr;

  const size_t length = wcsnlen(characters, static_cast<size_t>(count));
  char *line = static_cast<char *>(malloc(encoded_size(length)));
  const size_t bytes = encode_line(line, characters, length);
  if (bytes > 0 && line[bytes - 1] == '\n') line[bytes - 1] = '\0';
  return line;
}

// A signal handler may jump from the wait for a key to a frame beyond this one: nothing between
// here and there owns anything.
char *readline(const char *prompt) {
  if (!initialise_layer()) return nullptr;
  if (rl_instream == nullptr) return nullptr;
  rl_done = 0;
  forget_screen();
  forget_keys();
  forget_place_in_history();
  forget_search();
  set_prompt(show_upper_rows(prompt != nullptr ? prompt : ""));
  const bool held_here = rl_hold_signals();
  take_signal_handlers();
  char *line = read_line();
  give_back_signal_handlers();
  if (held_here) rl_release_signals();
  return line;
}

// --- Changing the line ---------------------------------------------------------------------------

static void move_cursor_to(int position) {
  const LineInfoW *line = el_wline(layer.editor);
  el_cursor(layer.editor, position - static_cast<int>(line->cursor - line->buffer));
}

static int clamp_to_line(int position) {
  if (position < 0) return 0;
  return position < rl_end ? position : rl_end;
}

int rl_delete_text(int start, int end) {
  if (!initialise_layer()) return 0;
  start = clamp_to_line(start);
  end = clamp_to_line(end);
  line_was_replaced();
  move_cursor_to(end);
  el_deletestr(layer.editor, end - start);
  publish_line();
  return end - start;
}

int rl_insert_text(const char *text) {
  if (text == nullptr || *text == '\0') return 0;
  if (!initialise_layer()) return 0;
  const LineInfoW *line = el_wline(layer.editor);
  if (rl_point >= 0 && rl_point <= line->lastchar - line->buffer) move_cursor_to(rl_point);
  line_was_replaced();
  static LineText decoded;
  decode_text(&decoded, text);
  if (el_winsertstr(layer.editor, decoded.characters) != 0) return 0;
  publish_line();
  return static_cast<int>(strlen(text));
}

}  // namespace lineedit
