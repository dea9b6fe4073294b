// The keys that the module binds in the editor. No Python.
#pragma once

#include "Cli/keys/keymaps.h"

// Non-zero while <tab> and ? complete; 0 after they were bound to insert themselves, and before the
// editor is set up.
extern unsigned char keyBindingsEnabledFlag;

// Makes the module's bindings. Returns what the last binding call returned.
int setup_key_bindings();

// Binds one key in one keymap. If the editor has no keymaps, only emacs_standard_keymap works, and
// only with functions that rl_bind_key accepts. Returns the editor's result, or -1.
int bind_key_in_map(int key, lineedit::rl_command_func_t *function, lineedit::Keymap map);
