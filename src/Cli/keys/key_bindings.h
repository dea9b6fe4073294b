// The keys that the module binds in the editor. No Python.
#pragma once

#include "Cli/keys/keymaps.h"

// Non-zero while <tab> and ? complete; 0 after they were switched to inserting themselves, and
// before the editor is set up.
extern unsigned char keyBindingsEnabledFlag;

// Makes the module's bindings. Returns what the last binding call returned.
int setup_key_bindings();

// Binds one key in one keymap; without keymaps only in emacs_standard_keymap, and only to what
// rl_bind_key takes. Returns the editor's answer, or -1.
int bind_key_in_map(int key, lineedit::rl_command_func_t *function, lineedit::Keymap map);
