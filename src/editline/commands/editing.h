// Editing commands that libedit lacks or has wrong.
#pragma once

#include <histedit.h>

namespace lineedit {

// Editor command: exchanges the character before the cursor and the one at it.
unsigned char transpose_characters(EditLine *el, wint_t key);

// Editor command: sends the suspend signal. Where the key is the terminal's suspend key, as it is
// as a rule, the terminal sends the signal and the editor never sees the key.
unsigned char suspend(EditLine *el, wint_t key);

// For another user: nothing of what was typed is kept.
void wipe_editing();

}  // namespace lineedit
