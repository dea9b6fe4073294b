// Keys: the editor commands that the layer adds, the keys that every line has, completion, and the
// calls that bind keys.
#include <sys/types.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <utility>

#include "editline/base/editor.h"
#include "editline/base/text.h"
#include "editline/commands/history_search.h"
#include "editline/commands/history_walk.h"
#include "editline/input/keys.h"
#include "editline/input/signals.h"
#include "editline/readline.h"

namespace lineedit {

rl_completion_func_t *rl_attempted_completion_function;
int rl_attempted_completion_over;
int rl_inhibit_completion;
int rl_completion_invoking_key;

// The functions given to rl_add_defun, by key.
static rl_command_func_t *added_functions[256];

// --- Completion ----------------------------------------------------------------------------------

// Characters that a word to complete does not reach across.
static const wchar_t word_breaks[] = L" \t\n\"\\'`@$><=;|&{(";

// The word before the cursor, malloc'ed. `*start` and `*end` are its offsets in characters.
static char *word_before_cursor(int *start, int *end) {
  const LineInfoW *line = el_wline(layer.editor);
  const wchar_t *word = line->cursor;
  while (word > line->buffer && wcschr(word_breaks, word[-1]) == nullptr) --word;
  *start = static_cast<int>(word - line->buffer);
  *end = static_cast<int>(line->cursor - line->buffer);
  const size_t length = static_cast<size_t>(line->cursor - word);
  char *bytes = static_cast<char *>(malloc(encoded_size(length)));
  encode_line(bytes, word, length);
  return bytes;
}

static void free_list(char **list) {
  if (list == nullptr) return;
  for (char **string = list; *string != nullptr; ++string) free(*string);
  free(list);
}

// Asks the hook. Returns whether the editor's own completion shall follow.
static bool ask_completion_hook() {
  int start, end;
  char *word = word_before_cursor(&start, &end);
  char **list = rl_attempted_completion_function(word, start, end);
  free(word);
  const bool answered = list != nullptr || rl_attempted_completion_over != 0;
  free_list(list);
  rl_attempted_completion_over = 0;
  return !answered;
}

int rl_complete(int, int invoking_key) {
  if (!initialise_layer()) return CC_ERROR;
  if (rl_inhibit_completion != 0) {
    const char key[] = {static_cast<char>(invoking_key), '\0'};
    el_insertstr(layer.editor, key);
    return CC_REFRESH;
  }
  publish_line();
  rl_completion_invoking_key = invoking_key;
  if (rl_attempted_completion_function != nullptr && !ask_completion_hook()) return CC_NORM;
  return _el_fn_complete(layer.editor, invoking_key);
}

// --- Commands that the layer adds to the editor --------------------------------------------------

// After a function of the application's: what the command returns, which is the end of the read
// when the function asked for it. The function may have put signal handlers of its own in the
// editor's place; with those a Ctrl-C would jump out of the rest of this line and leave the
// terminal raw.
static unsigned char finish_command(int status) {
  retake_signal_handlers();
  return static_cast<unsigned char>(rl_done != 0 ? CC_EOF : status);
}

static unsigned char complete_command(EditLine *, wint_t key) {
  return finish_command(rl_complete(0, static_cast<int>(key)));
}

// Where the key is the terminal's suspend key, as it is as a rule, the terminal sends the signal
// and the editor never sees the key.
static unsigned char suspend_command(EditLine *, wint_t) {
  kill(0, SIGTSTP);
  return CC_NORM;
}

static unsigned char added_command(EditLine *, wint_t key) {
  rl_command_func_t *function = added_functions[key & 0xff];
  if (function == nullptr) return CC_ERROR;
  publish_line();
  function(1, static_cast<int>(key));
  return finish_command(CC_NORM);
}

// libedit 3.1-20221030 moves the cursor when there are no two characters to exchange, and does not
// show it.
static unsigned char transpose_command(EditLine *, wint_t) {
  static LineText line;
  size_t cursor;
  take_edited_line(&line, &cursor);
  if (cursor < line.length) ++cursor;
  if (cursor < 2) return CC_ERROR;
  std::swap(line.characters[cursor - 2], line.characters[cursor - 1]);
  set_edited_line(&line, cursor);
  return CC_REFRESH;
}

// --- The keys of every line ----------------------------------------------------------------------

// Keys that every line has beyond the editor's emacs set.
static const struct {
  const char *keys;
  const char *command;
} default_bindings[] = {
    {"^I", "rl_complete"},
    {"^Z", "rl_tstp"},
    // Home and End as the terminals of the last decades send them.
    {"\\e[1~", "ed-move-to-beg"},
    {"\\e[4~", "ed-move-to-end"},
    {"\\e[7~", "ed-move-to-beg"},
    {"\\e[8~", "ed-move-to-end"},
    {"\\e[H", "ed-move-to-beg"},
    {"\\e[F", "ed-move-to-end"},
    // Delete and Insert.
    {"\\e[3~", "ed-delete-next-char"},
    {"\\e[2~", "ed-quoted-insert"},
    // Ctrl-Right and Ctrl-Left.
    {"\\e[1;5C", "em-next-word"},
    {"\\e[1;5D", "ed-prev-word"},
    {"\\e[5C", "em-next-word"},
    {"\\e[5D", "ed-prev-word"},
    {"\\e\\e[C", "em-next-word"},
    {"\\e\\e[D", "ed-prev-word"},
};

// Keys of the editor's emacs set that are taken away, since libedit 3.1-20221030 dies of them. It
// has each Meta key twice: with the eighth bit set, and behind an Escape.
static const char *const removed_keys[] = {
    // Meta-x and Meta-X ask for an editor command. One that is a lone quote is read on beyond its
    // end: the process dies of SIGSEGV.
    "\\370",
    "\\ex",
    "\\330",
    "\\eX",
    // Meta-Ctrl-underscore copies the word before the cursor without a look at the room that is
    // left in the line: repeated on a growing line it writes past the buffer.
    "\\237",
    "\\e\\037",
};

void add_commands(EditLine *editor) {
  // Wide: of narrow names libedit 3.1-20221030 makes copies that it never frees.
  el_wset(editor, EL_ADDFN, L"rl_complete", L"Complete through the application's hook",
          complete_command);
  el_wset(editor, EL_ADDFN, L"rl_tstp", L"Send the suspend signal", suspend_command);
  el_wset(editor, EL_ADDFN, L"rl_transpose_chars", L"Exchange two characters", transpose_command);
  for (const auto &binding : default_bindings)
    el_set(editor, EL_BIND, binding.keys, binding.command, nullptr);
  if (!is_key_of_terminal(fileno(rl_instream), 'T' & 0x1f))
    el_set(editor, EL_BIND, "^T", "rl_transpose_chars", nullptr);
  for (const char *key : removed_keys) el_set(editor, EL_BIND, "-r", key, nullptr);
  add_history_commands(editor);
  add_search_commands(editor);
  add_repeat_count(editor);
}

// --- Binding -------------------------------------------------------------------------------------

static void bind_key_to_command(int key, const char *command) {
  char octal[8];
  snprintf(octal, sizeof octal, "\\%03o", static_cast<unsigned>(key));
  el_set(layer.editor, EL_BIND, octal, command, nullptr);
}

// libedit's commands that walk through history, and the layer's commands that an application gets
// for them.
static const struct {
  const char *editors;
  const char *layers;
} better_commands[] = {
    {"ed-prev-history", "rl_prev_history"},
    {"ed-next-history", "rl_next_history"},
    {"ed-search-prev-history", "rl_search_prev_history"},
    {"ed-search-next-history", "rl_search_next_history"},
    {"em-inc-search-prev", "rl_inc_search_prev"},
    {"em-inc-search-next", "rl_inc_search_next"},
};

static const char *better_command(const char *name) {
  for (const auto &better : better_commands)
    if (strcmp(name, better.editors) == 0) return better.layers;
  return name;
}

// Of a line like "bind ? rl_complete".
static void note_binding(const char **words) {
  words[2] = better_command(words[2]);
  if (strlen(words[1]) == 1) note_key_inserts(words[1][0], strcmp(words[2], "ed-insert") == 0);
}

static bool is_key(int key) {
  return key >= 0 && key < static_cast<int>(std::size(added_functions));
}

int rl_parse_and_bind(const char *line) {
  if (!initialise_layer()) return 1;
  Tokenizer *tokenizer = tok_init(nullptr);
  int count = 0;
  const char **words = nullptr;
  const bool parsed = tok_str(tokenizer, line, &count, &words) == 0 && count > 0;
  if (parsed && count == 3 && strcmp(words[0], "bind") == 0) note_binding(words);
  const int refused = parsed ? el_parse(layer.editor, count, words) : 1;
  tok_end(tokenizer);
  return refused != 0 ? 1 : 0;
}

int rl_bind_key(int key, rl_command_func_t *function) {
  if (function != rl_insert || !is_key(key)) return -1;
  if (!initialise_layer()) return -1;
  bind_key_to_command(key, "ed-insert");
  note_key_inserts(key, true);
  return 0;
}

int rl_add_defun(const char *name, rl_command_func_t *function, int key) {
  if (!is_key(key)) return -1;
  if (!initialise_layer()) return -1;
  added_functions[key] = function;
  el_set(layer.editor, EL_ADDFN, name, name, added_command);
  bind_key_to_command(key, name);
  return 0;
}

int rl_insert(int count, int key) {
  const char text[] = {static_cast<char>(key), '\0'};
  for (int i = 0; i < count; ++i) rl_insert_text(text);
  return 0;
}

rl_command_func_t *rl_named_function(const char *) { return nullptr; }

char **rl_invoking_keyseqs_in_map(rl_command_func_t *, Keymap) { return nullptr; }

int rl_bind_keyseq_in_map(const char *, rl_command_func_t *, Keymap) { return 0; }

int rl_bind_key_in_map(int, rl_command_func_t *, Keymap) { return 0; }

}  // namespace lineedit
