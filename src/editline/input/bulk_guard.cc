// The bulk-input guard on libedit's public interface: the high- and low-water marks, and the reader
// that echoes in bulk mode.
//
// libedit 3.1-20221030 does not change the terminal's mode while its editing is off. That keeps the
// terminal raw from one line of a flood to the next. But editing must be turned off before libedit
// ends the edited line, when it would restore the terminal. So an edited line is checked when the
// key that ends it is read, and the check is undone if the line goes on.
#include "editline/input/bulk_guard.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

#include "editline/base/editor.h"
#include "editline/base/terminal.h"

namespace lineedit {

// Editing is turned off when more bytes than the first are waiting, and on again when fewer than
// the second are.
static constexpr int high_water_mark = 1999;
static constexpr int low_water_mark = 1001;

static struct {
  // The editor's own reader, while the guard is armed.
  el_rfunc_t reader;
  // In the line being read:
  LineMode mode;
  bool checked;          // the check was made when the latest key was read
  bool went_off_at_key;  // and switched editing off
} guard;

// --- The check -----------------------------------------------------------------------------------

static int input_of(EditLine *el) {
  FILE *in = nullptr;
  el_get(el, EL_GETFP, 0, &in);
  return fileno(in);
}

bool bulk_guard_check(int fd, bool editing) {
  int bytes = 0;
  ioctl(fd, FIONREAD, &bytes);
  return editing ? bytes <= high_water_mark : bytes < low_water_mark;
}

static bool ends_line(wchar_t character) { return character == L'\n' || character == L'\r'; }

static void check_at_key(EditLine *el) {
  guard.checked = true;
  guard.went_off_at_key = !bulk_guard_check(input_of(el), true);
  if (guard.went_off_at_key) set_editing(false);
}

// The key at which the line was checked did not end it.
static void undo_check() {
  if (guard.went_off_at_key) set_editing(true);
  guard.checked = guard.went_off_at_key = false;
}

// For a line that was not checked at its last key. Bulk mode needs a raw terminal, and libedit has
// restored it at the end of an edited line.
static void check_after_line(EditLine *el) {
  const bool editing = bulk_guard_check(input_of(el), editing_is_on());
  set_editing(editing);
  if (!editing) make_terminal_raw();
}

void bulk_guard_begin_line(LineMode mode) {
  guard.mode = mode;
  guard.checked = guard.went_off_at_key = false;
}

void bulk_guard_end_line(EditLine *el) {
  if (bulk_guard_is_armed(el) && !guard.checked) check_after_line(el);
}

// --- The reader ----------------------------------------------------------------------------------

// Writes only the low-order byte of the character, to the terminal that it came from, which is raw
// and shows bytes as they are.
static void echo(EditLine *el, wchar_t character) {
  const char byte = static_cast<char>(character);
  [[maybe_unused]] const ssize_t written = write(input_of(el), &byte, 1);
}

static int read_guarded(EditLine *el, wchar_t *character);

// libedit has no call for its built-in reader alone, which is set for the time of the read.
static int read_built_in(EditLine *el, wchar_t *character) {
  el_set(el, EL_GETCFN, EL_BUILTIN_GETCFN);
  const int got = el_wgetc(el, character);
  el_set(el, EL_GETCFN, read_guarded);
  return got;
}

// The character reader of an armed editor.
static int read_guarded(EditLine *el, wchar_t *character) {
  if (guard.checked) undo_check();
  const int got =
      guard.reader != nullptr ? guard.reader(el, character) : read_built_in(el, character);
  if (got != 1 || guard.mode == LineMode::failed) return got;
  if (guard.mode == LineMode::plain)
    echo(el, *character);
  else if (ends_line(*character))
    check_at_key(el);
  return got;
}

// --- Setting it ----------------------------------------------------------------------------------

bool bulk_guard_is_armed(EditLine *el) { return editor.tty_overflow_fix && el == editor.el; }

el_rfunc_t bulk_guard_reader(EditLine *el) {
  el_rfunc_t reader = guard.reader;
  if (!bulk_guard_is_armed(el)) el_get(el, EL_GETCFN, &reader);
  return reader;
}

int bulk_guard_set_reader(EditLine *el, el_rfunc_t reader) {
  if (!bulk_guard_is_armed(el)) return el_set(el, EL_GETCFN, reader);
  guard.reader = reader;
  return 0;
}

void bulk_guard_set(EditLine *el, bool armed) {
  if (el == nullptr || el != editor.el || armed == bulk_guard_is_armed(el)) return;
  const el_rfunc_t reader = bulk_guard_reader(el);
  guard.reader = reader;
  editor.tty_overflow_fix = armed;
  el_set(el, EL_GETCFN, armed ? read_guarded : reader);
}

void bulk_guard_request(int on) {
  if (editing_is_on()) engine::el_set(editor.el, EL_TTY_OVERFLOW_FIX, on);
}

}  // namespace lineedit
