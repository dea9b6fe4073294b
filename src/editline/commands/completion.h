// Completion through the application's hook.
#pragma once

#include <histedit.h>

namespace lineedit {

// The word before the cursor goes to rl_attempted_completion_function. Returns an editor status
// (CC_*).
int complete_line_at_cursor(int invoking_key);

// Editor command: the same. Ends the read where rl_done says so.
unsigned char complete(EditLine *el, wint_t key);

// What a command that has called a function of the application's returns: the end of the read when
// that function has asked for it, else `status`. The function may have put signal handlers of its
// own in the editor's place; with those a Ctrl-C would jump out of the rest of this line and leave
// the terminal raw.
unsigned char finish_command(int status);

}  // namespace lineedit
