// The two line-reading calls. readline gives up the interpreter's lock for the whole wait and turns
// every way out of the editor, a jump from a signal handler included, into a string or an
// exception.
#include "Cli/calls/line_reading.h"

#include <pthread.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include "Cli/base/frame.h"
#include "Cli/base/invariant.h"
#include "Cli/history/history_store.h"
#include "editline/input/signals.h"
#include "editline/readline.h"

PyObject *completionCallback = Py_None;

PyObject *py_lhandler_ptype;
PyObject *py_lhandler_pvalue;
PyObject *py_lhandler_ptraceback;

struct sigaction savedSigintHandler;
struct sigaction savedSigtstpHandler;

// Where the two handlers jump to. Valid only while readline is inside the editor.
static sigjmp_buf sigintJumpBuffer;
static sigjmp_buf sigtstpJumpBuffer;

// The thread of the latest readline call: the only one that may come back from a jump.
extern "C" __attribute__((visibility("default"))) unsigned long readlineThreadId;
unsigned long readlineThreadId;

// --- Signals -------------------------------------------------------------------------------------

// What both handlers do. One that is not on the reading thread has no frame to jump to. Returns
// whether it is on the main thread then: some other thread reads, which the module rules out, and
// jumping to that thread's stack would corrupt it. Any other thread got the signal only because the
// reader holds it just now, and passes it on.
static bool is_misdirected(sigjmp_buf buffer, int signo) {
  if (pthread_self() == readlineThreadId) siglongjmp(buffer, 1);
  if (lineedit::is_main_thread()) return true;
  pthread_kill(readlineThreadId, signo);
  return false;
}

[[noreturn]] static void abort_on_wrong_thread() {
  fflush(stdout);
  abort();
}

static void sigint_handler(int signo) {
  if (!is_misdirected(sigintJumpBuffer, signo)) return;
  printf("Assertion failed: readlineThreadId == pthread_self %s:%d (%lu, %lu)\n", report_file, 515,
         readlineThreadId, pthread_self());
  abort_on_wrong_thread();
}

static void sigtstp_handler(int signo) {
  if (!is_misdirected(sigtstpJumpBuffer, signo)) return;
  printf("Assertion failed: readlineThreadId == pthread_self %s:%d\n", report_file, 533);
  abort_on_wrong_thread();
}

static void bind_signal(int signo, void (*handler)(int), struct sigaction *saved) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigaction(signo, &action, saved);
}

void bind_signals_to_module() {
  bind_signal(SIGINT, sigint_handler, nullptr);
  bind_signal(SIGTSTP, sigtstp_handler, nullptr);
}

void bind_signals_to_shell() {
  sigaction(SIGINT, &savedSigintHandler, nullptr);
  sigaction(SIGTSTP, &savedSigtstpHandler, nullptr);
}

// Both signals are held here, so none can find only one of the two handlers in place; from now on
// they get through wherever the editor waits, even if the shell had them blocked.
static void install_signal_handlers() {
  bind_signal(SIGINT, sigint_handler, &savedSigintHandler);
  bind_signal(SIGTSTP, sigtstp_handler, &savedSigtstpHandler);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTSTP);
  lineedit::rl_admit_signals(&set);
}

// Leaves the editor, on every path: the shell's own handlers first, then the signals that were held
// meanwhile, then the interpreter.
static void return_to_python() {
  bind_signals_to_shell();
  lineedit::rl_release_signals();
  acquireGil();
}

static PyObject *interrupted(const char *message) {
  return_to_python();
  PyErr_SetString(PyExc_KeyboardInterrupt, message);
  return nullptr;
}

// --- Lines ---------------------------------------------------------------------------------------

// The line as a Python string. The editor's copy is left: it is not freed here by design.
static PyObject *line_or_end_of_input(const char *line, const char *end_of_input) {
  if (line == nullptr) {
    PyErr_SetString(PyExc_EOFError, end_of_input);
    return nullptr;
  }
  return PyString_FromString(line);
}

// A line that came back beside an exception is dropped.
static PyObject *raise_parked_exception() {
  PyErr_Restore(py_lhandler_ptype, py_lhandler_pvalue, py_lhandler_ptraceback);
  py_lhandler_ptype = nullptr;
  return nullptr;
}

// Reads a line without the lock, with both jump points live. The signals are held already when the
// jump points are taken, so a second signal cannot jump again before the shell's handlers are back.
static PyObject *read_line(const char *prompt) {
  lineedit::rl_hold_signals();
  if (sigsetjmp(sigintJumpBuffer, 1) != 0) return interrupted("Ctrl-C pressed");
  if (sigsetjmp(sigtstpJumpBuffer, 1) != 0) return interrupted("Ctrl-Z pressed");
  install_signal_handlers();
  const char *line = lineedit::readline(prompt);
  return_to_python();
  if (py_lhandler_ptype != nullptr) return raise_parked_exception();
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
  if (readlineInitialized == 0) init_readline();
  if (key != nullptr) hist_ctx.current_mode = new_history_mode(key, parent);
  readlineThreadId = pthread_self();
  releaseGil();
  return read_line(prompt);
}

PyObject *py_simpleReadline(PyObject *, PyObject *args) {
  const char *prompt;
  if (PyArg_ParseTuple(args, "s:simpleReadline", &prompt) == 0) return nullptr;
  releaseGil();
  const char *line = lineedit::readline(prompt);
  acquireGil();
  return line_or_end_of_input(line, "simpleReadline returned NULL");
}
