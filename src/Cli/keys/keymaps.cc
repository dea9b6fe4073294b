// The keymaps. This editor leaves them empty.
#include "Cli/keys/keymaps.h"

int keymapsSupported;

lineedit::KeymapEntry emacs_standard_keymap[256];
lineedit::KeymapEntry emacs_meta_keymap[256];
lineedit::KeymapEntry emacs_ctlx_keymap[256];
lineedit::KeymapEntry vi_movement_keymap[256];
lineedit::KeymapEntry vi_insertion_keymap[256];

lineedit::Keymap maps[keymap_count] = {
    emacs_standard_keymap, emacs_meta_keymap,   emacs_ctlx_keymap,
    vi_movement_keymap,    vi_insertion_keymap,
};
