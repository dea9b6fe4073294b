// The line being edited.
#include "editline/base/line.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "editline/base/editor.h"
#include "editline/base/variables.h"
#include "editline/base/wipe.h"

namespace lineedit {

// libedit 3.1-20221030 starts with a buffer of 1024 characters and reserves some of them.
static constexpr size_t initial_room = 1000;

// Keys other than typed characters make a line no longer than this.
static constexpr size_t longest_by_keys = 10000;

static struct {
  // The published line in the current locale's encoding: rl_line_buffer. Owned, grows only.
  char *published;
  size_t published_size;
  // The editor's buffer has room for at least this many characters.
  size_t room;
  // So many characters may be added between two calls of keep_line_in_bounds.
  size_t added;
  // The line's length at the latest key, or after the layer's latest change of it; and the longest
  // line so far that was typed or made by the layer.
  size_t length;
  size_t longest;
  // Used by grow_line_buffer; kept to reuse their storage.
  LineText kept;
  LineText longer;
} edited;

int line_length() {
  const LineInfoW *line = el_wline(editor.el);
  return static_cast<int>(line->lastchar - line->buffer);
}

int line_cursor() {
  const LineInfoW *line = el_wline(editor.el);
  return static_cast<int>(line->cursor - line->buffer);
}

static void wipe_published_line() {
  if (edited.published_size > 0) explicit_bzero(edited.published, edited.published_size);
  free(edited.published);
}

void publish_line() {
  rl_point = line_cursor();
  rl_end = line_length();
  const size_t size = encoded_size(static_cast<size_t>(rl_end));
  if (size > edited.published_size) {
    wipe_published_line();
    edited.published_size = size * 2;
    edited.published = static_cast<char *>(malloc(edited.published_size));
  }
  encode_line(edited.published, el_wline(editor.el)->buffer, static_cast<size_t>(rl_end));
  rl_line_buffer = edited.published;
}

// --- Its length ----------------------------------------------------------------------------------

void accept_line_length() {
  edited.length = static_cast<size_t>(line_length());
  edited.longest = std::max(edited.longest, edited.length);
}

bool line_may_have(size_t length) { return length <= std::max(longest_by_keys, edited.longest); }

bool line_is_overgrown() {
  const size_t length = static_cast<size_t>(line_length());
  if (length <= edited.length + 1)
    accept_line_length();
  else if (!line_may_have(length))
    return true;
  edited.length = length;
  return false;
}

// --- Changing the line ---------------------------------------------------------------------------

void move_cursor_to(int position) { el_cursor(editor.el, position - line_cursor()); }

bool insert_at_cursor(const wchar_t *characters) {
  begin_wiping();
  const bool inserted = el_winsertstr(editor.el, characters) == 0;
  end_wiping();
  accept_line_length();
  return inserted;
}

void delete_from_line(int start, int end) {
  move_cursor_to(end);
  el_deletestr(editor.el, end - start);
}

void get_edited_line(LineText *line, size_t *cursor) {
  set_text(line, el_wline(editor.el)->buffer, static_cast<size_t>(line_length()));
  *cursor = static_cast<size_t>(line_cursor());
}

// The buffer may move when it grows; the freed one is wiped.
static void replace_text(const wchar_t *characters) {
  begin_wiping();
  el_wreplacestr(editor.el, characters);
  end_wiping();
}

static void replace_line(const wchar_t *characters, size_t cursor) {
  replace_text(characters);
  move_cursor_to(static_cast<int>(cursor));
}

// libedit 3.1-20221030 has no call that only empties the line. el_replacestr refuses an empty text,
// el_deletestr overwrites the text that Ctrl-Y yanks, and el_reset leaves vi's command mode. But
// el_wline returns the editor's own record of the line, which is changed here.
static void empty_line() {
  LineInfoW *line = const_cast<LineInfoW *>(el_wline(editor.el));
  line->cursor = line->lastchar = line->buffer;
}

void set_edited_line(const LineText *line, size_t cursor) {
  if (line->length > 0)
    replace_line(line->characters, cursor);
  else
    empty_line();
  accept_line_length();
}

// --- Room in the buffer --------------------------------------------------------------------------

// When libedit 3.1-20221030 deletes text, it moves as many characters as the line had, starting
// after the deleted ones. It reads beyond the buffer if that is more than half full, so the buffer
// never is. The buffer moves then: no key may run a command that keeps pointers into it while it
// reads keys.
static void grow_line_buffer(size_t room) {
  size_t cursor;
  get_edited_line(&edited.kept, &cursor);
  edited.longer.length = 0;
  while (edited.longer.length < room) append_character(&edited.longer, L' ');
  replace_text(edited.longer.characters);
  if (edited.kept.length > 0)
    replace_text(edited.kept.characters);
  else
    empty_line();
  edited.room = room;
}

// libedit keeps up to ten texts of up to 1024 characters, and reads their keys by itself.
void expect_bound_texts() { edited.added = 10 * 1024; }

// In vi's command mode, libedit 3.1-20221030 moves the cursor before the start of an empty line
// when it goes to the line's end.
void keep_line_in_bounds() {
  const LineInfoW *line = el_wline(editor.el);
  if (line->cursor < line->buffer) move_cursor_to(0);
  const size_t longest = static_cast<size_t>(line->lastchar - line->buffer) + edited.added;
  if (longest * 2 > edited.room && editor.terminal_is_raw && editing_is_on())
    grow_line_buffer(longest * 4);
}

void wipe_line() {
  wipe_published_line();
  wipe_text(&edited.kept);
  wipe_text(&edited.longer);
  edited = {};
  edited.room = initial_room;
  rl_line_buffer = nullptr;
}

}  // namespace lineedit
