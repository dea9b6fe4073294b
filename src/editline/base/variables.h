// The variables of the readline interface and the types of the functions that go into them. They
// are the application's to set and to read.
#pragma once

#include <cstdio>

namespace lineedit {

// A command function: repeat count, invoking key. The result is ignored.
using rl_command_func_t = int(int count, int key);
// Completion hook: the word before the cursor and its offsets in the line. It edits the line itself
// and returns null, or a malloc'ed null-terminated list of malloc'ed strings, which is freed
// unused.
using rl_completion_func_t = char **(const char *text, int start, int end);
// Character-input hook: one byte as a signed char widened to int, or -1 at the end of input.
using rl_getc_func_t = int(FILE *stream);

// One key of a keymap. This editor binds nothing through keymaps; they exist for code that can.
struct KeymapEntry {
  char type;
  rl_command_func_t *function;
};
using Keymap = KeymapEntry *;

// Streams of the editor, borrowed. Null at rl_initialize means the process's standard stream, which
// rl_initialize then stores here.
extern FILE *rl_instream;
extern FILE *rl_outstream;
// The application's name for conditional lines of the user's editrc. Read by rl_initialize.
extern const char *rl_readline_name;
// Where keys come from; null means the layer's own reader, which decodes multi-byte characters.
extern rl_getc_func_t *rl_getc_function;
// The line being edited, as bytes in the current locale, NUL-terminated. Owned by the layer, valid
// until the next call that publishes the line. Never null after rl_initialize.
extern char *rl_line_buffer;
// Cursor position and length of the line, in characters.
extern int rl_point;
extern int rl_end;
// Set non-zero inside a command to end the read at once with no line. Cleared by readline.
extern int rl_done;
// Called by the "rl_complete" command. Null means the editor's own file-name completion.
extern rl_completion_func_t *rl_attempted_completion_function;
// Set by the hook when no default completion shall follow. Cleared after each completion.
extern int rl_attempted_completion_over;
// Non-zero makes "rl_complete" insert its key instead of completing.
extern int rl_inhibit_completion;
// The key that started the latest completion.
extern int rl_completion_invoking_key;

}  // namespace lineedit
