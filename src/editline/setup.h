// Creating and destroying the editor.
#pragma once

namespace lineedit {

// Does the work of rl_initialize. Returns false if it fails.
bool set_up_editor();

// Sets up the editor if there is none. Returns whether there is one.
bool require_editor();

}  // namespace lineedit
