// The search through history that follows the typing.
#pragma once

#include <histedit.h>

namespace lineedit {

// Adds the commands that begin a search for older and for newer lines, and binds the keys.
void add_search_commands(EditLine *editor);

// At the start of a line: nothing is searched for.
void forget_search();
// For another user: nothing of what was searched for or typed is kept.
void forget_searches();
// Before the read ends in the midst of a search: leaves the line found on the screen, without the
// pattern.
void take_search_off_screen();

// For the search's keys: whether the key, a printable ASCII character, stands for itself, as all do
// at first. One that runs a command ends the search. (What the user's own settings bind is not
// known here.)
void note_key_inserts(int key, bool inserts);

}  // namespace lineedit
