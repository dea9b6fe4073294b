// The files whose C streams the editor uses.
#include "Cli/base/streams.h"

#include "Cli/base/python.h"
#include "editline/readline.h"

static struct {
  // Null before the set-up, after a reset, and for an object that is not a file. Kept alive by the
  // reference that take_streams took.
  PyObject *input;
  PyObject *output;
  // Between lend_streams and return_streams.
  bool lent;
  // A read is in progress, perhaps within a callback.
  bool line_in_progress;
} streams;

static PyObject *file_of_sys(const char *name) { return PySys_GetObject(const_cast<char *>(name)); }

// --- Taking and releasing ------------------------------------------------------------------------

static FILE *take_stream(const char *name, PyObject **kept) {
  PyObject *file = file_of_sys(name);
  Py_XINCREF(file);
  FILE *stream = PyFile_AsFile(file);
  *kept = stream != nullptr ? file : nullptr;
  return stream;
}

void take_streams() {
  lineedit::rl_instream = take_stream("stdin", &streams.input);
  lineedit::rl_outstream = take_stream("stdout", &streams.output);
}

static bool is_closed(PyObject *file) { return file != nullptr && PyFile_AsFile(file) == nullptr; }

static void drop_reference(const char *name) {
  PyObject *file = file_of_sys(name);
  Py_XDECREF(file);
}

void release_streams() {
  lineedit::release_streams(!is_closed(streams.output));
  streams.input = streams.output = nullptr;
  drop_reference("stdin");
  drop_reference("stdout");
}

// --- Lending -------------------------------------------------------------------------------------

static void count_use(PyObject *file, void (*count)(PyFileObject *)) {
  if (file != nullptr) count(reinterpret_cast<PyFileObject *>(file));
}

// The C stream of a closed file is gone. With one of the two, no line can be edited.
static void forget_closed_streams() {
  if (!is_closed(streams.input) && !is_closed(streams.output)) return;
  lineedit::rl_instream = lineedit::rl_outstream = nullptr;
}

void lend_streams() {
  forget_closed_streams();
  count_use(streams.input, PyFile_IncUseCount);
  count_use(streams.output, PyFile_IncUseCount);
  streams.lent = true;
}

void return_streams() {
  if (!streams.lent) return;
  streams.lent = false;
  count_use(streams.input, PyFile_DecUseCount);
  count_use(streams.output, PyFile_DecUseCount);
}

bool streams_are_lent() { return streams.lent; }

void set_line_in_progress(bool in_progress) { streams.line_in_progress = in_progress; }

bool line_is_in_progress() { return streams.line_in_progress; }
