// The Python calls for history.
#include "history_calls.h"

static PyObject *not_built_yet() {
  PyErr_SetString(PyExc_NotImplementedError, "the history calls are not built yet");
  return nullptr;
}

PyObject *py_history(PyObject *, PyObject *args) {
  const char *key = nullptr;
  if (PyArg_ParseTuple(args, "|s:history", &key) == 0) return nullptr;
  return not_built_yet();
}

PyObject *py_newHistoryMode(PyObject *, PyObject *args) {
  const char *key, *parent_key;
  if (PyArg_ParseTuple(args, "ss:newHistoryMode", &key, &parent_key) == 0) return nullptr;
  return not_built_yet();
}

PyObject *py_addHistory(PyObject *, PyObject *args) {
  const char *line, *key, *parent_key;
  if (PyArg_ParseTuple(args, "sss:addHistory", &line, &key, &parent_key) == 0) return nullptr;
  return not_built_yet();
}

PyObject *py_clearHistory(PyObject *, PyObject *) { return not_built_yet(); }

PyObject *py_historyLimitIs(PyObject *, PyObject *args) {
  unsigned int limit;
  if (PyArg_ParseTuple(args, "I:historyLimitIs", &limit) == 0) return nullptr;
  return not_built_yet();
}
