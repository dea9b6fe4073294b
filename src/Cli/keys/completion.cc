// Completion: hands the line to the Python callable, edits it by the answer, and parks an exception
// for readline to raise.
#include "Cli/keys/completion.h"

#include <cstring>

#include "Cli/base/frame.h"
#include "Cli/base/invariant.h"
#include "Cli/calls/line_reading.h"
#include "editline/input/signals.h"
#include "editline/readline.h"

using lineedit::rl_done;
using lineedit::rl_end;
using lineedit::rl_line_buffer;
using lineedit::rl_point;

static constexpr char backspace = 8;

// Takes the exception that stands and ends the read, so that readline can raise it.
static void park_exception() {
  PyErr_Fetch(&py_lhandler_ptype, &py_lhandler_pvalue, &py_lhandler_ptraceback);
  rl_done = 1;
}

// Deletes up to `count` characters at the end of the line.
static void delete_at_end(int count) {
  const int deleted = count < rl_point ? count : rl_point;
  rl_point -= deleted;
  lineedit::rl_delete_text(rl_point, rl_point + deleted);
}

// Edits the end of the line: one character less for each leading backspace, then the rest of
// `text`.
static void apply_text(const char *text) {
  const char backspaces[] = {backspace, '\0'};
  const size_t count = strspn(text, backspaces);
  if (count > 0) delete_at_end(static_cast<int>(count));
  lineedit::rl_insert_text(text + count);
  rl_point = rl_end;
  lineedit::rl_forced_update_display();
}

static void apply_answer(PyObject *answer) {
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

// The callable runs with signals let in: a Ctrl-C becomes KeyboardInterrupt inside it.
static PyObject *call_completer(int key) {
  lineedit::rl_open_signals();
  PyObject *answer = PyObject_CallFunction(completionCallback, const_cast<char *>("csi"), key,
                                           rl_line_buffer, rl_point);
  lineedit::rl_close_signals();
  return answer;
}

static void run_completion(int key) {
  bind_signals_to_shell();
  lineedit::rl_lend_signals();
  acquireGil();
  rl_point = rl_end;
  if (py_lhandler_ptype != nullptr)
    invariant_broken("py_lhandler_ptype == ((void *)0)", __LINE__, "complete_line");
  lineedit::rl_begin_output();
  PyObject *answer = call_completer(key);
  lineedit::rl_take_back_signals();
  if (answer == nullptr)
    park_exception();
  else
    apply_answer(answer);
  lineedit::rl_end_output();
  Py_XDECREF(answer);
  releaseGil();
  // With an exception parked the read is about to end, and readline puts the handlers right.
  if (py_lhandler_ptype == nullptr) bind_signals_to_module();
}

int complete_line(int, int key) {
  if (completionCallback != Py_None) run_completion(key);
  return 0;
}

// The line needs no terminating here: the layer publishes it terminated, at its length in bytes.
char **complete_line_wrapper(const char *, int, int) {
  if (completionCallback != Py_None) run_completion(lineedit::rl_completion_invoking_key);
  lineedit::rl_attempted_completion_over = 1;
  return nullptr;
}
