// The search through history that follows the typing.
#pragma once

#include <histedit.h>

namespace lineedit {

// Adds the commands that begin a search for older and for newer lines, and binds the keys.
void add_search_commands(EditLine *editor);

// At the start of a line: nothing is searched for.
void forget_search();

// For the search's keys: whether the key, a printable ASCII character, stands for itself. One that
// runs a command ends the search.
void note_key_inserts(int key, bool inserts);

}  // namespace lineedit
