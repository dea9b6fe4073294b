// The Python calls that turn the completion keys on and off, and tell whether they are on.
#include "Cli/calls/key_bindings_calls.h"

#include "Cli/calls/editor_setup.h"
#include "Cli/keys/key_bindings.h"
#include "editline/readline.h"

static void enable_key_bindings() {
  setup_key_bindings();
  keyBindingsEnabledFlag = 1;
}

static void disable_key_bindings() {
  lineedit::rl_bind_key('\t', lineedit::rl_insert);
  lineedit::rl_bind_key('?', lineedit::rl_insert);
  keyBindingsEnabledFlag = 0;
}

PyObject *py_keyBindingsEnabledIs(PyObject *, PyObject *args) {
  PyObject *enabled;
  if (PyArg_ParseTuple(args, "O:keyBindingsEnabledIs", &enabled) == 0) return nullptr;
  if (!PyBool_Check(enabled)) {
    PyErr_SetString(PyExc_TypeError, "Expected a bool");
    return nullptr;
  }
  if (readlineInitialized == 0 && !init_readline()) return nullptr;
  if (enabled == Py_True)
    enable_key_bindings();
  else
    disable_key_bindings();
  Py_RETURN_NONE;
}

PyObject *py_keyBindingsEnabled(PyObject *, PyObject *) {
  return PyBool_FromLong(keyBindingsEnabledFlag);
}
