// The Python calls for the terminal: handing over to a new user, and the width.
#include "Cli/calls/terminal_calls.h"

#include "Cli/calls/editor_setup.h"
#include "Cli/calls/history_calls.h"
#include "editline/readline.h"

// Drops the reference that init_readline took. The object is looked up by its name again, so the
// shell must call resetInput before it replaces sys.stdin and sys.stdout.
static void drop_stream(const char *name) {
  PyObject *file = PySys_GetObject(const_cast<char *>(name));
  Py_XDECREF(file);
}

// The shell may have closed sys.stdout, and its C stream is gone then.
static bool output_is_open() {
  return PyFile_AsFile(PySys_GetObject(const_cast<char *>("stdout"))) == lineedit::rl_outstream;
}

PyObject *py_resetInput(PyObject *, PyObject *) {
  lineedit::release_streams(output_is_open());
  drop_stream("stdin");
  drop_stream("stdout");
  readlineInitialized = 0;
  clear_recorded_lines();
  Py_RETURN_NONE;
}

PyObject *py_TerminalWidthIs(PyObject *, PyObject *args) {
  int width = 0;
  int rows = 0;
  int columns = 0;
  if (PyArg_ParseTuple(args, "i", &width) == 0) return nullptr;
  lineedit::rl_get_screen_size(&rows, &columns);
  lineedit::rl_set_screen_size(rows, width);
  Py_RETURN_NONE;
}
