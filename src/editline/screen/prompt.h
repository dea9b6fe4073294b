// The prompt of the line being read.
#pragma once

#include "editline/screen/layout.h"

namespace lineedit {

// Makes a copy of `prompt`. Sequences between \001 and \002 take no columns.
void set_prompt(const char *prompt);

// Write all rows of the prompt except the last, and the last one, which is drawn together with the
// line. That may itself take several rows of a screen `columns` wide.
void write_upper_prompt();
void write_prompt(int columns);

// Where the last row ends.
ScreenPosition prompt_end(int columns);

}  // namespace lineedit
