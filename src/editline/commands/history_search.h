// The incremental search through history.
#pragma once

#include <histedit.h>

namespace lineedit {

// Editor commands: search older lines, and newer lines, while the pattern is typed.
unsigned char search_older(EditLine *el, wint_t key);
unsigned char search_newer(EditLine *el, wint_t key);

// Editor commands, for vi's keys: the same, but the key that ends a line ends the search alone; and
// going to the next line with the latest pattern, in the latest direction or in the other.
unsigned char search_older_for_vi(EditLine *el, wint_t key);
unsigned char search_newer_for_vi(EditLine *el, wint_t key);
unsigned char repeat_search(EditLine *el, wint_t key);
unsigned char repeat_search_reversed(EditLine *el, wint_t key);

// For the start of a line: no search is in progress.
void reset_search();
// Wipes what was searched for or typed, before the next user.
void wipe_search();

// Tells the search whether `key`, a printable ASCII character, inserts itself, as all do at first.
// A key that runs a command ends the search.
void note_key_inserts(int key, bool inserts);
// From now on all keys insert themselves again.
void reset_search_keys();

}  // namespace lineedit
