// The bulk-input guard: keeps the editor from drowning in a flood of input, such as a large paste.
// While it is armed, each line ends with a look at how much is waiting in the terminal's queue.
// From 2000 bytes on the following lines are read without editing, each character echoed here; at
// 1000 bytes or fewer editing is back. Nothing in the module arms it: that takes the wide setter.
//
// It stands in front of libedit's setters, getters and line reading, under their names.
#pragma once

#include <histedit.h>

#include <type_traits>

namespace lineedit {

// The operation that arms (int argument not 0) and disarms the guard. libedit has another operation
// of that number, so it never gets there.
constexpr int EL_TTY_OVERFLOW_FIX = 25;

// Whether the guard is armed. A new editor's is not; ended editors must be forgotten.
bool bulk_guard_is_armed(EditLine *editor);
void bulk_guard_set(EditLine *editor, bool armed);
void bulk_guard_forget();

// Where the editor gets its characters from, whether the guard stands in between or not.
el_rfunc_t bulk_guard_reader(EditLine *editor);
void bulk_guard_set_reader(EditLine *editor, el_rfunc_t reader);

// The guard's decision at the end of a line: whether editing is to be on for the next one, when
// `editing` tells whether it is on now. `fd` is the terminal; where it cannot be asked, nothing is
// taken to wait.
bool bulk_guard_check(int fd, bool editing);

// libedit's setters and getters; the arguments are as histedit.h says. The wide setter knows one
// operation more than libedit's, with an int argument and the result 0. The narrow one ends at
// operation 24 and the getters at 22: all answer -1 beyond, and change nothing.
template <typename... Arguments>
int el_wset(EditLine *editor, int operation, Arguments... arguments) {
  if constexpr (sizeof...(arguments) == 1 && (std::is_integral_v<Arguments> && ...)) {
    if (operation == EL_TTY_OVERFLOW_FIX) {
      bulk_guard_set(editor, ((arguments != 0) && ...));
      return 0;
    }
  }
  return operation < EL_TTY_OVERFLOW_FIX ? ::el_wset(editor, operation, arguments...) : -1;
}

template <typename... Arguments>
int el_set(EditLine *editor, int operation, Arguments... arguments) {
  return operation <= EL_ALIAS_TEXT ? ::el_set(editor, operation, arguments...) : -1;
}

template <typename... Arguments>
int el_wget(EditLine *editor, int operation, Arguments... arguments) {
  return operation <= EL_RPROMPT_ESC ? ::el_wget(editor, operation, arguments...) : -1;
}

template <typename... Arguments>
int el_get(EditLine *editor, int operation, Arguments... arguments) {
  return operation <= EL_RPROMPT_ESC ? ::el_get(editor, operation, arguments...) : -1;
}

// EL_GETCFN, which an armed guard has to itself.
inline int el_set(EditLine *editor, int operation, el_rfunc_t reader) {
  if (operation != EL_GETCFN) return -1;
  bulk_guard_set_reader(editor, reader);
  return 0;
}

inline int el_get(EditLine *editor, int operation, el_rfunc_t *reader) {
  if (operation != EL_GETCFN) return -1;
  *reader = bulk_guard_reader(editor);
  return 0;
}

// Reads a line, as libedit's el_wgets: the editor's own buffer, or null with `*count` 0 at the end
// of input and -1 after an error. The terminal is switched to raw mode first, before the prompt is
// shown. Where that fails, nothing waits to be read and the terminal was not raw: null, with
// `*count` and errno 0. Where it fails otherwise, "Could not set rawmode.\n" goes to the editor's
// error stream, and the line is read without editing. Without a terminal, and while editing is off
// and the guard is not armed, nothing is switched.
const wchar_t *el_wgets(EditLine *editor, int *count);

// Arms (on != 0) or disarms the guard. Code that must not know which engine it runs on calls this;
// it reaches the narrow setter, which refuses the operation, so it changes nothing. That is how
// the system is meant to start: the guard is off until el_wset arms it. The layer must be
// initialised. Does nothing while editing is off.
void rl_tty_overflow_fix(int on);

}  // namespace lineedit
