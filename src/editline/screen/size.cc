// libedit 3.1-20221030 keeps a picture of the screen, in which it draws although nothing of it is
// shown. It forgets the upper rows of a line that is higher than the screen, loses track of the
// cursor's row, and may then write the next character through a null pointer. On a screen that is
// narrower than the widest character (8 columns) it counts too few rows. So it is told that such a
// screen is larger.
#include "editline/screen/size.h"

#include <histedit.h>

#include <cstdio>

#include "editline/base/editor.h"
#include "editline/base/wipe.h"
#include "editline/screen/editor_output.h"

namespace lineedit {

static constexpr int least_columns = 16;

static struct {
  // The real size; unknown while `columns` is 0.
  int rows;
  int columns;
  // The size that libedit was told, where that is another, else 0.
  int told_rows;
  int told_columns;
  // libedit has cleared its picture of the screen, but not its idea of the cursor's place.
  bool changed;
} size;

static void tell_editor(const char *name, int value) {
  char digits[16];
  snprintf(digits, sizeof digits, "%d", value);
  el_set(editor.el, EL_SETTC, name, digits, nullptr);
  size.changed = true;
}

static void query_size() {
  if (size.columns != 0) return;
  el_get(editor.el, EL_GETTC, "li", &size.rows);
  el_get(editor.el, EL_GETTC, "co", &size.columns);
}

int screen_rows() {
  query_size();
  return size.rows;
}

int screen_columns() {
  query_size();
  return size.columns;
}

static void tell_true_size() {
  begin_wiping();
  if (size.told_rows != 0) tell_editor("li", size.rows);
  if (size.told_columns != 0) tell_editor("co", size.columns);
  end_wiping();
}

void forget_screen_size() {
  if (size.told_rows != 0 || size.told_columns != 0) tell_true_size();
  size = {};
}

// Without wiping, which would fill the picture: an absurd width takes address space, but no memory.
void set_screen_size(int rows, int columns) {
  forget_screen_size();
  tell_editor("li", rows);
  tell_editor("co", columns);
}

bool screen_size_has_changed() { return size.changed; }

void follow_screen_size() {
  forget_screen_size();
  begin_wiping();
  el_resize(editor.el);
  end_wiping();
  size.changed = true;
}

// Two spare rows are needed: one for the cursor after a full row, one for what a key adds.
//
// If only the cursor moves, libedit computes its place by other rules than those by which it drew
// the line, where that has tabs, wide characters or substitutes. It then counts rows that are not
// there, and writes outside of its picture. It does so after a change of the size, too. Drawing the
// whole line again mends both.
void fit_editor_to(int rows, bool plain) {
  const int rows_of_editor = size.told_rows != 0 ? size.told_rows : size.rows;
  const bool too_low = rows + 1 >= rows_of_editor;
  const bool too_narrow = size.columns < least_columns && size.told_columns == 0;
  const bool may_be_lost = size.changed || (!plain && rows > 1);
  if (!too_low && !too_narrow && !may_be_lost) return;
  begin_wiping();
  if (too_low) tell_editor("li", size.told_rows = rows * 2 + 2);
  if (too_narrow) tell_editor("co", size.told_columns = least_columns);
  end_wiping();
  size.changed = false;
  const bool muted = mute_editor(true);
  el_set(editor.el, EL_REFRESH);
  mute_editor(muted);
}

}  // namespace lineedit
