// The Python calls for the terminal: handing over to a new user, and the width.
#include "Cli/calls/terminal_calls.h"

#include "Cli/base/streams.h"
#include "Cli/calls/editor_setup.h"
#include "Cli/calls/history_calls.h"
#include "editline/readline.h"

// Within a callback of a read, it ends the read. Another thread must not take the streams from the
// one that reads.
PyObject *py_resetInput(PyObject *, PyObject *) {
  if (streams_are_lent()) {
    PyErr_SetString(PyExc_RuntimeError, "resetInput was called while another thread reads a line");
    return nullptr;
  }
  release_streams();
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
