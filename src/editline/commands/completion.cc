// Completion through the application's hook.
#include "editline/commands/completion.h"

#include <cstdlib>
#include <cwchar>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/text.h"
#include "editline/base/variables.h"
#include "editline/input/keys.h"
#include "editline/input/signals.h"
#include "editline/screen/display.h"

namespace lineedit {

// Characters that separate words to complete.
static const wchar_t word_breaks[] = L" \t\n\"\\'`@$><=;|&{(";

// The word before the cursor, malloc'ed. `*start` and `*end` are its offsets in characters.
static char *word_before_cursor(int *start, int *end) {
  const LineInfoW *line = el_wline(editor.el);
  const wchar_t *word = line->cursor;
  while (word > line->buffer && wcschr(word_breaks, word[-1]) == nullptr) --word;
  *start = static_cast<int>(word - line->buffer);
  *end = static_cast<int>(line->cursor - line->buffer);
  const size_t length = static_cast<size_t>(line->cursor - word);
  char *bytes = static_cast<char *>(malloc(encoded_size(length)));
  encode_line(bytes, word, length);
  return bytes;
}

static void free_list(char **list) {
  if (list == nullptr) return;
  for (char **string = list; *string != nullptr; ++string) free(*string);
  free(list);
}

// Calls the hook. Returns whether the editor's own completion should follow.
static bool call_completion_hook() {
  int start, end;
  char *word = word_before_cursor(&start, &end);
  char **list = rl_attempted_completion_function(word, start, end);
  wipe_bytes(&word);
  const bool answered = list != nullptr || rl_attempted_completion_over != 0;
  free_list(list);
  rl_attempted_completion_over = 0;
  return !answered;
}

// libedit's own completion, which may list names below the line.
static int complete_file_name(int invoking_key) {
  begin_output();
  const int status = _el_fn_complete(editor.el, invoking_key);
  accept_line_length();
  if (status == CC_REDISPLAY) redraw_line();
  end_output();
  return status;
}

int complete_line_at_cursor(int invoking_key) {
  if (rl_inhibit_completion != 0) {
    const wchar_t key[] = {static_cast<wchar_t>(invoking_key), L'\0'};
    insert_at_cursor(key);
    return CC_REFRESH;
  }
  publish_line();
  rl_completion_invoking_key = invoking_key;
  if (rl_attempted_completion_function != nullptr && !call_completion_hook()) return CC_NORM;
  return complete_file_name(invoking_key);
}

unsigned char finish_command(int status) {
  reinstall_displaced_handlers();
  if (rl_done == 0) return static_cast<unsigned char>(status);
  drop_pushed_keys();
  return CC_EOF;
}

unsigned char complete(EditLine *, wint_t key) {
  return finish_command(complete_line_at_cursor(static_cast<int>(key)));
}

}  // namespace lineedit
