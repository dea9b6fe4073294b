// The two line-reading calls. readline releases the interpreter's lock for the whole wait, and
// turns every way out of the editor, including a jump from a signal handler, into a string or an
// exception.
#include "Cli/calls/line_reading.h"

#include <pthread.h>

#include "Cli/base/gil.h"
#include "Cli/base/streams.h"
#include "Cli/calls/editor_setup.h"
#include "Cli/history/history_modes.h"
#include "Cli/history/history_store.h"
#include "Cli/input/signal_jumps.h"
#include "Cli/keys/completion.h"
#include "editline/readline.h"

// The editor runs in between, without the lock.
static void enter_editor() {
  set_line_in_progress(true);
  lend_streams();
  releaseGil();
}

static void leave_editor() {
  acquireGil();
  return_streams();
  set_line_in_progress(false);
}

// The thread that reads does not exist in the child, or is within a callback and has the lock.
void leave_line_to_parent() {
  remove_jump_handlers();
  forget_released_gil();
  return_streams();
  set_line_in_progress(false);
}

// Leaves the editor, on every path: restores the shell's own handlers, then unblocks the signals,
// then acquires the lock.
static void return_to_python() {
  bind_signals_to_shell();
  lineedit::unblock_signals();
  leave_editor();
}

static PyObject *interrupted(const char *message) {
  return_to_python();
  PyErr_SetString(PyExc_KeyboardInterrupt, message);
  return nullptr;
}

// The line as a Python string. By design the editor's copy is not freed here.
static PyObject *line_or_end_of_input(const char *line, const char *end_of_input) {
  if (line == nullptr) {
    PyErr_SetString(PyExc_EOFError, end_of_input);
    return nullptr;
  }
  return PyString_FromString(line);
}

// Reads a line without the lock, with both jump points valid. The signals are blocked before the
// jump points are set and the handlers installed. So no signal finds only one of the two handlers
// in place, and a second signal cannot jump again before the shell's handlers are restored. SIGINT
// and SIGTSTP get through whenever the editor waits, even if the shell had blocked them.
static PyObject *read_line(const char *prompt) {
  const sigset_t admitted = jump_signals();
  lineedit::block_signals(&admitted);
  if (sigsetjmp(sigintJumpBuffer, 1) != 0) return interrupted("Ctrl-C pressed");
  if (sigsetjmp(sigtstpJumpBuffer, 1) != 0) return interrupted("Ctrl-Z pressed");
  install_jump_handlers();
  const char *line = lineedit::readline(prompt);
  return_to_python();
  // If there is an exception, the line is dropped.
  if (raise_parked_exception()) return nullptr;
  return line_or_end_of_input(line, "readline returned NULL");
}

PyObject *py_readline(PyObject *, PyObject *args) {
  const char *prompt;
  const char *key = nullptr;
  const char *parent = nullptr;
  completionCallback = Py_None;
  if (PyArg_ParseTuple(args, "s|Oss:readline", &prompt, &completionCallback, &key, &parent) == 0) {
    completionCallback = Py_None;
    return nullptr;
  }
  if (readlineInitialized == 0 && !init_readline()) return nullptr;
  if (key != nullptr) hist_ctx.current_mode = new_history_mode(key, parent);
  readlineThreadId = pthread_self();
  enter_editor();
  return read_line(prompt);
}

PyObject *py_simpleReadline(PyObject *, PyObject *args) {
  const char *prompt;
  if (PyArg_ParseTuple(args, "s:simpleReadline", &prompt) == 0) return nullptr;
  enter_editor();
  const char *line = lineedit::readline(prompt);
  leave_editor();
  return line_or_end_of_input(line, "simpleReadline returned NULL");
}
