// Where the editor gets its keys from.
#pragma once

#include <histedit.h>

namespace lineedit {

// The editor's reading function: through rl_getc_function when that is set, else the layer's own.
// Commands that read keys themselves get at it through el_wgetc.
el_rfunc_t key_reader();

// Has `function` run once, before the next key is read.
void before_next_key(void (*function)());

// The repeat count of the key that a command has pushed back. It holds until a new key is read.
void set_repeat_count(int count);
// That count, for the command that the key runs: libedit does not tell the layer's commands. 1 if
// there is none; the next command gets none.
int take_repeat_count();

// At the start of a line: nothing is counted.
void reset_keys();

}  // namespace lineedit
