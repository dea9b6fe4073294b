// History as libedit's own commands see it, which the user may have bound.
#pragma once

#include <histedit.h>

namespace lineedit {

// The layer's history object with lines that the locale cannot decode made readable: libedit
// 3.1-20221030 ends every walk at the first such line, and the older ones cannot be reached. The
// function that the editor is given for its history. The layer's own commands do not need it.
int readable_history(void *history_object, HistEvent *event, int operation, ...);

// For another user: nothing of what was shown is kept.
void wipe_readable_line();

}  // namespace lineedit
