// The search through history that follows the typing: Ctrl-R, and what is typed after it.
//
// libedit 3.1-20221030 has one, with faults that reach the user. Ctrl-W as its first key reads
// before the line's buffer, and a long pattern below a long line is written beyond its end. A
// pattern stays for the next search, which goes on where it ended. Each key walks through history
// from its newest line on. It calls itself for each key, too, so that a long search uses up the
// stack.
//
// While a search is on, the editor's line is the line found with the pattern in a row below it, and
// every key comes to one command.
#include "editline/commands/history_search.h"

#include <sys/ioctl.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <iterator>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/variables.h"
#include "editline/commands/history_place.h"
#include "editline/commands/history_walk.h"
#include "editline/input/keys.h"
#include "editline/screen/display.h"

namespace lineedit {

// What a search has come to; Backspace goes back to the one before.
struct SearchState {
  // The place in history, and where in its line the pattern begins.
  int back;
  size_t cursor;
  // How much of the pattern there is.
  size_t length;
  bool older;
  // The pattern was not found from here on.
  bool failed;
};

static struct {
  bool on;
  // The line in which the search began, with its place and cursor: Ctrl-G goes back to it.
  LineText origin;
  int origin_back;
  size_t origin_cursor;
  // The line that is shown.
  LineText line;
  // The pattern, as characters and as bytes.
  wchar_t pattern[256];
  char pattern_bytes[256 * 16];
  // The states so far, the present one last.
  SearchState states[1024];
  int count;
  // The pattern of the search before, for a search that repeats it.
  wchar_t latest[256];
} search;

static SearchState *current() { return &search.states[search.count - 1]; }

static void take_search_off_screen();

void reset_search() {
  search.on = false;
  editor.leave_command = nullptr;
}

void wipe_search() {
  wipe_text(&search.origin);
  wipe_text(&search.line);
  search = {};
}

// --- The line and the pattern --------------------------------------------------------------------

static void read_line_searched(LineText *line) {
  if (lines_back() == search.origin_back)
    set_text(line, search.origin.characters, search.origin.length);
  else
    read_line_at_place(line);
}

static bool pattern_is_at(size_t position) {
  return position + current()->length <= search.line.length &&
         wmemcmp(search.line.characters + position, search.pattern, current()->length) == 0;
}

// The nearest place of the pattern in the line from `from` on. Returns whether there is one.
static bool find_in_line(long from, size_t *found) {
  const long step = current()->older ? -1 : 1;
  for (long at = from; at >= 0 && at <= static_cast<long>(search.line.length); at += step) {
    if (!pattern_is_at(static_cast<size_t>(at))) continue;
    *found = static_cast<size_t>(at);
    return true;
  }
  return false;
}

// Takes over the line at the place where it has the pattern in it. One that equals the line shown
// is no step on.
static bool take_line_at_place() {
  static LineText line;
  const char *stored = stored_line_at_place();
  if (lines_back() != search.origin_back && stored != nullptr &&
      strstr(stored, search.pattern_bytes) == nullptr)
    return false;
  read_line_searched(&line);
  if (wcsstr(line.characters, search.pattern) == nullptr || same_text(&line, &search.line))
    return false;
  set_text(&search.line, line.characters, line.length);
  return true;
}

static long far_end() { return current()->older ? static_cast<long>(search.line.length) : 0; }

// Looks for the pattern from the place `from` in the line shown on, and then in the next lines.
static bool find(long from) {
  const int start = lines_back();
  bool found = find_in_line(from, &current()->cursor);
  while (!found && step_in_history(current()->older)) {
    if (!take_line_at_place()) continue;
    found = true;
    if (!find_in_line(far_end(), &current()->cursor)) current()->cursor = 0;
  }
  if (!found) return_in_history(start);
  current()->back = lines_back();
  return found;
}

// --- The screen ----------------------------------------------------------------------------------

// The line with the search below it, in the editor.
static void show_search() {
  static LineText shown;
  const SearchState *state = current();
  set_text(&shown, search.line.characters, search.line.length);
  append_text(&shown, state->older ? L"\nbck" : L"\nfwd", 4);
  append_text(&shown, state->failed ? L"?" : L":", 1);
  append_text(&shown, search.pattern, state->length);
  set_edited_line(&shown, state->cursor);
}

static unsigned char show_result(bool found) {
  current()->failed = !found;
  show_search();
  return found ? CC_REFRESH : CC_REFRESH_BEEP;
}

// --- Beginning and ending ------------------------------------------------------------------------

static unsigned char begin_search(bool older) {
  take_edited_line(&search.origin, &search.origin_cursor);
  set_text(&search.line, search.origin.characters, search.origin.length);
  keep_typed_line();
  end_text_search();
  search.origin_back = lines_back();
  search.states[0] = {search.origin_back, search.origin_cursor, 0, older, false};
  search.count = 1;
  search.pattern[0] = L'\0';
  search.pattern_bytes[0] = '\0';
  search.on = true;
  editor.leave_command = take_search_off_screen;
  capture_keys(true);
  show_search();
  return CC_REFRESH;
}

static void leave_search() {
  if (current()->length > 0) wcscpy(search.latest, search.pattern);
  reset_search();
  capture_keys(false);
}

// The editor's line is the line found.
static unsigned char end_search() {
  leave_search();
  set_edited_line(&search.line, current()->cursor);
  return CC_REFRESH;
}

static unsigned char abort_search() {
  return_in_history(search.origin_back);
  set_text(&search.line, search.origin.characters, search.origin.length);
  current()->cursor = search.origin_cursor;
  end_search();
  return CC_REFRESH_BEEP;
}

static void take_search_off_screen() {
  leave_search();
  set_line_in_wait(&search.line, current()->cursor);
  redraw_in_place();
}

// --- The keys of a search ------------------------------------------------------------------------

// Returns false where there is no room for one more.
static bool add_state() {
  if (search.count == static_cast<int>(std::size(search.states))) return false;
  search.states[search.count] = *current();
  ++search.count;
  return true;
}

static bool extend_pattern(wchar_t character) {
  if (current()->length + 1 >= std::size(search.pattern)) return false;
  search.pattern[current()->length++] = character;
  search.pattern[current()->length] = L'\0';
  encode_line(search.pattern_bytes, search.pattern, current()->length);
  return true;
}

static unsigned char search_for_more(wchar_t character) {
  if (!add_state()) return CC_ERROR;
  if (!extend_pattern(character)) {
    --search.count;
    return CC_ERROR;
  }
  return show_result(find(static_cast<long>(current()->cursor)));
}

// libedit's words.
static bool is_in_word(wchar_t character) {
  return iswalnum(static_cast<wint_t>(character)) != 0 ||
         wcschr(L"*?_-.[]~=", character) != nullptr;
}

static unsigned char search_for_next_word() {
  if (current()->failed || !add_state()) return CC_ERROR;
  const wchar_t *at = search.line.characters + current()->cursor + current()->length;
  const wchar_t *const end = search.line.characters + search.line.length;
  bool extended = true;
  while (extended && at < end && !is_in_word(*at)) extended = extend_pattern(*at++);
  while (extended && at < end && is_in_word(*at)) extended = extend_pattern(*at++);
  return show_result(true);
}

static bool take_latest_pattern() {
  for (const wchar_t *character = search.latest; *character != L'\0'; ++character)
    extend_pattern(*character);
  return current()->length > 0;
}

// Once more from the far end of history on.
static bool find_from_far_end() {
  const int start = lines_back();
  if (current()->older)
    return_in_history(0);
  else
    while (step_in_history(true)) continue;
  read_line_searched(&search.line);
  if (find(far_end())) return true;
  return_in_history(start);
  read_line_searched(&search.line);
  current()->back = start;
  return false;
}

static unsigned char search_on(bool older) {
  if (!add_state()) return CC_ERROR;
  const bool turned = current()->older != older;
  current()->older = older;
  long from = static_cast<long>(current()->cursor);
  if (current()->length == 0) {
    if (!take_latest_pattern()) return show_result(true);
  } else if (!turned) {
    from += older ? -1 : 1;
  }
  return show_result(current()->failed && !turned ? find_from_far_end() : find(from));
}

static unsigned char search_for_less() {
  if (search.count == 1) return CC_ERROR;
  --search.count;
  search.pattern[current()->length] = L'\0';
  encode_line(search.pattern_bytes, search.pattern, current()->length);
  return_in_history(current()->back);
  read_line_searched(&search.line);
  show_search();
  return CC_REFRESH;
}

static bool more_has_been_typed() {
  int waiting = 0;
  return ioctl(fileno(rl_instream), FIONREAD, &waiting) == 0 && waiting > 0;
}

// An Escape ends the search, and what follows it is text. But for an arrow key or its like, which
// ends the search as any other key does.
static unsigned char end_search_at_escape(EditLine *el) {
  capture_keys(false);
  wchar_t next;
  if (more_has_been_typed() && el_wgetc(el, &next) == 1) {
    if (next == L'[' || next == L'O') put_back_key(L'\033');
    put_back_key(next);
  }
  return end_search();
}

static unsigned char end_search_with(wchar_t key) {
  put_back_key(key);
  return end_search();
}

// Printable ASCII characters that run a command.
static bool runs_command[128];

void note_key_inserts(int key, bool inserts) {
  if (key > ' ' && key < 0x7f) runs_command[key] = !inserts;
}

static bool is_part_of_pattern(wchar_t key) {
  if (static_cast<int>(key) < 0 || iswprint(static_cast<wint_t>(key)) == 0) return false;
  return key >= static_cast<wchar_t>(std::size(runs_command)) || !runs_command[key];
}

unsigned char take_search_key(EditLine *el, wint_t) {
  const wchar_t key = captured_key();
  if (!search.on) return CC_ERROR;
  switch (key) {
    case L'\022':  // ^R
      return search_on(true);
    case L'\023':  // ^S
      return search_on(false);
    case L'\027':  // ^W
      return search_for_next_word();
    case L'\b':
    case L'\177':
      return search_for_less();
    case L'\a':
      return abort_search();
    case L'\033':
      return end_search_at_escape(el);
    default:
      return is_part_of_pattern(key) ? search_for_more(key) : end_search_with(key);
  }
}

unsigned char search_older(EditLine *, wint_t) { return begin_search(true); }
unsigned char search_newer(EditLine *, wint_t) { return begin_search(false); }

}  // namespace lineedit
