// The user's own settings.
#pragma once

namespace lineedit {

// Runs the lines of the file that EDITRC names, or else of .editrc in the HOME folder, up to the
// first command that the editor does not know. As libedit's el_source, which cannot be used: a line
// there can bind all keys as libedit has them, and the lines after it must find the layer's own.
void read_settings_file();

}  // namespace lineedit
