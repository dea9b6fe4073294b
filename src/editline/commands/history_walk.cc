// Walking through history from the line that is being edited.
//
// libedit 3.1-20221030 has such commands, with faults that lose what the user typed or recorded. It
// keeps 1023 characters of a typed line while others are shown. It does not get past a stored line
// that the locale cannot decode. It drops a newline and a blank from the end of a recalled line.
// Its Down wipes a line that was never left. And it begins each step at the newest line, so that a
// step takes the longer the further back it is.
#include "editline/commands/history_walk.h"

#include <cstring>
#include <cwchar>
#include <initializer_list>

#include "editline/base/line.h"
#include "editline/commands/history_place.h"
#include "editline/input/keys.h"

namespace lineedit {

static struct {
  // What the latest search for text before the cursor looked for, as characters and as bytes.
  LineText pattern;
  char *pattern_bytes;
  // The line that it showed is still there: one more search goes on with the same pattern.
  bool matched;
  // The line in the editor and the line at the place, while a command runs.
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

// As many steps as there are and were asked for.
static unsigned char step(bool older) {
  const int asked = take_repeat_count();
  int steps = 0;
  keep_typed_line();
  while (steps < asked && step_in_history(older)) ++steps;
  end_text_search();
  if (steps == 0) return CC_ERROR;
  show_line_at_place();
  return steps == asked ? CC_REFRESH : CC_REFRESH_BEEP;
}

unsigned char go_to_older_line(EditLine *, wint_t) { return step(true); }
unsigned char go_to_newer_line(EditLine *, wint_t) { return step(false); }

// --- Lines with the text before the cursor -------------------------------------------------------

// Whether the editor shows what the latest search found, with the cursor as it left it.
static bool search_goes_on(size_t cursor) {
  if (!walk.matched || cursor != walk.shown.length) return false;
  read_line_at_place(&walk.line);
  return same_text(&walk.shown, &walk.line);
}

static void take_pattern(size_t cursor) {
  set_text(&walk.pattern, walk.shown.characters, cursor);
  wipe_bytes(&walk.pattern_bytes);
  walk.pattern_bytes = encode_text(&walk.pattern);
}

// A line that equals the one shown is no step on.
static bool place_matches() {
  const char *stored = stored_line_at_place();
  if (stored != nullptr && strstr(stored, walk.pattern_bytes) == nullptr) return false;
  read_line_at_place(&walk.line);
  return wcsstr(walk.line.characters, walk.pattern.characters) != nullptr &&
         !same_text(&walk.shown, &walk.line);
}

static unsigned char search(bool older) {
  size_t cursor;
  take_edited_line(&walk.shown, &cursor);
  if (!search_goes_on(cursor)) take_pattern(cursor);
  keep_typed_line();
  const int start = lines_back();
  while (step_in_history(older)) {
    if (!place_matches()) continue;
    walk.matched = true;
    set_edited_line(&walk.line, walk.line.length);
    return CC_REFRESH;
  }
  return_in_history(start);
  return CC_ERROR;
}

unsigned char go_to_older_match(EditLine *, wint_t) { return search(true); }
unsigned char go_to_newer_match(EditLine *, wint_t) { return search(false); }

}  // namespace lineedit
