// Editing commands that libedit lacks or gets wrong.
#include "editline/commands/editing.h"

#include <algorithm>
#include <csignal>
#include <initializer_list>
#include <utility>

#include "editline/base/line.h"
#include "editline/commands/history_place.h"
#include "editline/screen/drawing.h"

namespace lineedit {

static struct {
  // The edited line, while a command runs.
  LineText line;
  // The line that insert_last_word has made, and its cursor; where the inserted word begins, and
  // the place in history that it is from.
  LineText made;
  size_t made_cursor;
  size_t word;
  int word_back;
  // The line in history, while the command looks for its last word.
  LineText older;
} editing;

// If there are not two characters to exchange, libedit 3.1-20221030 moves the cursor all the same.
unsigned char transpose_characters(EditLine *, wint_t) {
  size_t cursor;
  get_edited_line(&editing.line, &cursor);
  if (cursor < editing.line.length) ++cursor;
  if (cursor < 2) return CC_ERROR;
  wchar_t *characters = editing.line.characters;
  std::swap(characters[cursor - 2], characters[cursor - 1]);
  set_edited_line(&editing.line, cursor);
  return CC_REFRESH;
}

// --- Words ---------------------------------------------------------------------------------------

static size_t end_of_word(const LineText *line, size_t at) {
  while (at < line->length && !is_in_word(line->characters[at])) ++at;
  while (at < line->length && is_in_word(line->characters[at])) ++at;
  return at;
}

static size_t start_of_word(const LineText *line, size_t at) {
  while (at > 0 && !is_in_word(line->characters[at - 1])) --at;
  while (at > 0 && is_in_word(line->characters[at - 1])) --at;
  return at;
}

unsigned char transpose_words(EditLine *, wint_t) {
  LineText *const line = &editing.line;
  size_t cursor;
  get_edited_line(line, &cursor);
  const size_t second = start_of_word(line, end_of_word(line, cursor));
  const size_t end = end_of_word(line, second);
  const size_t first = start_of_word(line, second);
  const size_t gap = end_of_word(line, first);
  if (gap > second) return CC_ERROR;
  wchar_t *const words = line->characters;
  std::reverse(words + first, words + end);
  std::reverse(words + first, words + first + (end - second));
  std::reverse(words + first + (end - second), words + end - (gap - first));
  std::reverse(words + end - (gap - first), words + end);
  set_edited_line(line, end);
  return CC_REFRESH;
}

// --- The last word of an older line --------------------------------------------------------------

static bool is_blank(wchar_t character) { return character == L' ' || character == L'\t'; }

// Finds the last word of the line in history. Returns false if it has none.
static bool find_last_word(size_t *start, size_t *end) {
  read_line_at_place(&editing.older);
  const wchar_t *line = editing.older.characters;
  for (*end = editing.older.length; *end > 0 && is_blank(line[*end - 1]);) --*end;
  for (*start = *end; *start > 0 && !is_blank(line[*start - 1]);) --*start;
  return *start < *end;
}

// Makes the line: the edited one up to `word`, the word, and the edited one from the cursor on.
static unsigned char insert_word(size_t word, size_t start, size_t end, size_t cursor) {
  const LineText *line = &editing.line;
  if (!line_may_have(word + (end - start) + (line->length - cursor))) return CC_ERROR;
  set_text(&editing.made, line->characters, word);
  append_text(&editing.made, editing.older.characters + start, end - start);
  append_text(&editing.made, line->characters + cursor, line->length - cursor);
  editing.word = word;
  editing.made_cursor = word + (end - start);
  set_edited_line(&editing.made, editing.made_cursor);
  return CC_REFRESH;
}

unsigned char insert_last_word(EditLine *, wint_t) {
  size_t cursor, start, end;
  get_edited_line(&editing.line, &cursor);
  const bool repeated = editing.made_cursor > 0 && cursor == editing.made_cursor &&
                        same_text(&editing.line, &editing.made);
  const int place = lines_back();
  save_typed_line();
  if (repeated) return_to_place(editing.word_back);
  bool found = false;
  while (!found && step_in_history(true)) found = find_last_word(&start, &end);
  if (found) editing.word_back = lines_back();
  return_to_place(place);
  return found ? insert_word(repeated ? editing.word : cursor, start, end, cursor) : CC_ERROR;
}

void end_word_insertion() { editing.made_cursor = 0; }

// --- The screen and the process ------------------------------------------------------------------

// libedit's own command would clear the screen, but draw nothing on it.
unsigned char clear_screen(EditLine *, wint_t) {
  draw_on_clear_screen();
  return CC_NORM;
}

unsigned char suspend(EditLine *, wint_t) {
  kill(0, SIGTSTP);
  return CC_NORM;
}

void wipe_editing() {
  for (LineText *text : {&editing.line, &editing.made, &editing.older}) wipe_text(text);
  editing = {};
}

}  // namespace lineedit
