// The terminal: a new user's, and its width.
#include "terminal.h"

PyObject *py_resetInput(PyObject *, PyObject *) {
  PyErr_SetString(PyExc_NotImplementedError, "resetting the input is not built yet");
  return nullptr;
}

PyObject *py_TerminalWidthIs(PyObject *, PyObject *args) {
  int width = 0;
  if (PyArg_ParseTuple(args, "i", &width) == 0) return nullptr;
  PyErr_SetString(PyExc_NotImplementedError, "setting the width is not built yet");
  return nullptr;
}
