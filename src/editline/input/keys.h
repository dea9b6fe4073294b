// Reading keys for the editor.
#pragma once

#include <histedit.h>

namespace lineedit {

// The editor's reading function. It uses rl_getc_function if that is set, else the layer's own
// reader. Commands that read keys themselves call it through el_wgetc.
el_rfunc_t key_reader();

// Has `function` run once, before the next key is read.
void before_next_key(void (*function)());

// Sets the repeat count of the key that a command has pushed back. It is valid until a new key is
// read.
void set_repeat_count(int count);
// Returns that count, or 1 if there is none, to the command that the key runs, and clears it.
// libedit does not pass counts to the layer's commands.
int take_repeat_count();

// For the start of a line: clears the repeat count.
void reset_keys();

}  // namespace lineedit
