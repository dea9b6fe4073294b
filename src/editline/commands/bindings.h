// The default key bindings, and binding other keys.
#pragma once

namespace lineedit {

// Gives a new editor emacs's keys, the layer's own commands and the default bindings.
void set_up_keys();

// Runs one line of a settings file. If the line resets all keys to libedit's bindings, the default
// bindings are added again. Returns 0; -1 for a command that the editor does not know; 1 for a line
// that cannot be parsed or a command that is refused.
int run_editor_command(const char *line);

void bind_key_to_itself(int key);
// Adds a function of the application as the editor command `name`, and binds `key` to it.
void add_application_command(const char *name, int (*function)(int count, int key), int key);

}  // namespace lineedit
