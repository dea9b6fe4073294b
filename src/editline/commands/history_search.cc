// The search through history that follows the typing: Ctrl-R, and what is typed after it.
//
// libedit 3.1-20221030 has one, with faults that reach the user. Ctrl-W as its first key reads
// before the line's buffer, and a long pattern below a long line is written beyond its end. A
// pattern stays for the next search, which goes on where it ended. Each key walks through history
// from its newest line on. It calls itself for each key, too, so that a long search uses up the
// stack.
//
// A search is one command that reads its keys until one ends it. Meanwhile the editor's line is the
// line found, with the pattern in a row below it.
#include "editline/commands/history_search.h"

#include <sys/ioctl.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <initializer_list>
#include <iterator>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/variables.h"
#include "editline/commands/history_place.h"
#include "editline/commands/history_walk.h"
#include "editline/screen/display.h"
#include "editline/screen/rows.h"

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
  // A search is in progress.
  bool on;
  // The line in which the search began, with its place and cursor: Ctrl-G goes back to it.
  LineText origin;
  int origin_back;
  size_t origin_cursor;
  // The line found, and that line with the pattern's row as the editor has it.
  LineText line;
  LineText shown;
  // The line at the place in history, while it is looked at.
  LineText candidate;
  // The pattern, as characters and as bytes.
  wchar_t pattern[256];
  char pattern_bytes[256 * 16];
  // The states so far, the present one last.
  SearchState states[1024];
  int count;
  // The pattern of the search before, for a search that repeats it.
  wchar_t latest[256];
} search;

// Printable ASCII characters that run a command, by what the application has bound: no user's text.
static struct { bool runs_command[128]; } bound;

static SearchState *current() { return &search.states[search.count - 1]; }

void reset_search() {
  search.on = false;
  editor.leave_command = nullptr;
}

void wipe_search() {
  for (LineText *text : {&search.origin, &search.line, &search.shown, &search.candidate})
    wipe_text(text);
  explicit_bzero(&search, sizeof search);
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
  const char *stored = stored_line_at_place();
  if (lines_back() != search.origin_back && stored != nullptr &&
      strstr(stored, search.pattern_bytes) == nullptr)
    return false;
  read_line_searched(&search.candidate);
  if (wcsstr(search.candidate.characters, search.pattern) == nullptr ||
      same_text(&search.candidate, &search.line))
    return false;
  set_text(&search.line, search.candidate.characters, search.candidate.length);
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

static void draw_in_place(const LineText *line) {
  move_to_prompt();
  set_edited_line(line, current()->cursor);
  fit_screen_to_line();
  redraw_line();
}

// The line found with the pattern's row below it.
static void show_search() {
  const SearchState *state = current();
  set_text(&search.shown, search.line.characters, search.line.length);
  append_text(&search.shown, state->older ? L"\nbck" : L"\nfwd", 4);
  append_text(&search.shown, state->failed ? L"?" : L":", 1);
  append_text(&search.shown, search.pattern, state->length);
  draw_in_place(&search.shown);
}

// --- Beginning and ending ------------------------------------------------------------------------

static void leave_search() {
  if (current()->length > 0) wcscpy(search.latest, search.pattern);
  reset_search();
}

// For a signal that is acted on: leaves the line found on the screen, without the pattern.
static void take_search_off_screen() {
  leave_search();
  draw_in_place(&search.line);
}

static void begin_search(bool older) {
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

static bool note_result(bool found) {
  current()->failed = !found;
  return found;
}

static bool search_for_more(wchar_t character) {
  if (!add_state()) return false;
  if (!extend_pattern(character)) {
    --search.count;
    return false;
  }
  return note_result(find(static_cast<long>(current()->cursor)));
}

// libedit's words.
static bool is_in_word(wchar_t character) {
  return iswalnum(static_cast<wint_t>(character)) != 0 ||
         wcschr(L"*?_-.[]~=", character) != nullptr;
}

static bool search_for_next_word() {
  if (current()->failed || !add_state()) return false;
  const wchar_t *at = search.line.characters + current()->cursor + current()->length;
  const wchar_t *const end = search.line.characters + search.line.length;
  bool extended = true;
  while (extended && at < end && !is_in_word(*at)) extended = extend_pattern(*at++);
  while (extended && at < end && is_in_word(*at)) extended = extend_pattern(*at++);
  return note_result(true);
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

static bool search_on(bool older) {
  if (!add_state()) return false;
  const bool turned = current()->older != older;
  current()->older = older;
  long from = static_cast<long>(current()->cursor);
  if (current()->length == 0) {
    if (!take_latest_pattern()) return note_result(true);
  } else if (!turned) {
    from += older ? -1 : 1;
  }
  return note_result(current()->failed && !turned ? find_from_far_end() : find(from));
}

static bool search_for_less() {
  if (search.count == 1) return false;
  --search.count;
  search.pattern[current()->length] = L'\0';
  encode_line(search.pattern_bytes, search.pattern, current()->length);
  return_in_history(current()->back);
  read_line_searched(&search.line);
  return true;
}

static bool more_has_been_typed() {
  int waiting = 0;
  return ioctl(fileno(rl_instream), FIONREAD, &waiting) == 0 && waiting > 0;
}

// Ends the search and has the editor read these keys next, behind what a macro of the user's may
// have left. A Ctrl-@ cannot be pushed back.
static unsigned char end_search_with(EditLine *el, const wchar_t *keys) {
  if (*keys != L'\0') el_wpush(el, keys);
  return end_search();
}

// An Escape ends the search, and what follows it is text. Only an arrow key or its like, which also
// begins with one, ends the search as any other key does.
static unsigned char end_search_at_escape(EditLine *el) {
  wchar_t keys[] = {L'\033', L'\0', L'\0'};
  if (!more_has_been_typed() || el_wgetc(el, &keys[1]) != 1) return end_search();
  const bool begins_key = keys[1] == L'[' || keys[1] == L'O';
  return end_search_with(el, begins_key ? keys : keys + 1);
}

void reset_search_keys() { bound = {}; }

void note_key_inserts(int key, bool inserts) {
  if (key > ' ' && key < 0x7f) bound.runs_command[key] = !inserts;
}

static bool is_part_of_pattern(wchar_t key) {
  if (static_cast<int>(key) < 0 || iswprint(static_cast<wint_t>(key)) == 0) return false;
  return key >= static_cast<wchar_t>(std::size(bound.runs_command)) || !bound.runs_command[key];
}

// Searches on by a key. Returns false where there is nothing more to find, or no room.
static bool search_with(wchar_t key) {
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
    default:
      return search_for_more(key);
  }
}

static bool is_search_key(wchar_t key) {
  return (key != L'\0' && wcschr(L"\022\023\027\b\177", key) != nullptr) || is_part_of_pattern(key);
}

static unsigned char search_while_typing(EditLine *el, bool older) {
  wchar_t keys[] = {L'\0', L'\0'};
  begin_search(older);
  for (;;) {
    show_search();
    if (el_wgetc(el, &keys[0]) != 1) {
      end_search();
      return CC_EOF;
    }
    // What happened in the wait may have ended it.
    if (!search.on) {
      if (keys[0] != L'\0') el_wpush(el, keys);
      return CC_REFRESH;
    }
    if (!is_search_key(keys[0])) break;
    if (!search_with(keys[0])) el_beep(el);
  }
  if (keys[0] == L'\a') return abort_search();
  return keys[0] == L'\033' ? end_search_at_escape(el) : end_search_with(el, keys);
}

unsigned char search_older(EditLine *el, wint_t) { return search_while_typing(el, true); }
unsigned char search_newer(EditLine *el, wint_t) { return search_while_typing(el, false); }

}  // namespace lineedit
