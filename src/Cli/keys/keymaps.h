// The keymaps, for an editor that could bind command functions by keymap. No Python.
#pragma once

#include "editline/readline.h"

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
