// Completion: passes the line to the Python callable, edits it as the answer says, and parks an
// exception for readline to raise.
#include "Cli/keys/completion.h"

#include <cstring>

#include "Cli/base/callback.h"
#include "Cli/base/gil.h"
#include "Cli/base/invariant.h"
#include "Cli/base/python.h"
#include "Cli/input/signal_jumps.h"
#include "editline/readline.h"

using lineedit::rl_done;
using lineedit::rl_end;
using lineedit::rl_line_buffer;
using lineedit::rl_point;

PyObject *completionCallback = Py_None;

// An exception that the callable raised, parked until readline raises it. Owned references. If the
// first is null there is none, and the other two mean nothing.
static PyObject *py_lhandler_ptype;
static PyObject *py_lhandler_pvalue;
static PyObject *py_lhandler_ptraceback;

// The completion in progress.
static struct {
  int key;
  PyObject *answer;
} completion;

static constexpr char backspace = 8;

// --- The exception -------------------------------------------------------------------------------

// Takes the current exception and ends the read, so that readline can raise it.
static void park_exception() {
  PyErr_Fetch(&py_lhandler_ptype, &py_lhandler_pvalue, &py_lhandler_ptraceback);
  rl_done = 1;
}

bool raise_parked_exception() {
  if (py_lhandler_ptype == nullptr) return false;
  PyErr_Restore(py_lhandler_ptype, py_lhandler_pvalue, py_lhandler_ptraceback);
  py_lhandler_ptype = nullptr;
  return true;
}

// --- The answer ----------------------------------------------------------------------------------

// Deletes up to `count` characters at the end of the line.
static void delete_at_end(int count) {
  const int deleted = count < rl_point ? count : rl_point;
  rl_point -= deleted;
  lineedit::rl_delete_text(rl_point, rl_point + deleted);
}

// Edits the end of the line: deletes a character for each leading backspace, then appends the rest
// of `text`.
static void apply_text(const char *text) {
  const char backspaces[] = {backspace, '\0'};
  const size_t count = strspn(text, backspaces);
  if (count > 0) delete_at_end(static_cast<int>(count));
  lineedit::rl_insert_text(text + count);
  rl_point = rl_end;
  lineedit::rl_forced_update_display();
}

static void apply_answer(PyObject *answer) {
  if (answer == nullptr) {
    park_exception();
    return;
  }
  if (answer == Py_None) {
    lineedit::rl_forced_update_display();
    return;
  }
  const char *text = PyString_AsString(answer);
  if (text == nullptr)
    park_exception();
  else
    apply_text(text);
}

// --- The call ------------------------------------------------------------------------------------

static void call_completer() {
  acquireGil();
  rl_point = rl_end;
  if (py_lhandler_ptype != nullptr)
    invariant_broken("py_lhandler_ptype == ((void *)0)", __LINE__, "complete_line");
  completion.answer = call_within_read(
      completionCallback, Py_BuildValue("(csi)", completion.key, rl_line_buffer, rl_point));
}

static void finish_completion() {
  apply_answer(completion.answer);
  Py_CLEAR(completion.answer);
  releaseGil();
}

// The callable runs under the shell's own handlers: a Ctrl-C becomes KeyboardInterrupt inside it.
static void run_completion(int key) {
  completion.key = key;
  bind_signals_to_shell();
  lineedit::run_callback(call_completer, finish_completion, true);
  // If an exception is parked, the read is about to end, and readline restores the handlers.
  if (py_lhandler_ptype == nullptr) bind_signals_to_module();
}

int complete_line(int, int key) {
  if (completionCallback != Py_None) run_completion(key);
  return 0;
}

// The line needs no NUL here: the layer publishes it NUL-terminated.
char **complete_line_wrapper(const char *, int, int) {
  if (completionCallback != Py_None) run_completion(lineedit::rl_completion_invoking_key);
  lineedit::rl_attempted_completion_over = 1;
  return nullptr;
}
