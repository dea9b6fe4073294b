// Walking through history with the layer's own commands, one line or one match at a time.
#pragma once

#include <histedit.h>

namespace lineedit {

// Editor commands: go as many lines back or forth as the repeat count says.
unsigned char go_to_older_line(EditLine *el, wint_t key);
unsigned char go_to_newer_line(EditLine *el, wint_t key);
// Editor commands: go to the next line that has the text before the cursor in it.
unsigned char go_to_older_match(EditLine *el, wint_t key);
unsigned char go_to_newer_match(EditLine *el, wint_t key);

// The next search for the text before the cursor is a new one. At the start of a line, too.
void end_text_search();
// For another user: nothing of what was searched for or shown is kept.
void wipe_walk();

}  // namespace lineedit
