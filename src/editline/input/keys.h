// Where the editor gets its keys from, and how a command of the layer's gets at the keys that
// follow it.
#pragma once

#include <histedit.h>

namespace lineedit {

// The editor's reading function: through rl_getc_function when that is set, else the layer's own.
el_rfunc_t key_reader();

// Gives a key back: it is read again before any new one. Several come back in this order, a few at
// most; one for which there is no room is lost.
void put_back_key(wchar_t key);

// While keys are captured, every key that is read runs the command that is bound to capture_keys in
// place of its own, and that command finds the key in captured_key. An end of input ends it.
void capture_keys(bool on);
wchar_t captured_key();
// Starts with a character that no terminal can send: the byte 255 is the end of input. Bindings
// that begin with it are the layer's own.
#define HIDDEN_KEY "\\377"
#define CAPTURING_KEY HIDDEN_KEY "k"

// Binds the keys that give a repeat count, to commands of this file.
void add_repeat_count(EditLine *editor);
// The count that was given to the key whose command is running, 1 if none was. For commands of the
// layer's, which libedit does not tell.
int repeat_count();

// At the start of a line: nothing is put back, captured or counted.
void reset_keys();

}  // namespace lineedit
