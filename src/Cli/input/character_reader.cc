// The editor's input hook: waits for the next key, and lets the log monitor hand its events to the
// shell between two keys.
#include "Cli/input/character_reader.h"

#include <unistd.h>

#include "Cli/base/frame.h"
#include "Cli/base/invariant.h"
#include "editline/input/signals.h"
#include "editline/readline.h"
#include "vesker.h"

// The log monitor; null while synchronous logging is off. The Python callable travels with it.
static vesker *logWatcher;

// What the reader waits on. Kept between keys for its storage only.
static lineedit::WaitSet waiting;

// --- Waiting for a key ---------------------------------------------------------------------------

// Adds the log monitor's descriptor to what is waited on. Returns it, or -1 when there is none.
static int add_log_descriptor() {
  if (logWatcher == nullptr) return -1;
  const int fd = vesker_inotify_fd(logWatcher);
  if (fd < 0) return -1;
  lineedit::wait_set_add(&waiting, fd);
  return fd;
}

// Waits until the terminal has a key, or has none to give any more.
static void wait_for_key(int fd) {
  for (;;) {
    lineedit::wait_set_add(&waiting, fd);
    // Looked up in each pass, since a callback may have switched logging off.
    const int log_fd = add_log_descriptor();
    if (lineedit::rl_wait((fd > log_fd ? fd : log_fd) + 1, &waiting) <= 0) continue;
    if (log_fd >= 0 && lineedit::wait_set_has(&waiting, log_fd)) {
      vesker_process_event(logWatcher);
      // That may have closed it.
      lineedit::wait_set_remove(&waiting, log_fd);
    }
    if (lineedit::wait_set_has(&waiting, fd)) return;
  }
}

int read_char(FILE *) {
  const int fd = fileno(lineedit::rl_instream);
  char key;
  ssize_t got;
  lineedit::wait_set_clear(&waiting);
  do {
    wait_for_key(fd);
    got = read(fd, &key, 1);
  } while (got == 0 && lineedit::rl_read_was_too_late(fd));
  return got == 1 ? static_cast<signed char>(key) : -1;
}

// --- Log events ----------------------------------------------------------------------------------

// Whether the callback asks for the line to be drawn anew. An exception, one from a result that is
// no integer included, is left standing for the interpreter to find.
static bool asks_for_redraw(PyObject *result) {
  return result != nullptr && result != Py_None && PyInt_AsLong(result) > 0;
}

// Runs the shell's callable. Signals get through meanwhile, but Ctrl-C and Ctrl-Z are only noted
// and act at the next wait: a jump out of running Python code would leave the interpreter's lock
// taken.
static PyObject *call_with_event(PyObject *callback, int first, int second) {
  lineedit::rl_open_signals();
  PyObject *result = PyObject_CallFunction(callback, const_cast<char *>("ii"), first, second);
  lineedit::rl_close_signals();
  return result;
}

// Hands one event to the shell's callable, with the interpreter's lock. What the callable writes
// comes below the whole line, and the line is drawn again below that when it asks for it.
static void conlog_callback(int first, void *userdata, int second) {
  PyObject *callback = static_cast<PyObject *>(userdata);
  if (callback == Py_None) return;
  acquireGil();
  if (!PyCallable_Check(callback))
    invariant_broken("PyCallable_Check( callback )", 671, "conlog_callback");
  lineedit::rl_begin_output();
  PyObject *result = call_with_event(callback, first, second);
  if (asks_for_redraw(result)) lineedit::rl_forced_update_display();
  lineedit::rl_end_output();
  Py_XDECREF(result);
  releaseGil();
}

// --- Switching it on and off ---------------------------------------------------------------------

static void start_log_monitor(const char *filename, PyObject *callback) {
  logWatcher = vesker_open(filename, conlog_callback, callback);
  if (logWatcher == nullptr) perror("create inotify event");
}

static void stop_log_monitor() {
  vesker_close(logWatcher);
  logWatcher = nullptr;
}

PyObject *py_loggingSyncEnabledIs(PyObject *, PyObject *args) {
  const char *filename;
  PyObject *callback = Py_None;
  if (PyArg_ParseTuple(args, "s|O:loggingSyncEnabledIs", &filename, &callback) == 0) return nullptr;
  const bool wanted = callback != Py_None;
  const bool on = logWatcher != nullptr;
  if (wanted && !on) start_log_monitor(filename, callback);
  if (!wanted && on) stop_log_monitor();
  Py_RETURN_NONE;
}
