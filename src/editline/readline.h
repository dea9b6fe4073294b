// The layer's readline-compatible interface, and the only header of the layer that the module
// includes. Everything declared here, and in the headers included here, is for the module.
//
// The layer uses libedit's public interface (histedit.h) and owns the process's one editor and one
// history object. libedit's own readline layer is not used: it keeps both handles private and lacks
// several of the calls below. Everything here is in a namespace and hidden in the shared object, so
// no name clashes with one of libedit's.
//
// Only the thread that reads lines may call these functions; there is no lock. No Python.
#pragma once

#include <histedit.h>

#include "editline/base/variables.h"
#include "editline/input/forked_child.h"
#include "editline/input/signals.h"
#include "editline/input/wait.h"

namespace lineedit {

// --- Set-up and reading --------------------------------------------------------------------------

// Creates the editor and its history on rl_instream and rl_outstream, after destroying any that
// exist. Leaves the terminal's settings as they were. Returns 0, or -1 if either cannot be created.
int rl_initialize();

// Releases the streams: both become null. `open` says whether the output stream is still open; if
// so, what was drawn is wiped from its buffer.
void release_streams(bool open);

// Shows `prompt` and reads one line. In the prompt, sequences between \001 and \002 take no
// columns, and only its last row is redrawn with the line. A null prompt is an empty one. Returns
// the line without its newline, malloc'ed and owned by the caller. Returns null at the end of
// input, after a failed read, if rl_done ended the read, and if rl_instream was set to null after
// rl_initialize or within a callback; there is no other error. Initialises the layer if needed. The
// terminal's settings are restored on every way out, including a jump out of a signal handler.
char *readline(const char *prompt);

// Restores the terminal if a line is being read, before the process aborts. Any thread and any
// signal handler may call it.
void give_terminal_back();

// --- The line being edited -----------------------------------------------------------------------

// Inserts `text` at rl_point if that is in 0..rl_end, else at the editor's cursor. Returns the
// number of bytes inserted: all of `text`, or 0 if it is null or empty or the editor refuses it.
int rl_insert_text(const char *text);

// Deletes the characters from `start` up to `end`, both clamped to 0..rl_end, and leaves the cursor
// where they were. If start is beyond end, deletes nothing and moves the cursor to end. Returns the
// clamped end minus the clamped start, negative in that case. Does not redraw.
int rl_delete_text(int start, int end);

// Clears the row of the terminal's cursor and everything below it, and draws prompt and line there.
// On a terminal that cannot clear, draws them in a new row. Within run_callback, draws the line in
// place if nothing was written, and below the output otherwise. Does nothing if there is no
// terminal or the line is not edited. Initialises the layer if needed.
void rl_forced_update_display();

// --- Completion and keys -------------------------------------------------------------------------

// Completes at the cursor through rl_attempted_completion_function. Returns an editor status
// (CC_*).
int rl_complete(int ignore, int invoking_key);

// Inserts `key` `count` times. Passed to rl_bind_key, it stands for self-insertion.
int rl_insert(int count, int key);

// Runs one editor command line, for instance "bind ^W ed-delete-prev-word". Returns 0, or 1 if the
// editor refuses it.
int rl_parse_and_bind(const char *line);

// If `function` is rl_insert, binds `key` (0..255) to self-insertion and returns 0. Returns -1 for
// anything else: keys are bound to editor commands with rl_parse_and_bind.
int rl_bind_key(int key, rl_command_func_t *function);

// Adds `function` as the editor command `name` and binds `key` to it. Returns 0, or -1 for a key
// outside 0..255, in which case nothing is added. `name` must outlive the editor.
int rl_add_defun(const char *name, rl_command_func_t *function, int key);

// Calls for editors that bind through keymaps. This one does not: they return null, null, 0 and 0,
// bind nothing, ignore their arguments and do not need the layer initialised.
rl_command_func_t *rl_named_function(const char *name);
char **rl_invoking_keyseqs_in_map(rl_command_func_t *function, Keymap map);
int rl_bind_keyseq_in_map(const char *keyseq, rl_command_func_t *function, Keymap map);
int rl_bind_key_in_map(int key, rl_command_func_t *function, Keymap map);

// --- History and screen --------------------------------------------------------------------------

// The layer's history object, owned by the layer; null before rl_initialize.
History *get_history();
// Adds a copy of `line` to the history. Initialises the layer if needed. Returns 0.
int add_history(const char *line);
// Empties the history. Initialises the layer if needed.
void clear_history();

// The editor's idea of the screen, in rows and columns. Initialises the layer if needed.
void rl_get_screen_size(int *rows, int *cols);
void rl_set_screen_size(int rows, int cols);

// Asks to arm (on != 0) or disarm the bulk-input guard, for code that must not know which engine it
// runs on. It calls the narrow setter, which refuses the operation, so it changes nothing. This is
// intended: the guard is off until the wide setter arms it. The layer must be initialised. Does
// nothing while editing is off.
void rl_tty_overflow_fix(int on);

}  // namespace lineedit
