// Sets up the editor on first use.
#include "Cli/calls/editor_setup.h"

#include "Cli/base/python.h"
#include "Cli/history/history_store.h"
#include "Cli/input/character_reader.h"
#include "Cli/keys/completion.h"
#include "Cli/keys/key_bindings.h"
#include "editline/readline.h"

int readlineInitialized;

// The C stream of a file of module sys. Takes a reference, so that the file stays open while the
// editor uses it. Null if the object is not a file; the editor then uses the process's own stream.
static FILE *acquire_stream(const char *name) {
  PyObject *file = PySys_GetObject(const_cast<char *>(name));
  Py_XINCREF(file);
  return PyFile_AsFile(file);
}

static void plug_in_history_store() {
  HistEvent event;
  history(lineedit::get_history(), &event, H_FUNC, &hist_ctx, hist_first, hist_next, hist_last,
          hist_prev, hist_curr, hist_set, hist_clear, hist_enter, hist_add, hist_del);
}

void init_readline() {
  lineedit::rl_instream = acquire_stream("stdin");
  lineedit::rl_outstream = acquire_stream("stdout");
  lineedit::rl_getc_function = read_char;
  lineedit::rl_initialize();
  lineedit::rl_tty_overflow_fix(1);
  // Set after rl_initialize, so the first editor has the default name and every later one has this.
  lineedit::rl_readline_name = "OmbrelCli";
  // Refused because of the key. Completion runs through the hook that setup_key_bindings installs.
  lineedit::rl_add_defun("ar-complete-line", complete_line, -1);
  setup_key_bindings();
  plug_in_history_store();
  keyBindingsEnabledFlag = 1;
  readlineInitialized = 1;
}
