// Stand-ins for the line-editor calls that the key bindings and the history limit make: an editor
// that binds by keymap. Every call is logged as one line of text and answered as the test prepared.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Cli/keys/key_bindings.h"

using Log = std::vector<std::string>;
using Sequences = std::vector<std::string>;

struct KeymapEditor {
  // The calls, in order, for instance "named next-history", "sequences next-history in 2",
  // "bind ^N to next-history in 2", "bind ^N to null in 2", "key 9 to complete_line".
  Log log;
  // What rl_named_function knows.
  std::map<std::string, lineedit::rl_command_func_t *> commands;
  // What rl_invoking_keyseqs_in_map returns, by command and keymap; a null list where there is
  // nothing.
  std::map<std::pair<std::string, int>, Sequences> sequences;
  // What the binding calls return, one after the other; 0 after the last.
  std::vector<int> results;
  size_t results_used = 0;
  // Run at the start of each call, if set.
  void (*observer)() = nullptr;
};

extern KeymapEditor editor;

// A function that stands for a command, different for each number, never called.
inline lineedit::rl_command_func_t *command_number(int number) {
  return reinterpret_cast<lineedit::rl_command_func_t *>(static_cast<uintptr_t>(number));
}

// An index into the five keymaps, in their fixed order, spelled out beside the array under test.
int keymap_index(lineedit::Keymap map);
