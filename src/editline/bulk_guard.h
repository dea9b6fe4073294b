// The bulk-input guard: a switch to plain reading while a flood of input waits. Armed through the
// wide setter with operation 25, which is not libedit's own operation of that number.
#pragma once

#include <histedit.h>

namespace lineedit {

// Arms (on != 0) or disarms the guard. Code that must not know which engine it runs on calls this;
// it reaches the narrow setter, which refuses the operation, so it changes nothing. That is how
// the system is meant to start: the guard is off until el_wset arms it. The layer must be
// initialised. Does nothing while editing is off.
void rl_tty_overflow_fix(int on);

}  // namespace lineedit
