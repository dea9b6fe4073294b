// The readline-compatible interface that the module is written against, and the only header of the
// layer that it includes: all that is declared here and in what is included here is for the module.
//
// The layer stands on libedit's public interface (histedit.h) and owns the one editor and the one
// history object of the process. libedit ships a readline layer of its own; that one keeps both
// handles private and lacks several of the calls below, so it is not used. Everything here is in a
// namespace and hidden in the shared object: no name of libedit's can be mistaken for one of ours.
//
// One thread reads lines, and only that thread calls these functions; there is no lock. No Python.
#pragma once

#include <histedit.h>

#include "editline/base/variables.h"
#include "editline/input/wait.h"

namespace lineedit {

// --- Set-up and reading --------------------------------------------------------------------------

// Creates the editor and its history over rl_instream and rl_outstream, ending those that exist.
// The terminal's settings are left as they were. Returns 0, or -1 when either cannot be made.
int rl_initialize();

// Lets the streams go: both become null. What was drawn is overwritten in the output stream's
// buffer where `open` says that the stream still is.
void release_streams(bool open);

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

// Clears the row where the terminal's cursor is, and what is below, and draws prompt and line
// there; in a row of its own where the terminal cannot clear. Within run_callback it draws the line
// in its own place when nothing was written, and else below. Does nothing where there is no
// terminal or the line is not edited. Initialises when needed.
void rl_forced_update_display();

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

// Arms (on != 0) or disarms the bulk-input guard. Code that must not know which engine it runs on
// calls this; it reaches the narrow setter, which refuses the operation, so it changes nothing.
// That is how the system is meant to start: the guard is off until the wide setter arms it. The
// layer must be initialised. Does nothing while editing is off.
void rl_tty_overflow_fix(int on);

}  // namespace lineedit
