// The bulk-input guard: its operation code, and the setter that refuses it.
#include "bulk_guard.h"

#include "layer_state.h"

namespace lineedit {

// Of our engine. The stock library gives the same number to a setting of its own (EL_SAFEREAD), so
// it must never get there.
static constexpr int EL_TTY_OVERFLOW_FIX = 25;

// The narrow setter knows the operations up to 24 and answers -1 to every other.
static int el_set(EditLine *editor, int operation, int value) {
  return operation > EL_ALIAS_TEXT ? -1 : ::el_set(editor, operation, value);
}

void rl_tty_overflow_fix(int on) {
  int editing = 0;
  el_get(layer.editor, EL_EDITMODE, &editing);
  if (editing != 0) el_set(layer.editor, EL_TTY_OVERFLOW_FIX, on);
}

}  // namespace lineedit
