// The bulk-input guard: keeps the editor from drowning in a flood of input, such as a large paste.
// While it is armed, each line ends with a look at how much is waiting in the terminal's queue.
// From 2000 bytes on the following lines are read without editing, each character echoed here; at
// 1000 bytes or fewer editing is back. Nothing in the module arms it: that takes the wide setter.
#pragma once

#include <histedit.h>

#include <type_traits>

namespace lineedit {

// The operation that arms (int argument not 0) and disarms the guard. libedit has another operation
// of that number, so it never gets there.
constexpr int EL_TTY_OVERFLOW_FIX = 25;

// Whether the guard is armed for this editor. A new editor's is not.
bool bulk_guard_is_armed(EditLine *el);
void bulk_guard_set(EditLine *el, bool armed);

// Where the editor gets its characters from, whether the guard stands in between or not.
el_rfunc_t bulk_guard_reader(EditLine *el);
void bulk_guard_set_reader(EditLine *el, el_rfunc_t reader);

// The guard's decision at the end of a line: whether editing is to be on for the next one, when
// `editing` tells whether it is on now. `fd` is the terminal; where it cannot be asked, nothing is
// taken to wait.
bool bulk_guard_check(int fd, bool editing);

// How a line is read: edited, without editing in bulk mode or where editing was off already, or
// without editing for lack of a raw terminal, where the guard stays out of it.
enum class LineMode { edited, plain, failed };
// Around the reading of a line.
void bulk_guard_begin_line(LineMode mode);
void bulk_guard_end_line(EditLine *el);

// The guard's half of rl_tty_overflow_fix.
void bulk_guard_request(int on);

// libedit's setters and getters as this system has them; the arguments are as histedit.h says. The
// wide setter knows one operation more than libedit's, with an int argument and the result 0. The
// narrow one ends at operation 24 and the getters at 22: all answer -1 beyond, and change nothing.
namespace engine {

template <typename... Arguments>
int el_wset(EditLine *el, int operation, Arguments... arguments) {
  if constexpr (sizeof...(arguments) == 1 && (std::is_integral_v<Arguments> && ...)) {
    if (operation == EL_TTY_OVERFLOW_FIX) {
      bulk_guard_set(el, ((arguments != 0) && ...));
      return 0;
    }
  }
  return operation < EL_TTY_OVERFLOW_FIX ? ::el_wset(el, operation, arguments...) : -1;
}

template <typename... Arguments>
int el_set(EditLine *el, int operation, Arguments... arguments) {
  return operation <= EL_ALIAS_TEXT ? ::el_set(el, operation, arguments...) : -1;
}

template <typename... Arguments>
int el_wget(EditLine *el, int operation, Arguments... arguments) {
  return operation <= EL_RPROMPT_ESC ? ::el_wget(el, operation, arguments...) : -1;
}

template <typename... Arguments>
int el_get(EditLine *el, int operation, Arguments... arguments) {
  return operation <= EL_RPROMPT_ESC ? ::el_get(el, operation, arguments...) : -1;
}

// EL_GETCFN, which an armed guard has to itself.
inline int el_set(EditLine *el, int operation, el_rfunc_t reader) {
  if (operation != EL_GETCFN) return -1;
  bulk_guard_set_reader(el, reader);
  return 0;
}

inline int el_get(EditLine *el, int operation, el_rfunc_t *reader) {
  if (operation != EL_GETCFN) return -1;
  *reader = bulk_guard_reader(el);
  return 0;
}

}  // namespace engine

}  // namespace lineedit
