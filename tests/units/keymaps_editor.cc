// Stand-ins for the line-editor calls that the key bindings and the history limit make.
#include "keymaps_editor.h"

#include <cstdlib>
#include <cstring>

#include "Cli/keys/completion.h"

KeymapEditor editor;

int keymap_index(lineedit::Keymap map) {
  const lineedit::Keymap order[] = {emacs_standard_keymap, emacs_meta_keymap, emacs_ctlx_keymap,
                                    vi_movement_keymap, vi_insertion_keymap};
  for (int i = 0; i < 5; ++i)
    if (order[i] == map) return i;
  return -1;
}

static void note(const std::string &call) {
  if (editor.observer != nullptr) editor.observer();
  editor.log.push_back(call);
}

static int next_result() {
  return editor.results_used < editor.results.size() ? editor.results[editor.results_used++] : 0;
}

static std::string name_of(lineedit::rl_command_func_t *function) {
  if (function == nullptr) return "null";
  if (function == complete_line) return "complete_line";
  for (const auto &command : editor.commands)
    if (command.second == function) return command.first;
  return "stranger";
}

static std::string in_keymap(lineedit::Keymap map) {
  return " in " + std::to_string(keymap_index(map));
}

static char **list_of(const Sequences &sequences) {
  char **list = static_cast<char **>(malloc((sequences.size() + 1) * sizeof *list));
  char **slot = list;
  for (const std::string &keys : sequences) *slot++ = strdup(keys.c_str());
  *slot = nullptr;
  return list;
}

// The completion functions are bound and installed here, never run.
int complete_line(int, int) { return 0; }
char **complete_line_wrapper(const char *, int, int) { return nullptr; }

namespace lineedit {

void give_terminal_back() {}

rl_completion_func_t *rl_attempted_completion_function;

rl_command_func_t *rl_named_function(const char *name) {
  note("named " + std::string(name));
  const auto found = ::editor.commands.find(name);
  return found == ::editor.commands.end() ? nullptr : found->second;
}

char **rl_invoking_keyseqs_in_map(rl_command_func_t *function, Keymap map) {
  note("sequences " + name_of(function) + in_keymap(map));
  const auto found = ::editor.sequences.find({name_of(function), keymap_index(map)});
  return found == ::editor.sequences.end() ? nullptr : list_of(found->second);
}

int rl_bind_keyseq_in_map(const char *keyseq, rl_command_func_t *function, Keymap map) {
  note("bind " + std::string(keyseq) + " to " + name_of(function) + in_keymap(map));
  return next_result();
}

int rl_bind_key_in_map(int key, rl_command_func_t *function, Keymap map) {
  note("key " + std::to_string(key) + " to " + name_of(function) + in_keymap(map));
  return next_result();
}

int rl_bind_key(int key, rl_command_func_t *function) {
  note("key " + std::to_string(key) + " to " + name_of(function));
  return next_result();
}

int rl_parse_and_bind(const char *line) {
  note("line " + std::string(line));
  return next_result();
}

}  // namespace lineedit
