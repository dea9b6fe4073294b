// History as it is shown to libedit's own commands, which the user may have bound.
#pragma once

#include <histedit.h>

namespace lineedit {

// The history function that the editor is given. It calls the history object, and makes lines
// readable that the locale cannot decode: libedit 3.1-20221030 stops at the first such line, and
// older ones cannot be reached. The layer's own commands do not need it.
int readable_history(void *history_object, HistEvent *event, int operation, ...);

// Wipes what was shown, before the next user.
void wipe_readable_line();

}  // namespace lineedit
