// The prompt: decoded for libedit, which shows its last row and draws it again with the line.
#pragma once

namespace lineedit {

// Writes the rows of `prompt` but the last to the terminal and makes that one the editor's prompt.
// Sequences between \001 and \002 take no room.
void show_prompt(const char *prompt);
// Makes `bytes`, a prompt of one row, the editor's prompt.
void set_prompt(const char *bytes);
// The prompt as the editor shows it. A \001 stands at both ends of a sequence that takes no room.
const wchar_t *prompt_text();

}  // namespace lineedit
