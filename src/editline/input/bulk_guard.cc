// The bulk-input guard, over libedit's public interface: the marks, the reader that echoes in bulk
// mode, and the line reading that switches the terminal and the mode.
//
// libedit (3.1-20221030) leaves the terminal in the mode that it has while its editing is off. That
// is what keeps it raw from one line of a flood to the next; but it takes that editing goes off
// before libedit ends the edited line, where it would give the terminal back. So the check of such
// a line is made when the key that ends it is read, and taken back should the line go on.
#include "editline/input/bulk_guard.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "editline/base/editor.h"

namespace lineedit {

// Editing goes off when more bytes than the one are waiting, and back on when fewer than the other.
static constexpr int high_water_mark = 1999;
static constexpr int low_water_mark = 1001;

static struct {
  // The editor whose guard is armed, or null; the process has one editor.
  EditLine *armed_for;
  // Where the editor got its characters from before it was armed.
  el_rfunc_t reader;
  // In the line being read:
  bool reading_plainly;  // editing was off from its beginning
  bool checked;          // the check was made when the latest key was read
  bool went_off_at_key;  // and switched editing off
  // In a line whose terminal could not be made raw, and which is therefore read without editing.
  bool terminal_failed;
  bool edits_otherwise;  // what editing goes back to after it
} guard;

// --- Setting it ----------------------------------------------------------------------------------

static int input_of(EditLine *editor) {
  FILE *in = nullptr;
  el_get(editor, EL_GETFP, 0, &in);
  return fileno(in);
}

bool bulk_guard_is_armed(EditLine *editor) {
  return guard.armed_for == editor && editor != nullptr;
}

void bulk_guard_forget() { guard = {}; }

void rl_tty_overflow_fix(int on) {
  if (editing_is_on()) el_set(layer.editor, EL_TTY_OVERFLOW_FIX, on);
}

// --- The check -----------------------------------------------------------------------------------

bool bulk_guard_check(int fd, bool editing) {
  int waiting = 0;
  ioctl(fd, FIONREAD, &waiting);
  return editing ? waiting <= high_water_mark : waiting < low_water_mark;
}

static bool ends_line(wchar_t character) { return character == L'\n' || character == L'\r'; }

static void check_at_key(EditLine *editor) {
  guard.checked = true;
  guard.went_off_at_key = !bulk_guard_check(input_of(editor), true);
  if (guard.went_off_at_key) set_editing(false);
}

// The line has not ended with the key after which it was checked.
static void take_check_back() {
  if (guard.went_off_at_key) set_editing(true);
  guard.checked = guard.went_off_at_key = false;
}

// The low-order byte is all that is written of a character, to where it came from: the terminal is
// raw and shows bytes as they are.
static void echo(EditLine *editor, wchar_t character) {
  const char byte = static_cast<char>(character);
  [[maybe_unused]] const ssize_t written = write(input_of(editor), &byte, 1);
}

// The character reader of an armed editor.
static int read_guarded(EditLine *editor, wchar_t *character) {
  if (guard.checked) take_check_back();
  const int got = guard.reader(editor, character);
  if (got != 1 || guard.terminal_failed) return got;
  if (guard.reading_plainly)
    echo(editor, *character);
  else if (ends_line(*character))
    check_at_key(editor);
  return got;
}

el_rfunc_t bulk_guard_reader(EditLine *editor) {
  el_rfunc_t reader = guard.reader;
  if (!bulk_guard_is_armed(editor)) ::el_get(editor, EL_GETCFN, &reader);
  return reader;
}

void bulk_guard_set_reader(EditLine *editor, el_rfunc_t reader) {
  if (bulk_guard_is_armed(editor))
    guard.reader = reader;
  else
    ::el_set(editor, EL_GETCFN, reader);
}

void bulk_guard_set(EditLine *editor, bool armed) {
  if (armed == bulk_guard_is_armed(editor)) return;
  const el_rfunc_t reader = bulk_guard_reader(editor);
  guard.reader = reader;
  guard.armed_for = armed ? editor : nullptr;
  ::el_set(editor, EL_GETCFN, armed ? read_guarded : reader);
}

// --- Reading a line ------------------------------------------------------------------------------

static bool nothing_waits(EditLine *editor) {
  int waiting = 0;
  ioctl(input_of(editor), FIONREAD, &waiting);
  return waiting == 0;
}

// libedit edits on a raw terminal only, and takes any other for one that is at its end.
static void begin_failed_line() {
  guard.terminal_failed = true;
  guard.edits_otherwise = editing_is_on();
  set_editing(false);
}

// Also of one that a signal handler has jumped out of.
static void end_failed_line() {
  if (guard.terminal_failed) set_editing(guard.edits_otherwise);
  guard.terminal_failed = false;
}

static void tell_of_failure(EditLine *editor) {
  FILE *errors = nullptr;
  el_get(editor, EL_GETFP, 2, &errors);
  fputs("Could not set rawmode.\n", errors);
  fflush(errors);
}

// libedit shows the prompt before it makes the terminal raw; keys that arrive in between would go
// through the driver's line editing and change the line. Returns whether a line is to be read.
static bool switch_to_raw_mode(EditLine *editor) {
  end_failed_line();
  const bool cooked = layer.has_terminal && !layer.terminal_is_raw;
  if (make_terminal_raw()) return true;
  // Asked only now, since on a cooked terminal the kernel counts byte by byte.
  if (cooked && nothing_waits(editor)) return false;
  tell_of_failure(editor);
  begin_failed_line();
  return true;
}

// At the end of a line that was not checked at its last key. Bulk mode wants the terminal raw, and
// libedit has given it back at the end of an edited line.
static void check_after_line(EditLine *editor) {
  const bool editing = bulk_guard_check(input_of(editor), editing_is_on());
  set_editing(editing);
  if (!editing) make_terminal_raw();
}

static bool returns_single_characters(EditLine *editor) {
  int unbuffered = 0;
  el_get(editor, EL_UNBUFFERED, &unbuffered);
  return unbuffered != 0;
}

// libedit's own reading, and what it leaves the terminal in.
static const wchar_t *read_in_mode(EditLine *editor, int *count) {
  guard.reading_plainly = !layer.has_terminal || !editing_is_on();
  guard.checked = guard.went_off_at_key = false;
  const wchar_t *line = ::el_wgets(editor, count);
  if (!guard.reading_plainly && editing_is_on() && !returns_single_characters(editor))
    layer.terminal_is_raw = false;
  return line;
}

const wchar_t *el_wgets(EditLine *editor, int *count) {
  int nobody_asks = 0;
  if (count == nullptr) count = &nobody_asks;
  *count = 0;
  if (!switch_to_raw_mode(editor)) {
    errno = 0;
    return nullptr;
  }
  const wchar_t *line = read_in_mode(editor, count);
  const int error = errno;
  end_failed_line();
  if (bulk_guard_is_armed(editor) && !guard.checked) check_after_line(editor);
  errno = error;
  return line;
}

}  // namespace lineedit
