// The incremental search through history: Ctrl-R, and what is typed after it.
//
// The search of libedit 3.1-20221030 has bugs that users notice. Ctrl-W as the first key reads
// before the line's buffer. A long pattern below a long line is written beyond the end of the
// buffer. The pattern is kept for the next search, which continues where this one ended. Each key
// starts again at the newest line of history. And the search recurses for each key, so a long one
// exhausts the stack.
//
// Here a search is one command, which reads keys until one of them ends it. Meanwhile the editor's
// line is the line found, with the pattern in a row below it.
#include "editline/commands/history_search.h"

#include <cstring>
#include <cwchar>
#include <cwctype>
#include <initializer_list>
#include <iterator>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/locale.h"
#include "editline/base/variables.h"
#include "editline/commands/history_place.h"
#include "editline/commands/history_walk.h"
#include "editline/input/keys.h"

namespace lineedit {

// A state of the search. Backspace returns to the one before.
struct SearchState {
  // The place in history, and where in its line the pattern begins.
  int back;
  size_t cursor;
  // The length of the pattern.
  size_t length;
  bool older;
  // The pattern was not found beyond this place.
  bool failed;
};

static struct {
  // A search is in progress.
  bool on;
  // The line in which the search began, its place and its cursor. Ctrl-G returns to them.
  LineText origin;
  int origin_back;
  size_t origin_cursor;
  // The line found; and the editor's line, which adds the row of the pattern.
  LineText line;
  LineText shown;
  // The line at the place in history, while it is checked.
  LineText candidate;
  // The pattern, as characters and as bytes.
  wchar_t pattern[256];
  char pattern_bytes[256 * 16];
  // The states so far, the current one last.
  SearchState states[1024];
  int count;
  // The pattern of the previous search, for a search that repeats it.
  wchar_t latest[256];
  // The direction in which vi's latest search began.
  bool vi_newer;
  // Printable ASCII keys that run a command.
  bool runs_command[128];
} search;

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

// Finds the nearest occurrence of the pattern in the line, from `from` on. Returns whether there is
// one.
static bool find_in_line(long from, size_t *found) {
  const long step = current()->older ? -1 : 1;
  for (long at = from; at >= 0 && at <= static_cast<long>(search.line.length); at += step) {
    if (!pattern_is_at(static_cast<size_t>(at))) continue;
    *found = static_cast<size_t>(at);
    return true;
  }
  return false;
}

// If the line at the place contains the pattern, makes it the line found. A line equal to the one
// shown does not count.
static bool accept_line_at_place() {
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

// Looks for the pattern in the line shown, from `from` on, and then in the lines beyond it.
static bool find(long from) {
  const int start = lines_back();
  bool found = find_in_line(from, &current()->cursor);
  while (!found && step_in_history(current()->older)) {
    if (!accept_line_at_place()) continue;
    found = true;
    if (!find_in_line(far_end(), &current()->cursor)) current()->cursor = 0;
  }
  if (!found) return_to_place(start);
  current()->back = lines_back();
  return found;
}

// --- The screen ----------------------------------------------------------------------------------

// Shows the line found, with the row of the pattern below it.
static void show_search() {
  const SearchState *state = current();
  set_text(&search.shown, search.line.characters, search.line.length);
  append_text(&search.shown, state->older ? L"\nbck" : L"\nfwd", 4);
  append_text(&search.shown, state->failed ? L"?" : L":", 1);
  append_text(&search.shown, search.pattern, state->length);
  set_edited_line(&search.shown, current()->cursor);
}

// --- Beginning and ending ------------------------------------------------------------------------

static void leave_search() {
  if (current()->length > 0) wcscpy(search.latest, search.pattern);
  reset_search();
}

// Before a signal is acted on: ends the search, with the line found on the screen and without the
// pattern.
static void leave_search_for_signal() {
  leave_search();
  set_edited_line(&search.line, current()->cursor);
}

static void begin_search(bool older) {
  get_edited_line(&search.origin, &search.origin_cursor);
  set_text(&search.line, search.origin.characters, search.origin.length);
  save_typed_line();
  end_text_search();
  search.origin_back = lines_back();
  search.states[0] = {search.origin_back, search.origin_cursor, 0, older, false};
  search.count = 1;
  search.pattern[0] = L'\0';
  search.pattern_bytes[0] = '\0';
  search.on = true;
  editor.leave_command = leave_search_for_signal;
}

// Makes the line found the editor's line.
static unsigned char end_search() {
  leave_search();
  set_edited_line(&search.line, current()->cursor);
  return CC_REFRESH;
}

static unsigned char abort_search() {
  return_to_place(search.origin_back);
  set_text(&search.line, search.origin.characters, search.origin.length);
  current()->cursor = search.origin_cursor;
  end_search();
  return CC_REFRESH_BEEP;
}

// --- The keys of a search ------------------------------------------------------------------------

// Adds a copy of the current state. Returns false if there is no room.
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

static bool extend_search(wchar_t character) {
  if (!add_state()) return false;
  if (!extend_pattern(character)) {
    --search.count;
    return false;
  }
  return note_result(find(static_cast<long>(current()->cursor)));
}

static bool extend_search_by_word() {
  if (current()->failed || !add_state()) return false;
  const wchar_t *at = search.line.characters + current()->cursor + current()->length;
  const wchar_t *const end = search.line.characters + search.line.length;
  bool extended = true;
  while (extended && at < end && !is_in_word(*at)) extended = extend_pattern(*at++);
  while (extended && at < end && is_in_word(*at)) extended = extend_pattern(*at++);
  return note_result(true);
}

static bool reuse_latest_pattern() {
  for (const wchar_t *character = search.latest; *character != L'\0'; ++character)
    extend_pattern(*character);
  return current()->length > 0;
}

// Searches again from the far end of history.
static bool find_from_far_end() {
  const int start = lines_back();
  if (current()->older)
    return_to_place(0);
  else
    while (step_in_history(true)) continue;
  read_line_searched(&search.line);
  if (find(far_end())) return true;
  return_to_place(start);
  read_line_searched(&search.line);
  current()->back = start;
  return false;
}

static bool search_again(bool older) {
  if (!add_state()) return false;
  const bool turned = current()->older != older;
  current()->older = older;
  long from = static_cast<long>(current()->cursor);
  if (current()->length == 0) {
    if (!reuse_latest_pattern()) return note_result(true);
  } else if (!turned) {
    from += older ? -1 : 1;
  }
  return note_result(current()->failed && !turned ? find_from_far_end() : find(from));
}

static bool undo_search_step() {
  if (search.count == 1) return false;
  --search.count;
  search.pattern[current()->length] = L'\0';
  encode_line(search.pattern_bytes, search.pattern, current()->length);
  return_to_place(current()->back);
  read_line_searched(&search.line);
  return true;
}

// Ends the search and has the editor read these keys next, after anything that is left of a user's
// macro. A Ctrl-@ cannot be pushed back.
static unsigned char end_search_with(EditLine *el, const wchar_t *keys) {
  if (*keys != L'\0') el_wpush(el, keys);
  return end_search();
}

// An Escape ends the search, and what follows it is text. An arrow key or similar, which also
// begins with Escape, ends the search and then does its usual work.
static unsigned char end_search_at_escape(EditLine *el) {
  wchar_t keys[] = {L'\033', L'\0', L'\0'};
  if (!more_of_key_follows() || el_wgetc(el, &keys[1]) != 1) return end_search();
  const bool begins_key = keys[1] == L'[' || keys[1] == L'O';
  return end_search_with(el, begins_key ? keys : keys + 1);
}

void reset_search_keys() { memset(search.runs_command, 0, sizeof search.runs_command); }

void note_key_inserts(int key, bool inserts) {
  if (key > ' ' && key < 0x7f) search.runs_command[key] = !inserts;
}

// Beyond ASCII, all keys insert themselves that are no Meta keys.
static bool is_part_of_pattern(wchar_t key) {
  if (key < 0) return !bytes_are_meta_keys();
  if (key >= static_cast<wchar_t>(std::size(search.runs_command))) return true;
  return iswprint(static_cast<wint_t>(key)) != 0 && !search.runs_command[key];
}

// Continues the search with a key. Returns false if there is nothing more to find, or no room.
static bool handle_search_key(wchar_t key) {
  switch (key) {
    case L'\022':  // ^R
      return search_again(true);
    case L'\023':  // ^S
      return search_again(false);
    case L'\027':  // ^W
      return extend_search_by_word();
    case L'\b':
    case L'\177':
      return undo_search_step();
    default:
      return extend_search(key);
  }
}

static bool is_search_key(wchar_t key) {
  return (key != L'\0' && wcschr(L"\022\023\027\b\177", key) != nullptr) || is_part_of_pattern(key);
}

// A key that `is_only_end` ends the search and does nothing else.
static unsigned char search_while_typing(EditLine *el, bool older, bool (*is_only_end)(wchar_t)) {
  wchar_t keys[] = {L'\0', L'\0'};
  begin_search(older);
  for (;;) {
    show_search();
    if (el_wgetc(el, &keys[0]) != 1) {
      end_search();
      return CC_EOF;
    }
    // A signal during the wait may have ended the search.
    if (!search.on) {
      if (keys[0] != L'\0') el_wpush(el, keys);
      return CC_REFRESH;
    }
    if (!is_search_key(keys[0])) break;
    if (!handle_search_key(keys[0])) el_beep(el);
  }
  if (is_only_end(keys[0])) return current()->failed ? abort_search() : end_search();
  if (keys[0] == L'\a') return abort_search();
  return keys[0] == L'\033' ? end_search_at_escape(el) : end_search_with(el, keys);
}

// --- vi's searches -------------------------------------------------------------------------------

// libedit's own take the pattern for a regular expression and compile it for each line of history:
// a few characters keep it busy for minutes.

static bool ends_line(wchar_t key) { return key == L'\n' || key == L'\r'; }

static unsigned char search_for_vi(EditLine *el, bool older) {
  search.vi_newer = !older;
  return search_while_typing(el, older, ends_line);
}

// Leaves the line shown: a line that contains the pattern is left, too.
static unsigned char go_to_next_match(bool older) {
  begin_search(older);
  const bool found = reuse_latest_pattern() && find(-1);
  end_search();
  return found ? CC_REFRESH : CC_ERROR;
}

unsigned char search_older_for_vi(EditLine *el, wint_t) { return search_for_vi(el, true); }
unsigned char search_newer_for_vi(EditLine *el, wint_t) { return search_for_vi(el, false); }
unsigned char repeat_search(EditLine *, wint_t) { return go_to_next_match(!search.vi_newer); }
unsigned char repeat_search_reversed(EditLine *, wint_t) {
  return go_to_next_match(search.vi_newer);
}

// --- Emacs's searches ----------------------------------------------------------------------------

static bool is_for_the_line(wchar_t) { return false; }

unsigned char search_older(EditLine *el, wint_t) {
  return search_while_typing(el, true, is_for_the_line);
}
unsigned char search_newer(EditLine *el, wint_t) {
  return search_while_typing(el, false, is_for_the_line);
}

}  // namespace lineedit
