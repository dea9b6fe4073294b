// Moving through history from the line being edited.
//
// The commands of libedit 3.1-20221030 have bugs that lose what the user typed or recorded. They
// keep only 1023 characters of the typed line while other lines are shown. They do not get past a
// stored line that the locale cannot decode. They drop a newline and a blank from the end of a
// recalled line. Down clears the typed line even if no other line was shown. And each step starts
// again at the newest line, so that steps get slower the further back they go.
#include "editline/commands/history_walk.h"

#include <cstring>
#include <cwchar>
#include <initializer_list>

#include "editline/base/line.h"
#include "editline/commands/history_place.h"
#include "editline/input/keys.h"

namespace lineedit {

static struct {
  // The text that the latest search looked for, as characters and as bytes.
  LineText pattern;
  char *pattern_bytes;
  // The latest search found a line. While that is still shown, the next search uses the same
  // pattern.
  bool matched;
  // The edited line and the line at the place, while a command runs.
  LineText shown;
  LineText line;
} walk;

void end_text_search() { walk.matched = false; }

void wipe_walk() {
  for (LineText *text : {&walk.pattern, &walk.shown, &walk.line}) wipe_text(text);
  wipe_bytes(&walk.pattern_bytes);
  walk = {};
}

static void show_line_at_place() {
  read_line_at_place(&walk.line);
  set_edited_line(&walk.line, walk.line.length);
}

// --- Older and newer -----------------------------------------------------------------------------

// Takes as many steps as were asked for, or as there are.
static unsigned char step(bool older) {
  const int asked = take_repeat_count();
  int steps = 0;
  save_typed_line();
  while (steps < asked && step_in_history(older)) ++steps;
  end_text_search();
  if (steps == 0) return CC_ERROR;
  show_line_at_place();
  return steps == asked ? CC_REFRESH : CC_REFRESH_BEEP;
}

unsigned char go_to_older_line(EditLine *, wint_t) { return step(true); }
unsigned char go_to_newer_line(EditLine *, wint_t) { return step(false); }

static unsigned char step_to_end(bool older) {
  save_typed_line();
  end_text_search();
  if (!step_in_history(older)) return CC_ERROR;
  while (step_in_history(older)) continue;
  show_line_at_place();
  return CC_REFRESH;
}

unsigned char go_to_oldest_line(EditLine *, wint_t) { return step_to_end(true); }
unsigned char go_to_newest_line(EditLine *, wint_t) { return step_to_end(false); }

unsigned char go_to_line_number(EditLine *, wint_t) {
  const int number = take_repeat_count();
  const int start = lines_back();
  save_typed_line();
  while (step_in_history(true)) continue;
  const int target = lines_back() + 1 - number;
  return_to_place(target > 0 ? target : start);
  if (target <= 0) return CC_ERROR;
  end_text_search();
  show_line_at_place();
  return CC_REFRESH;
}

// --- Lines with the text before the cursor -------------------------------------------------------

// Whether the editor still shows the line that the latest search found, with the cursor at its end.
static bool continues_search(size_t cursor) {
  if (!walk.matched || cursor != walk.shown.length) return false;
  read_line_at_place(&walk.line);
  return same_text(&walk.shown, &walk.line);
}

static void set_pattern(size_t cursor) {
  set_text(&walk.pattern, walk.shown.characters, cursor);
  wipe_bytes(&walk.pattern_bytes);
  walk.pattern_bytes = encode_text(&walk.pattern);
}

// Whether the line at the place contains the pattern. A line equal to the one shown does not count.
static bool place_matches() {
  const char *stored = stored_line_at_place();
  if (stored != nullptr && strstr(stored, walk.pattern_bytes) == nullptr) return false;
  read_line_at_place(&walk.line);
  return wcsstr(walk.line.characters, walk.pattern.characters) != nullptr &&
         !same_text(&walk.shown, &walk.line);
}

static unsigned char search(bool older) {
  size_t cursor;
  get_edited_line(&walk.shown, &cursor);
  if (!continues_search(cursor)) set_pattern(cursor);
  save_typed_line();
  const int start = lines_back();
  while (step_in_history(older)) {
    if (!place_matches()) continue;
    walk.matched = true;
    set_edited_line(&walk.line, walk.line.length);
    return CC_REFRESH;
  }
  return_to_place(start);
  return CC_ERROR;
}

unsigned char go_to_older_match(EditLine *, wint_t) { return search(true); }
unsigned char go_to_newer_match(EditLine *, wint_t) { return search(false); }

}  // namespace lineedit
