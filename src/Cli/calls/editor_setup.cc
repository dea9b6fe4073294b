// Sets up the editor on first use.
#include "Cli/calls/editor_setup.h"

#include "Cli/base/python.h"
#include "Cli/base/streams.h"
#include "Cli/history/history_store.h"
#include "Cli/input/character_reader.h"
#include "Cli/keys/completion.h"
#include "Cli/keys/key_bindings.h"
#include "editline/readline.h"

int readlineInitialized;

static void plug_in_history_store() {
  HistEvent event;
  history(lineedit::get_history(), &event, H_FUNC, &hist_ctx, hist_first, hist_next, hist_last,
          hist_prev, hist_curr, hist_set, hist_clear, hist_enter, hist_add, hist_del);
}

// The editor of a read in progress must not be destroyed.
static bool may_be_set_up() {
  if (!line_is_in_progress()) return true;
  PyErr_SetString(PyExc_RuntimeError, "the line editor cannot be set up while a line is read");
  return false;
}

static bool create_editor() {
  take_streams();
  lineedit::rl_getc_function = read_char;
  if (lineedit::rl_initialize() == 0) return true;
  release_streams();
  PyErr_SetString(PyExc_MemoryError, "the line editor cannot be set up");
  return false;
}

bool init_readline() {
  if (!may_be_set_up() || !create_editor()) return false;
  lineedit::rl_tty_overflow_fix(1);
  // Set after rl_initialize, so the first editor has the default name and every later one has this.
  lineedit::rl_readline_name = "OmbrelCli";
  // Refused because of the key. Completion runs through the hook that setup_key_bindings installs.
  lineedit::rl_add_defun("ar-complete-line", complete_line, -1);
  setup_key_bindings();
  plug_in_history_store();
  keyBindingsEnabledFlag = 1;
  readlineInitialized = 1;
  return true;
}
