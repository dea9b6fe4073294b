// The history modes: named slots of history, one per mode of the shell, in a tree in which a mode
// also sees its ancestors' lines. No Python, no lock.
#pragma once

#include "Cli/history/history_store.h"

// The mode with this key, or null. A null or empty key is never found.
history_mode *find_history_mode(const char *key);

// The mode with this key. If there is none, it is created below `parent_key`; null if that parent
// does not exist. A null or empty parent key means no parent. The parent of an existing mode is
// neither checked nor changed. Does not select the mode.
history_mode *new_history_mode(const char *key, const char *parent_key);
