// The keys that every line has, and binding others.
#pragma once

namespace lineedit {

// Gives a new editor emacs's keys, with the layer's own commands and the keys that every line has.
void set_keys_up();

// Runs one line as it stands in a settings file. Where that binds all keys as libedit has them, the
// layer's own are bound again. Returns 0, -1 for a command that the editor does not know, or 1 for
// a line that cannot be parsed and a command that is refused.
int run_editor_command(const char *line);

void bind_key_to_itself(int key);
// Binds `key` to the editor command `name`, made of a function of the application's.
void add_application_command(const char *name, int (*function)(int count, int key), int key);

}  // namespace lineedit
