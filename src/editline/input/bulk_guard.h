// The bulk-input guard protects the editor from a flood of input, such as a large paste. While it
// is armed, it checks at the end of each line how many bytes wait in the terminal's queue. At 2000
// or more, the following lines are read without editing and each character is echoed here; at 1000
// or fewer, editing resumes. Nothing in the module arms the guard: only the wide setter does.
#pragma once

#include <histedit.h>

#include <type_traits>

namespace lineedit {

// The operation that arms (int argument not 0) or disarms the guard. libedit has another operation
// of that number, so this one is never passed on.
constexpr int EL_TTY_OVERFLOW_FIX = 25;

// For a new editor the guard is not armed.
bool bulk_guard_is_armed(EditLine *el);
void bulk_guard_set(EditLine *el, bool armed);

// The editor's character reader, without the guard's own; null is libedit's built-in one.
el_rfunc_t bulk_guard_reader(EditLine *el);
// Returns 0, or -1 if there is no editor.
int bulk_guard_set_reader(EditLine *el, el_rfunc_t reader);

// The guard's decision at the end of a line: whether to edit the next one. `editing` is whether
// editing is on now. `fd` is the terminal; if its queue cannot be read, it counts as empty.
bool bulk_guard_check(int fd, bool editing);

// How a line is read: with editing (edited); without it, in bulk mode or because editing was off
// already (plain); or without it because the terminal could not be made raw (failed). The guard
// does nothing in a failed line.
enum class LineMode { edited, plain, failed };
// Bracket the reading of a line.
void bulk_guard_begin_line(LineMode mode);
void bulk_guard_end_line(EditLine *el);

// Does the work of rl_tty_overflow_fix.
void bulk_guard_request(int on);

// libedit's setters and getters, with the range of operations that this system has; the arguments
// are those of histedit.h. The wide setter has one operation more than libedit's, with an int
// argument and the result 0, or -1 without an editor. The narrow one ends at operation 24 and the
// getters at 22. Beyond that, all return -1 and change nothing.
namespace engine {

// EL_GETCFN: in libedit, an armed guard has its own reader there. A null pointer or a 0, as NULL
// may be, stands for libedit's built-in reader; anything else that is no reader is refused.
template <typename... Arguments>
int set_reader(EditLine *el, [[maybe_unused]] Arguments... arguments) {
  if constexpr (sizeof...(arguments) == 1 && (std::is_convertible_v<Arguments, el_rfunc_t> && ...))
    return bulk_guard_set_reader(el, arguments...);
  if constexpr (sizeof...(arguments) == 1 && (std::is_integral_v<Arguments> && ...))
    return ((arguments == 0) && ...) ? bulk_guard_set_reader(el, nullptr) : -1;
  return -1;
}

template <typename... Arguments>
int el_wset(EditLine *el, int operation, Arguments... arguments) {
  if (el == nullptr) return -1;
  if (operation == EL_GETCFN) return set_reader(el, arguments...);
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
  if (operation == EL_GETCFN) return set_reader(el, arguments...);
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

// A reader is for EL_GETCFN only.
inline int el_set(EditLine *el, int operation, el_rfunc_t reader) {
  return operation == EL_GETCFN ? bulk_guard_set_reader(el, reader) : -1;
}

inline int el_wset(EditLine *el, int operation, el_rfunc_t reader) {
  return engine::el_set(el, operation, reader);
}

inline int el_get(EditLine *el, int operation, el_rfunc_t *reader) {
  if (operation != EL_GETCFN) return -1;
  if (el == nullptr) return -1;
  *reader = bulk_guard_reader(el);
  return 0;
}

inline int el_wget(EditLine *el, int operation, el_rfunc_t *reader) {
  return engine::el_get(el, operation, reader);
}

}  // namespace engine

}  // namespace lineedit
