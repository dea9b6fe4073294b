// Editing commands that libedit lacks or gets wrong.
#include "editline/commands/editing.h"

#include <csignal>
#include <utility>

#include "editline/base/line.h"
#include "editline/screen/drawing.h"

namespace lineedit {

static struct {
  // The edited line, while a command runs.
  LineText line;
} editing;

// If there are not two characters to exchange, libedit 3.1-20221030 moves the cursor all the same.
unsigned char transpose_characters(EditLine *, wint_t) {
  size_t cursor;
  get_edited_line(&editing.line, &cursor);
  if (cursor < editing.line.length) ++cursor;
  if (cursor < 2) return CC_ERROR;
  wchar_t *characters = editing.line.characters;
  std::swap(characters[cursor - 2], characters[cursor - 1]);
  set_edited_line(&editing.line, cursor);
  return CC_REFRESH;
}

// libedit's own command would clear the screen, but draw nothing on it.
unsigned char clear_screen(EditLine *, wint_t) {
  draw_on_clear_screen();
  return CC_NORM;
}

unsigned char suspend(EditLine *, wint_t) {
  kill(0, SIGTSTP);
  return CC_NORM;
}

void wipe_editing() { wipe_text(&editing.line); }

}  // namespace lineedit
