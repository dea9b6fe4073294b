// The keys that the module binds in the editor.
#include "Cli/keys/key_bindings.h"

#include "Cli/keys/completion.h"

unsigned char keyBindingsEnabledFlag;

int bind_key_in_map(int key, lineedit::rl_command_func_t *function, lineedit::Keymap map) {
  if (keymapsSupported != 0) return lineedit::rl_bind_key_in_map(key, function, map);
  if (map == emacs_standard_keymap) return lineedit::rl_bind_key(key, function);
  return -1;
}

static int bind_editor_commands() {
  static const char *const lines[] = {
      "bind ^I rl_complete",
      "bind ? rl_complete",
      "bind ^R em-inc-search-prev",
      "bind ^W ed-delete-prev-word",
  };
  lineedit::rl_attempted_completion_function = complete_line_wrapper;
  int result = 0;
  for (const char *line : lines) result = lineedit::rl_parse_and_bind(line);
  return result;
}

// Unbinds keys that would list, insert or expand completions, or comment the line out, by the
// editor's own functions and past the module.
static int unbind(lineedit::Keymap map, const char *keys) {
  int result = 0;
  for (; *keys != '\0'; ++keys) result = bind_key_in_map(*keys, nullptr, map);
  return result;
}

static int bind_in_keymaps() {
  const lineedit::Keymap completing[] = {emacs_standard_keymap, vi_movement_keymap,
                                         vi_insertion_keymap};
  lineedit::rl_bind_key('\t', complete_line);
  lineedit::rl_bind_key('?', complete_line);
  for (lineedit::Keymap map : completing) {
    bind_key_in_map('\t', complete_line, map);
    bind_key_in_map('?', complete_line, map);
  }
  unbind(vi_movement_keymap, "=*#");
  return unbind(emacs_meta_keymap, "?=*\033~&#");
}

int setup_key_bindings() {
  return keymapsSupported != 0 ? bind_in_keymaps() : bind_editor_commands();
}
