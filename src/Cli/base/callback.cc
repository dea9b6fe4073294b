#include "Cli/base/callback.h"

#include <unistd.h>

#include "Cli/base/streams.h"

// Printing a SystemExit ends the process with its status. Py_Exit does not return.
static void end_child(const PyObject *result) {
  if (result == nullptr) PyErr_Print();
  Py_Exit(result == nullptr ? 1 : 0);
}

PyObject *call_within_read(PyObject *function, PyObject *arguments) {
  if (arguments == nullptr) return nullptr;
  const pid_t process = getpid();
  return_streams();
  PyObject *result = PyObject_CallObject(function, arguments);
  if (getpid() != process) end_child(result);
  Py_DECREF(arguments);
  lend_streams();
  return result;
}
