// Walking through history with the layer's own commands, one line or one match at a time.
//
// libedit 3.1-20221030 has such commands, with faults that lose what the user typed or recorded. It
// keeps 1023 characters of a typed line while others are shown. It does not get past a stored line
// that the locale cannot decode. It drops a newline and a blank from the end of a recalled line.
// Its Down wipes a line that was never left. And it begins each step at the newest line, so that a
// step takes the longer the further back it is.
#include "editline/commands/history_walk.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "editline/base/editor.h"
#include "editline/input/keys.h"
#include "editline/readline.h"
#include "editline/screen/rows.h"

namespace lineedit {

static struct {
  int back;
  // The line being typed, while another one is shown.
  LineText typed;
  // What the latest search for text before the cursor looked for, as characters and as bytes.
  LineText pattern;
  char *pattern_bytes;
  // The line that it showed is still there: one more search goes on with the same pattern.
  bool matched;
} walk;

// --- The place -----------------------------------------------------------------------------------

static bool ask(int operation, HistEvent *event) {
  return history(layer.history, event, operation) >= 0;
}

void end_text_search() { walk.matched = false; }

void forget_place_in_history() {
  walk.back = 0;
  end_text_search();
}

void forget_typed_text() {
  clear_text(&walk.typed);
  clear_text(&walk.pattern);
  free(walk.pattern_bytes);
  walk = {};
}

int lines_back() { return walk.back; }

void keep_typed_line() {
  size_t cursor;
  if (walk.back == 0) take_edited_line(&walk.typed, &cursor);
}

static bool step_back() {
  HistEvent event;
  if (!ask(walk.back == 0 ? H_FIRST : H_NEXT, &event)) return false;
  ++walk.back;
  return true;
}

static bool step_forth() {
  HistEvent event;
  if (walk.back == 0) return false;
  if (walk.back > 1 && !ask(H_PREV, &event)) return false;
  --walk.back;
  return true;
}

bool step_in_history(bool older) { return older ? step_back() : step_forth(); }

void return_in_history(int back) {
  while (walk.back != back && step_in_history(walk.back < back)) continue;
}

const char *stored_line_at_place() {
  HistEvent event;
  if (walk.back == 0) return nullptr;
  return ask(H_CURR, &event) ? event.str : "";
}

void read_line_at_place(LineText *line) {
  const char *stored = stored_line_at_place();
  if (stored != nullptr)
    decode_text(line, stored);
  else
    set_text(line, walk.typed.characters, walk.typed.length);
}

// --- The editor's line ---------------------------------------------------------------------------

void take_edited_line(LineText *line, size_t *cursor) {
  const LineInfoW *edited = el_wline(layer.editor);
  set_text(line, edited->buffer, static_cast<size_t>(edited->lastchar - edited->buffer));
  *cursor = static_cast<size_t>(edited->cursor - edited->buffer);
}

static void replace_line(const wchar_t *characters, size_t cursor) {
  line_was_replaced();
  el_wreplacestr(layer.editor, characters);
  const LineInfoW *edited = el_wline(layer.editor);
  el_cursor(layer.editor,
            static_cast<int>(cursor) - static_cast<int>(edited->cursor - edited->buffer));
}

// No call of libedit's empties a line without putting what was there in the place of the text that
// Ctrl-Y brings back. So a last blank goes as if the user had deleted it.
void set_edited_line(const LineText *line, size_t cursor) {
  if (line->length > 0) {
    replace_line(line->characters, cursor);
  } else {
    replace_line(L" ", 1);
    el_wpush(layer.editor, L"\377d");
  }
}

void set_line_in_wait(const LineText *line, size_t cursor) {
  if (line->length > 0) {
    replace_line(line->characters, cursor);
  } else {
    replace_line(L" ", 1);
    el_deletestr(layer.editor, 1);
  }
}

static void show_line_at_place() {
  static LineText line;
  read_line_at_place(&line);
  set_edited_line(&line, line.length);
}

// --- Older and newer -----------------------------------------------------------------------------

// As many steps as there are and were asked for.
static unsigned char walk_command(bool older) {
  const int asked = repeat_count();
  int steps = 0;
  keep_typed_line();
  while (steps < asked && step_in_history(older)) ++steps;
  end_text_search();
  if (steps == 0) return CC_ERROR;
  show_line_at_place();
  return steps == asked ? CC_REFRESH : CC_REFRESH_BEEP;
}

static unsigned char prev_command(EditLine *, wint_t) { return walk_command(true); }
static unsigned char next_command(EditLine *, wint_t) { return walk_command(false); }

// --- Lines with the text before the cursor -------------------------------------------------------

// Whether the editor shows what the latest search found, with the cursor as it left it.
static bool search_goes_on(const LineText *shown, size_t cursor) {
  static LineText found;
  if (!walk.matched || cursor != shown->length) return false;
  read_line_at_place(&found);
  return same_text(shown, &found);
}

static void take_pattern(const LineText *shown, size_t cursor) {
  set_text(&walk.pattern, shown->characters, cursor);
  free(walk.pattern_bytes);
  walk.pattern_bytes = static_cast<char *>(malloc(encoded_size(cursor)));
  encode_line(walk.pattern_bytes, shown->characters, cursor);
}

// A line that equals the one shown is no step on.
static bool place_matches(const LineText *shown, LineText *line) {
  const char *stored = stored_line_at_place();
  if (stored != nullptr && strstr(stored, walk.pattern_bytes) == nullptr) return false;
  read_line_at_place(line);
  return wcsstr(line->characters, walk.pattern.characters) != nullptr && !same_text(shown, line);
}

static unsigned char search_command(bool older) {
  static LineText shown;
  static LineText line;
  size_t cursor;
  take_edited_line(&shown, &cursor);
  if (!search_goes_on(&shown, cursor)) take_pattern(&shown, cursor);
  keep_typed_line();
  const int start = walk.back;
  while (step_in_history(older)) {
    if (!place_matches(&shown, &line)) continue;
    walk.matched = true;
    set_edited_line(&line, line.length);
    return CC_REFRESH;
  }
  return_in_history(start);
  return CC_ERROR;
}

static unsigned char search_prev_command(EditLine *, wint_t) { return search_command(true); }
static unsigned char search_next_command(EditLine *, wint_t) { return search_command(false); }

// --- What the editor sees ------------------------------------------------------------------------

// With a question mark for each byte that is part of no character.
static const char *make_readable(const char *line) {
  static LineText characters;
  static char *readable;
  decode_text(&characters, line);
  for (size_t i = 0; i < characters.length; ++i)
    if (static_cast<int>(characters.characters[i]) < 0) characters.characters[i] = L'?';
  free(readable);
  readable = static_cast<char *>(malloc(encoded_size(characters.length)));
  encode_line(readable, characters.characters, characters.length);
  return readable;
}

int history_for_editor(void *history_object, HistEvent *event, int operation, ...) {
  va_list arguments;
  va_start(arguments, operation);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  const int result = history(static_cast<History *>(history_object), event, operation, argument);
  const bool steps = operation == H_FIRST || operation == H_NEXT || operation == H_LAST ||
                     operation == H_PREV || operation == H_CURR;
  if (steps && result >= 0 && mbstowcs(nullptr, event->str, 0) == static_cast<size_t>(-1))
    event->str = make_readable(event->str);
  return result;
}

// --- Keys ----------------------------------------------------------------------------------------

static const struct {
  const wchar_t *name;
  const wchar_t *help;
  unsigned char (*function)(EditLine *, wint_t);
} commands[] = {
    {L"rl_prev_history", L"Go to the next older line", prev_command},
    {L"rl_next_history", L"Go to the next newer line", next_command},
    {L"rl_search_prev_history", L"Go to the next older line with the text before the cursor in it",
     search_prev_command},
    {L"rl_search_next_history", L"Go to the next newer line with the text before the cursor in it",
     search_next_command},
};

static const struct {
  const char *keys;
  const char *command;
} bindings[] = {
    {HIDDEN_KEY "d", "em-delete-prev-char"},
    {"^P", "rl_prev_history"},
    {"\\e[A", "rl_prev_history"},
    {"\\eOA", "rl_prev_history"},
    {"^N", "rl_next_history"},
    {"\\e[B", "rl_next_history"},
    {"\\eOB", "rl_next_history"},
    // Meta-p and Meta-n, with a capital letter too, behind an Escape and with the eighth bit set.
    {"\\ep", "rl_search_prev_history"},
    {"\\eP", "rl_search_prev_history"},
    {"\\360", "rl_search_prev_history"},
    {"\\320", "rl_search_prev_history"},
    {"\\en", "rl_search_next_history"},
    {"\\eN", "rl_search_next_history"},
    {"\\356", "rl_search_next_history"},
    {"\\316", "rl_search_next_history"},
};

void add_history_commands(EditLine *editor) {
  for (const auto &command : commands)
    el_wset(editor, EL_ADDFN, command.name, command.help, command.function);
  for (const auto &binding : bindings)
    el_set(editor, EL_BIND, binding.keys, binding.command, nullptr);
  el_set(editor, EL_BIND, "-k", "up", "rl_prev_history", nullptr);
  el_set(editor, EL_BIND, "-k", "down", "rl_next_history", nullptr);
}

}  // namespace lineedit
