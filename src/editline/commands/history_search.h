// The search through history that follows the typing.
#pragma once

#include <histedit.h>

namespace lineedit {

// Editor commands: begin a search for older and for newer lines.
unsigned char search_older(EditLine *el, wint_t key);
unsigned char search_newer(EditLine *el, wint_t key);

// At the start of a line: nothing is searched for.
void reset_search();
// For another user: nothing of what was searched for or typed is kept.
void wipe_search();

// For the search's keys: whether the key, a printable ASCII character, stands for itself, as all do
// at first. One that runs a command ends the search.
void note_key_inserts(int key, bool inserts);
// All do again.
void reset_search_keys();

}  // namespace lineedit
