// The one editor of the process.
#include "editline/base/editor.h"

namespace lineedit {

Editor editor;

bool editing_is_on() {
  int editing = 0;
  el_get(editor.el, EL_EDITMODE, &editing);
  return editing != 0;
}

void set_editing(bool on) { el_set(editor.el, EL_EDITMODE, on ? 1 : 0); }

}  // namespace lineedit
