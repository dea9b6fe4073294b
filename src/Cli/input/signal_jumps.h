// Ctrl-C and Ctrl-Z while a line is read: their handlers jump out of the editor.
#pragma once

#include <csetjmp>
#include <csignal>

// Where the two handlers jump to. Valid only while readline is inside the editor.
extern sigjmp_buf sigintJumpBuffer;
extern sigjmp_buf sigtstpJumpBuffer;

// The thread of the latest readline call: the only one that may come back from a jump. Exported.
extern "C" __attribute__((visibility("default"))) unsigned long readlineThreadId;

// Binds the two signals to the module's handlers, and notes what they were bound to before.
void install_jump_handlers();
// Back to what they were bound to before, and to the module's handlers again.
void bind_signals_to_shell();
void bind_signals_to_module();

// The two signals.
sigset_t jump_signals();
