// The prompt, decoded for libedit, which shows its last row and redraws that row with the line.
#pragma once

namespace lineedit {

// Writes all rows of `prompt` except the last to the terminal, and makes the last one the editor's
// prompt. Sequences between \001 and \002 take no columns.
void show_prompt(const char *prompt);
// Makes `bytes`, a prompt of one row, the editor's prompt.
void set_prompt(const char *bytes);
// The editor's prompt. A sequence that takes no columns has a \001 at both ends.
const wchar_t *prompt_text();

}  // namespace lineedit
