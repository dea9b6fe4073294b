// The history limit, and the table that keeps the keys of the editor's history commands while
// recording is off. No Python.
#pragma once

#include "key_bindings.h"

// One history command of the editor, with the key sequences taken from it, by keymap in the order
// of `maps`. A list is null, or a malloc'ed null-terminated array of malloc'ed strings.
struct history_saved_invoker {
  const char *name;  // null in the row that ends the table
  char **invokers[keymap_count];
};

// Exported.
extern "C" __attribute__((visibility("default"))) history_saved_invoker history_saved_invokers[];
