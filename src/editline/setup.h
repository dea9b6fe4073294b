// Making and ending the editor.
#pragma once

namespace lineedit {

// Makes the editor and its history over rl_instream and rl_outstream, ending those that exist. The
// terminal's settings are left as they were. Returns false when either cannot be made.
bool set_editor_up();

// The same where there is no editor yet. Returns whether there is one.
bool require_editor();

}  // namespace lineedit
