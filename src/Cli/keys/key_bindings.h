// The keys that the module binds in the editor, and the keymaps for an editor that could bind
// command functions by keymap. No Python.
#pragma once

#include "editline/readline.h"

// Non-zero while <tab> and ? complete; 0 after they were switched to inserting themselves, and
// before the editor is set up.
extern unsigned char keyBindingsEnabledFlag;

// Whether the editor binds command functions by keymap. Nothing in this system sets it.
extern int keymapsSupported;

constexpr int keymap_count = 5;
extern lineedit::KeymapEntry emacs_standard_keymap[256];
extern lineedit::KeymapEntry emacs_meta_keymap[256];
extern lineedit::KeymapEntry emacs_ctlx_keymap[256];
extern lineedit::KeymapEntry vi_movement_keymap[256];
extern lineedit::KeymapEntry vi_insertion_keymap[256];
// The five, in this order. Exported.
extern "C" __attribute__((visibility("default"))) lineedit::Keymap maps[keymap_count];

// Makes the module's bindings. Returns what the last binding call returned.
int setup_key_bindings();

// Binds one key in one keymap; without keymaps only in emacs_standard_keymap, and only to what
// rl_bind_key takes. Returns the editor's answer, or -1.
int bind_key_in_map(int key, lineedit::rl_command_func_t *function, lineedit::Keymap map);
