// The variables of the readline interface, which the application sets and reads, and the types of
// its hooks.
#pragma once

#include <cstdio>

namespace lineedit {

// A command function. Its result is ignored.
using rl_command_func_t = int(int count, int key);
// The completion hook. It gets the word before the cursor and its offsets in the line, and edits
// the line itself. It returns null, or a malloc'ed null-terminated list of malloc'ed strings, which
// the layer frees without using it.
using rl_completion_func_t = char **(const char *text, int start, int end);
// The character-input hook. It returns one byte as a signed char widened to int, or -1 at the end
// of input.
using rl_getc_func_t = int(FILE *stream);
// Returns non-zero if the character-input hook has a byte at once.
using rl_input_available_func_t = int();

// One key of a keymap. This editor binds nothing through keymaps; the types are for code that also
// supports editors that do.
struct KeymapEntry {
  char type;
  rl_command_func_t *function;
};
using Keymap = KeymapEntry *;

// The editor's streams, borrowed. In place of null, rl_initialize stores the process's standard
// stream.
extern FILE *rl_instream;
extern FILE *rl_outstream;
// The application's name, which selects conditional lines of the user's editrc. Read by
// rl_initialize.
extern const char *rl_readline_name;
// The source of bytes, from which the layer makes characters. Null means the layer's own reader.
extern rl_getc_func_t *rl_getc_function;
// For a source other than rl_instream. Null means that the terminal of that is asked.
extern rl_input_available_func_t *rl_input_available_hook;
// The line being edited, as bytes in the current locale, NUL-terminated. Owned by the layer, valid
// until the next call that publishes the line. Never null after rl_initialize.
extern char *rl_line_buffer;
// Cursor position and length of the line, in characters.
extern int rl_point;
extern int rl_end;
// A command sets it to non-zero to end the read at once without a line. Cleared by readline.
extern int rl_done;
// Called by the "rl_complete" command. Null means the editor's own file-name completion.
extern rl_completion_func_t *rl_attempted_completion_function;
// Set by the hook to suppress the default completion. Cleared after each completion.
extern int rl_attempted_completion_over;
// Non-zero makes "rl_complete" insert its key instead of completing.
extern int rl_inhibit_completion;
// The key that started the latest completion.
extern int rl_completion_invoking_key;

}  // namespace lineedit
