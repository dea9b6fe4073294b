// Completion through the application's hook.
#pragma once

#include <histedit.h>

namespace lineedit {

// Completes the word before the cursor through rl_attempted_completion_function. Returns an editor
// status (CC_*).
int complete_line_at_cursor(int invoking_key);

// Editor command: the same. Ends the read if rl_done is set.
unsigned char complete(EditLine *el, wint_t key);

// To be called at the end of a command that has called a function of the application. Returns the
// command's result: CC_EOF if the function has set rl_done, else `status`. Installs the layer's
// handlers for INT and TSTP again, because the function may have replaced them; a Ctrl-C would then
// jump out of the rest of this line and leave the terminal raw.
unsigned char finish_command(int status);

}  // namespace lineedit
