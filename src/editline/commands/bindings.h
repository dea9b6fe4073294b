// The keys that every line has, and binding others.
#pragma once

namespace lineedit {

// Adds the layer's own commands to the editor and binds the keys that every line has.
void bind_default_keys();

// The work of rl_parse_and_bind, rl_bind_key and rl_add_defun, for an editor that is set up.
bool run_editor_command(const char *line);
void bind_key_to_itself(int key);
void add_application_command(const char *name, int (*function)(int count, int key), int key);

}  // namespace lineedit
