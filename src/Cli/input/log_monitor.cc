// The log monitor, and the delivery of its events to the shell's callable.
#include "Cli/input/log_monitor.h"

#include <cstdio>

#include "Cli/base/callback.h"
#include "Cli/base/gil.h"
#include "Cli/base/invariant.h"
#include "editline/readline.h"
#include "vesker.h"

// The log monitor; null while synchronous logging is off. Its user data is the Python callable.
static vesker *logWatcher;

// The event being delivered. Whatever the callable does, no second one is delivered meanwhile.
static struct {
  PyObject *callback;
  int first;
  int second;
  PyObject *result;
} event;

int log_descriptor() { return logWatcher != nullptr ? vesker_inotify_fd(logWatcher) : -1; }

void process_log_events() { vesker_process_event(logWatcher); }

// --- Log events ----------------------------------------------------------------------------------

// A jump out of running Python code would leave the interpreter's lock held, so Ctrl-C and Ctrl-Z
// wait until this has returned.
static void call_with_event() {
  acquireGil();
  if (!PyCallable_Check(event.callback))
    invariant_broken("PyCallable_Check( callback )", 671, "conlog_callback");
  event.result = call_within_read(event.callback, Py_BuildValue("(ii)", event.first, event.second));
}

// Whether the callable asks for the line to be redrawn. An exception, including one from a result
// that is not an integer, stays set for the interpreter to find.
static bool asks_for_redraw(PyObject *result) {
  return result != nullptr && result != Py_None && PyInt_AsLong(result) > 0;
}

static void apply_result() {
  if (asks_for_redraw(event.result)) lineedit::rl_forced_update_display();
  Py_CLEAR(event.result);
  releaseGil();
}

// Passes one event to the shell's callable, with the interpreter's lock held. The callable's output
// appears below the whole line, and the line is redrawn below that if the callable asks for it.
static void conlog_callback(int first, void *userdata, int second) {
  PyObject *callback = static_cast<PyObject *>(userdata);
  if (callback == Py_None) return;
  event = {callback, first, second, nullptr};
  lineedit::run_callback(call_with_event, apply_result, false);
}

// --- Turning it on and off -----------------------------------------------------------------------

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
