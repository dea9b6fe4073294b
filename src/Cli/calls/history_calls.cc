// The Python calls for history: making modes, recording, listing and clearing lines, the limit.
#include "Cli/calls/history_calls.h"

#include <cctype>
#include <cstring>

#include "Cli/base/invariant.h"
#include "Cli/calls/editor_setup.h"
#include "Cli/history/history_modes.h"
#include "Cli/history/history_store.h"
#include "Cli/keys/history_limit.h"
#include "editline/readline.h"

// --- Listing -------------------------------------------------------------------------------------

// Returns false with a Python exception set.
static bool append_line(PyObject *list, const char *line) {
  PyObject *string = PyString_FromString(line);
  if (string == nullptr) return false;
  const bool appended = PyList_Append(list, string) == 0;
  Py_DECREF(string);
  return appended;
}

// Appends the lines that are visible in `mode`, oldest first; all lines if it is null.
static bool append_lines(PyObject *list, const history_mode *mode) {
  const hist_link *head = &hist_ctx.list;
  for (const hist_link *link = head->prev; link != head; link = link->prev) {
    const hist_entry *entry = static_cast<const hist_entry *>(link);
    if (hist_mode_sees(mode, entry->mode) && !append_line(list, entry->str)) return false;
  }
  return true;
}

PyObject *py_history(PyObject *, PyObject *args) {
  const char *key = nullptr;
  if (PyArg_ParseTuple(args, "|s:history", &key) == 0) return nullptr;
  PyObject *list = PyList_New(0);
  if (list != nullptr && !append_lines(list, find_history_mode(key))) Py_CLEAR(list);
  return list;
}

// --- Modes ---------------------------------------------------------------------------------------

PyObject *py_newHistoryMode(PyObject *, PyObject *args) {
  const char *key;
  const char *parent_key;
  if (PyArg_ParseTuple(args, "ss:newHistoryMode", &key, &parent_key) == 0) return nullptr;
  if (new_history_mode(key, parent_key) == nullptr) {
    PyErr_SetString(PyExc_KeyError, parent_key);
    return nullptr;
  }
  // The second call finds the mode that the first one made. An empty key is never found, and makes
  // a second mode.
  if (new_history_mode(key, parent_key) == nullptr)
    invariant_broken("new_history_mode( key, parent_key )", 860, "py_newHistoryMode");
  Py_RETURN_NONE;
}

// --- Recording and clearing ----------------------------------------------------------------------

// Whether `text` is empty or all white space in the current locale.
static bool is_white_line(const char *text) {
  while (isspace(static_cast<signed char>(*text)) != 0) ++text;
  return *text == '\0';
}

// Before there is an editor with the store plugged in, the store is called directly. Going through
// the editor would create one without the store, touch the terminal, and lose the line when the
// real editor is set up.
static void record(const char *line) {
  HistEvent event;
  if (readlineInitialized != 0)
    lineedit::add_history(line);
  else
    hist_enter(nullptr, &event, line);
}

// Gets the bytes of a string without a NUL inside. Returns false for anything else.
static bool get_plain_string(PyObject *object, const char **bytes) {
  if (!PyString_CheckExact(object)) return false;
  *bytes = PyString_AS_STRING(object);
  return strlen(*bytes) == static_cast<size_t>(PyString_GET_SIZE(object));
}

// A fast path for the arguments of nearly every call. The interpreter's parser gives the same
// result, but takes a quarter of the time of recording a line. Returns false for other arguments,
// which are left to the parser.
static bool get_plain_strings(PyObject *args, const char **line, const char **key,
                              const char **parent_key) {
  return PyTuple_GET_SIZE(args) == 3 && get_plain_string(PyTuple_GET_ITEM(args, 0), line) &&
         get_plain_string(PyTuple_GET_ITEM(args, 1), key) &&
         get_plain_string(PyTuple_GET_ITEM(args, 2), parent_key);
}

PyObject *py_addHistory(PyObject *, PyObject *args) {
  const char *line;
  const char *key;
  const char *parent_key;
  if (!get_plain_strings(args, &line, &key, &parent_key) &&
      PyArg_ParseTuple(args, "sss:addHistory", &line, &key, &parent_key) == 0)
    return nullptr;
  if (is_white_line(line)) Py_RETURN_TRUE;
  history_mode *mode = new_history_mode(key, parent_key);
  if (mode == nullptr) Py_RETURN_FALSE;
  hist_ctx.current_mode = mode;
  if (hist_ctx.limit != 0) record(line);
  Py_RETURN_TRUE;
}

void clear_recorded_lines() {
  HistEvent event;
  if (readlineInitialized != 0)
    lineedit::clear_history();
  else
    hist_clear(nullptr, &event);
}

PyObject *py_clearHistory(PyObject *, PyObject *) {
  clear_recorded_lines();
  Py_RETURN_NONE;
}

// --- The limit -----------------------------------------------------------------------------------

PyObject *py_historyLimitIs(PyObject *, PyObject *args) {
  unsigned int limit;
  if (PyArg_ParseTuple(args, "I:historyLimitIs", &limit) == 0) return nullptr;
  history_limit_is(limit);
  Py_RETURN_NONE;
}
