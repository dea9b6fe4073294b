// The user's settings file.
#pragma once

namespace lineedit {

// Runs the lines of the file that EDITRC names, or else of .editrc in the HOME folder, up to the
// first command that the editor does not know. libedit's el_source cannot be used: if a line resets
// all keys to libedit's bindings, the default bindings must be added again before the next line.
void read_settings_file();

}  // namespace lineedit
