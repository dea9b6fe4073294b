// The one editor of the process.
#include "editline/base/editor.h"

#include <cstring>

namespace lineedit {

Editor editor;

bool editing_is_on() {
  int editing = 0;
  el_get(editor.el, EL_EDITMODE, &editing);
  return editing != 0;
}

void set_editing(bool on) { el_set(editor.el, EL_EDITMODE, on ? 1 : 0); }

bool uses_vi_keys() {
  const char *name = nullptr;
  return el_get(editor.el, EL_EDITOR, &name) == 0 && strcmp(name, "vi") == 0;
}

}  // namespace lineedit
