// The history store as the benchmarks need it: filled to a size, and made new.
#pragma once

#include "Cli/history/history_modes.h"
#include "Cli/history/history_store.h"

// Frees lines and modes and makes the store as it is at import.
void make_store_new();

// Makes the store new and records `count` lines "line 1" to "line <count>", with room for no more.
void fill_store(int count);
