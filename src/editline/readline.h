// The readline-compatible interface that the module is written against.
//
// It stands on libedit's public interface (histedit.h) and owns the one editor and the one history
// object of the process. libedit ships a readline layer of its own; that one keeps both handles
// private and lacks several of the calls below, so it is not used. Everything here is in a
// namespace and hidden in the shared object: no name of libedit's can be mistaken for one of ours.
//
// One thread reads lines, and only that thread calls these functions; there is no lock. No Python.
#pragma once

#include <histedit.h>

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

// --- Variables -----------------------------------------------------------------------------------

// Streams of the editor, borrowed. Null at rl_initialize means the process's standard stream, which
// rl_initialize then stores here.
extern FILE *rl_instream;
extern FILE *rl_outstream;
// The application's name for conditional lines of the user's editrc. Read by rl_initialize.
extern const char *rl_readline_name;
// Where keys come from; null means the layer's own reader, which decodes multi-byte characters.
// Read by rl_initialize.
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

// --- Set-up and reading --------------------------------------------------------------------------

// Creates the editor and its history over rl_instream and rl_outstream, ending those that exist.
// The terminal's settings are left as they were. Returns 0, or -1 when either cannot be made.
int rl_initialize();

// Shows `prompt` (sequences between \001 and \002 take no room; only its last row is drawn again
// when the line is; null is none) and reads one line. Returns the line without its newline,
// malloc'ed and owned by the caller, or null at the end of input, after a failed read, when rl_done
// ended the read, and where rl_instream was taken away after rl_initialize. Initialises when
// needed. Errors: none but null. On every way out, a jump out of a signal handler included, the
// terminal has its settings back.
char *readline(const char *prompt);

// --- The line being edited -----------------------------------------------------------------------

// Inserts `text` at rl_point when that lies in 0..rl_end, else at the editor's cursor. Returns the
// bytes inserted: all of `text`, or 0 for null or empty text or when the editor refuses.
int rl_insert_text(const char *text);

// Deletes the characters from `start` up to `end`, both clamped to 0..rl_end, and leaves the cursor
// where they were. With start beyond end it deletes nothing and moves the cursor to end. Returns
// the clamped end minus the clamped start, negative in that case. Does not redraw.
int rl_delete_text(int start, int end);

// Clears the row where the terminal's cursor is, and what is below, and draws prompt and line anew
// there; in a row of its own where the terminal cannot clear. Does nothing where there is no
// terminal or the line is not edited.
void rl_forced_update_display();

// Around code that may write to the terminal beside the line, such as a completer. The first moves
// the terminal's cursor down to the row in which the line ends, so that nothing of it is written
// over. Between the two, rl_forced_update_display draws the line in its own place when nothing was
// written, and else below. Where that was not called, the second leaves the display alone, but for
// two cases: with nothing written it puts the cursor back, and when rl_done says that the read is
// over the cursor goes behind the line.
void rl_begin_output();
void rl_end_output();

// --- Completion and keys -------------------------------------------------------------------------

// Completes at the cursor through rl_attempted_completion_function. Returns an editor status
// (CC_*).
int rl_complete(int ignore, int invoking_key);

// Inserts `key` `count` times. Its address is also how rl_bind_key is asked for self-insertion.
int rl_insert(int count, int key);

// Runs one editor command line, for instance "bind ^W ed-delete-prev-word". Returns 0, or 1 when
// the editor refuses it.
int rl_parse_and_bind(const char *line);

// Binds `key` (0..255) to self-insertion when `function` is rl_insert and returns 0. Anything else
// is refused with -1: keys are bound to editor commands with rl_parse_and_bind.
int rl_bind_key(int key, rl_command_func_t *function);

// Adds `function` as the editor command `name` and binds `key` to it. Returns 0, or -1 for a key
// outside 0..255, in which case nothing is added. `name` must outlive the editor.
int rl_add_defun(const char *name, rl_command_func_t *function, int key);

// Calls for keymap-binding editors. This one answers that there is nothing: null, null, 0 and 0,
// and binds nothing. None looks at its arguments or needs the layer initialised.
rl_command_func_t *rl_named_function(const char *name);
char **rl_invoking_keyseqs_in_map(rl_command_func_t *function, Keymap map);
int rl_bind_keyseq_in_map(const char *keyseq, rl_command_func_t *function, Keymap map);
int rl_bind_key_in_map(int key, rl_command_func_t *function, Keymap map);

// --- History and screen --------------------------------------------------------------------------

// The layer's history object, owned by the layer; null before rl_initialize.
History *get_history();
// Enters `line` into the history, which copies it. Initialises when needed. Returns 0.
int add_history(const char *line);
// Empties the history. Initialises when needed.
void clear_history();

// The editor's idea of the screen in rows and columns. Initialises when needed.
void rl_get_screen_size(int *rows, int *cols);
void rl_set_screen_size(int rows, int cols);

}  // namespace lineedit
