// Ctrl-C and Ctrl-Z while a line is read: their handlers jump out of the editor.
#pragma once

#include <csetjmp>
#include <csignal>

// Where the two handlers jump to. Valid only while readline is inside the editor.
extern sigjmp_buf sigintJumpBuffer;
extern sigjmp_buf sigtstpJumpBuffer;

// The thread of the latest readline call: the only one that may jump. Exported.
extern "C" __attribute__((visibility("default"))) unsigned long readlineThreadId;

// Installs the module's handlers for the two signals, and saves the dispositions from before.
void install_jump_handlers();
// Switch to the saved dispositions, and to the module's handlers again.
void bind_signals_to_shell();
void bind_signals_to_module();
// For a forked child: puts the saved dispositions in the place of the module's handlers.
void remove_jump_handlers();

// SIGINT and SIGTSTP.
sigset_t jump_signals();
