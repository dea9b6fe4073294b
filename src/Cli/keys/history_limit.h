// The history limit, and the table that keeps the keys of the editor's history commands while
// recording is off. No Python.
#pragma once

#include <cstdint>

#include "Cli/keys/keymaps.h"

// A history command of the editor, and the key sequences that were unbound from it: a list for each
// keymap, in the order of `maps`. A list is null, or a malloc'ed null-terminated array of malloc'ed
// strings.
struct history_saved_invoker {
  const char *name;  // null in the row that ends the table
  char **invokers[keymap_count];
};

// Holds lists only while the limit is 0, and only for an editor that binds by keymap. Exported.
extern "C" __attribute__((visibility("default"))) history_saved_invoker history_saved_invokers[];

// Sets how many lines of all modes together the history keeps, and removes the oldest lines beyond
// that. 0 turns recording off. If the editor binds by keymap, the keys of its history commands are
// then unbound too, until the next limit that is not 0.
void history_limit_is(uint32_t limit);
