// Where the editor gets its keys from.
#pragma once

#include <histedit.h>

namespace lineedit {

// The editor's reading function: through rl_getc_function when that is set, else the layer's own.
// Commands that read keys themselves get at it through el_wgetc.
el_rfunc_t key_reader();

// Gives a key back: it is read again before any new one. Several come back in this order, a few at
// most; one for which there is no room is lost.
void put_back_key(wchar_t key);

// The count that was given to the key whose command is running, 1 if none was. For commands of the
// layer's, which libedit does not tell.
int repeat_count();
// For a command that has read an Escape for itself: what follows is no count.
void end_repeat_count();

// At the start of a line: nothing is put back or counted.
void reset_keys();

}  // namespace lineedit
