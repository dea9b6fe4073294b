// Reading keys for the editor.
#pragma once

#include <histedit.h>

namespace lineedit {

// The editor's reading function. It gets bytes from rl_getc_function if that is set, else from the
// layer's own reader, and returns characters of the locale. A byte that is not part of one becomes
// a negative character, which encode_line turns back into the byte. While editing is off, each of a
// hook's bytes above 127 does. Commands that read keys themselves call it through el_wgetc.
//
// At a terminal, a sequence that begins with Escape is read as a whole, and left out if it means
// nothing. The text of a paste between its marks goes into the line, without the editor's commands.
el_rfunc_t key_reader();

// Drops what is left of the keys that were pushed back: they are not for the next line.
void drop_pushed_keys();

// Sets the repeat count of the key that a command has pushed back. It is valid until a new key is
// read.
void set_repeat_count(int count);
// Returns that count, or 1 if there is none, to the command that the key runs, and clears it.
// libedit does not pass counts to the layer's commands.
int take_repeat_count();

// After an Escape: whether it is the beginning of a key that has been read.
bool more_of_key_follows();

// For the start of a line: clears the repeat count, and drops what is left of a character or a
// sequence that was not read to its end.
void reset_keys();

}  // namespace lineedit
