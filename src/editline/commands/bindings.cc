// The default key bindings, and binding other keys.
#include "editline/commands/bindings.h"

#include <histedit.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/locale.h"
#include "editline/base/terminal.h"
#include "editline/base/text.h"
#include "editline/base/variables.h"
#include "editline/commands/bound_texts.h"
#include "editline/commands/completion.h"
#include "editline/commands/editing.h"
#include "editline/commands/history_search.h"
#include "editline/commands/history_walk.h"
#include "editline/commands/repeat_count.h"

namespace lineedit {

// The application's functions that run as commands, by key.
static struct { rl_command_func_t *functions[256]; } application;

// --- Default bindings ----------------------------------------------------------------------------

// The layer's own commands.
static const struct {
  const wchar_t *name;
  const wchar_t *help;
  unsigned char (*function)(EditLine *, wint_t);
} commands[] = {
    {L"rl_complete", L"Complete through the application's hook", complete},
    {L"rl_digit_argument", L"Begin a repeat count", read_repeat_count},
    {L"rl_clear_screen", L"Clear the screen, except for the line", clear_screen},
    {L"rl_tstp", L"Send the suspend signal", suspend},
    {L"rl_transpose_chars", L"Exchange two characters", transpose_characters},
    {L"rl_transpose_words", L"Exchange two words", transpose_words},
    {L"rl_insert_last_word", L"Insert the last word of an older line", insert_last_word},
    {L"rl_prev_history", L"Go to the next older line", go_to_older_line},
    {L"rl_next_history", L"Go to the next newer line", go_to_newer_line},
    {L"rl_oldest_history", L"Go to the oldest line", go_to_oldest_line},
    {L"rl_newest_history", L"Go back to the line being typed", go_to_newest_line},
    {L"rl_search_prev_history", L"Go to the next older line with the text before the cursor in it",
     go_to_older_match},
    {L"rl_search_next_history", L"Go to the next newer line with the text before the cursor in it",
     go_to_newer_match},
    {L"rl_inc_search_prev", L"Search older lines while typing", search_older},
    {L"rl_inc_search_next", L"Search newer lines while typing", search_newer},
    {L"rl_vi_search_prev", L"Search older lines while typing, up to Enter", search_older_for_vi},
    {L"rl_vi_search_next", L"Search newer lines while typing, up to Enter", search_newer_for_vi},
    {L"rl_vi_repeat_search", L"Go to the next line with the pattern", repeat_search},
    {L"rl_vi_repeat_search_reversed", L"Go to the next line the other way", repeat_search_reversed},
    {L"rl_vi_line_number", L"Go to the line with the number, or the oldest", go_to_line_number},
};

struct Binding {
  const char *keys;
  const char *command;
};

// Added to the editor's emacs bindings.
static const Binding bindings[] = {
    {"^I", "rl_complete"},
    {"^Z", "rl_tstp"},
    {"^L", "rl_clear_screen"},
    // Home and End, as different terminals send them.
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
    // History.
    {"^R", "rl_inc_search_prev"},
    {"^P", "rl_prev_history"},
    {"\\e[A", "rl_prev_history"},
    {"\\eOA", "rl_prev_history"},
    {"^N", "rl_next_history"},
    {"\\e[B", "rl_next_history"},
    {"\\eOB", "rl_next_history"},
    // Page Up and Page Down.
    {"\\e[5~", "rl_oldest_history"},
    {"\\e[6~", "rl_newest_history"},
    // Meta-p and Meta-n, also with a capital letter.
    {"\\ep", "rl_search_prev_history"},
    {"\\eP", "rl_search_prev_history"},
    {"\\en", "rl_search_next_history"},
    {"\\eN", "rl_search_next_history"},
    // Words.
    {"\\et", "rl_transpose_words"},
    {"\\eT", "rl_transpose_words"},
    {"\\e.", "rl_insert_last_word"},
};

// The same keys with the eighth bit set, where bytes above 127 are Meta keys.
static const Binding meta_byte_bindings[] = {
    {"\\360", "rl_search_prev_history"}, {"\\320", "rl_search_prev_history"},
    {"\\356", "rl_search_next_history"}, {"\\316", "rl_search_next_history"},
    {"\\364", "rl_transpose_words"},     {"\\324", "rl_transpose_words"},
    {"\\256", "rl_insert_last_word"},
};

// Emacs keys that are unbound because they crash libedit 3.1-20221030.
static const char *const removed_emacs_keys[] = {
    // Meta-x and Meta-X ask for an editor command. If the command is a lone quote, libedit reads
    // beyond its end: SIGSEGV.
    "\\ex",
    "\\eX",
    // Meta-Ctrl-underscore copies the word before the cursor without checking the room left in the
    // buffer. Repeated on a growing line, it writes past the buffer.
    "\\e\\037",
};

// The same keys with the eighth bit set.
static const char *const removed_meta_bytes[] = {"\\370", "\\330", "\\237"};

// Keys of vi's command mode.
static const Binding vi_command_bindings[] = {
    {"k", "rl_prev_history"},        {"j", "rl_next_history"},
    {"\\055", "rl_prev_history"},    {"+", "rl_next_history"},
    {"K", "rl_search_prev_history"}, {"J", "rl_search_next_history"},
    {"/", "rl_vi_search_prev"},      {"?", "rl_vi_search_next"},
    {"n", "rl_vi_repeat_search"},    {"N", "rl_vi_repeat_search_reversed"},
    {"G", "rl_vi_line_number"},
};

// Keys of vi's command mode that are unbound: a colon asks for an editor command, as Meta-x does;
// v runs another program, an editor, on the line.
static const char *const removed_vi_command_keys[] = {":", "v"};

// The wide call: libedit 3.1-20221030 never frees the copies that it makes of narrow names.
static void add_commands() {
  for (const auto &command : commands)
    el_wset(editor.el, EL_ADDFN, command.name, command.help, command.function);
}

static void bind_key_to_command(int key, const char *command) {
  char octal[8];
  snprintf(octal, sizeof octal, "\\%03o", static_cast<unsigned>(key));
  el_set(editor.el, EL_BIND, octal, command, nullptr);
}

static void bind_emacs_digits() {
  for (int digit = '0'; digit <= '9'; ++digit) {
    char key[8];
    snprintf(key, sizeof key, "\\e%c", digit);
    el_set(editor.el, EL_BIND, key, "rl_digit_argument", nullptr);
  }
}

// In vi's command mode a 0 does not begin a count.
static void bind_vi_digits() {
  for (char key[] = "1"; *key <= '9'; ++*key)
    el_set(editor.el, EL_BIND, "-a", key, "rl_digit_argument", nullptr);
}

static void bind_meta_bytes() {
  for (int digit = '0'; digit <= '9'; ++digit)
    bind_key_to_command(0x80 + digit, "rl_digit_argument");
  for (const Binding &binding : meta_byte_bindings)
    el_set(editor.el, EL_BIND, binding.keys, binding.command, nullptr);
  for (const char *key : removed_meta_bytes) el_set(editor.el, EL_BIND, "-r", key, nullptr);
}

// libedit looks up the characters below 256 in its key map, and the bytes that are no character. In
// emacs's map it makes only printable characters insert themselves; in the map of vi's insert mode
// all of them do.
static void bind_high_codes_to_themselves() {
  for (int code = 0x80; code <= 0xff; ++code)
    if (iswprint(static_cast<wint_t>(code)) == 0) bind_key_to_command(code, "ed-insert");
}

static void bind_emacs_keys() {
  bind_emacs_digits();
  if (bytes_are_meta_keys())
    bind_meta_bytes();
  else
    bind_high_codes_to_themselves();
  for (const Binding &binding : bindings)
    el_set(editor.el, EL_BIND, binding.keys, binding.command, nullptr);
  if (!is_terminal_editing_key(fileno(rl_instream), 'T' & 0x1f))
    el_set(editor.el, EL_BIND, "^T", "rl_transpose_chars", nullptr);
  for (const char *key : removed_emacs_keys) el_set(editor.el, EL_BIND, "-r", key, nullptr);
}

static void bind_vi_command_key(const char *keys, const char *command) {
  el_set(editor.el, EL_BIND, "-a", keys, command, nullptr);
}

// In insert mode an Escape switches to command mode at once. So a sequence that begins with Escape
// is bound in command mode with the Escape and without it. Meta keys are not bound.
static void bind_key_for_vi(const Binding *binding) {
  const bool is_control = binding->keys[0] == '^';
  const bool is_sequence =
      strncmp(binding->keys, "\\e[", 3) == 0 || strncmp(binding->keys, "\\eO", 3) == 0;
  if (is_control) el_set(editor.el, EL_BIND, binding->keys, binding->command, nullptr);
  if (is_control || is_sequence) bind_vi_command_key(binding->keys, binding->command);
  if (is_sequence) bind_vi_command_key(binding->keys + 2, binding->command);
}

static void bind_vi_keys() {
  bind_vi_digits();
  for (const Binding &binding : bindings) bind_key_for_vi(&binding);
  for (const Binding &binding : vi_command_bindings)
    bind_vi_command_key(binding.keys, binding.command);
  for (const char *key : removed_vi_command_keys)
    el_set(editor.el, EL_BIND, "-a", "-r", key, nullptr);
}

// libedit 3.1-20221030 dies of a key that begins sequences when the last of all sequences has been
// removed. Nobody can type or remove this one. libedit also makes Ctrl-P, which has the low byte of
// its character, begin a sequence; that is undone when Ctrl-P is bound.
static void keep_one_sequence() {
  el_wset(editor.el, EL_BIND, L"\x110\x110", L"ed-unassigned", nullptr);
}

static void bind_default_keys() {
  reset_search_keys();
  forget_bound_texts();
  keep_one_sequence();
  el_set(editor.el, EL_BIND, "-k", "up", "rl_prev_history", nullptr);
  el_set(editor.el, EL_BIND, "-k", "down", "rl_next_history", nullptr);
  if (uses_vi_keys())
    bind_vi_keys();
  else
    bind_emacs_keys();
}

void set_up_keys() {
  el_set(editor.el, EL_EDITOR, "emacs");
  add_commands();
  bind_default_keys();
}

// --- Binding -------------------------------------------------------------------------------------

// libedit's commands that must not run, and the layer's commands that are bound in their place; an
// empty name if there is none. Without these bindings no key runs them, by whatever name or macro:
// libedit's own keys for them are bound to others, or to none, by bind_default_keys.
static const struct {
  const char *original;
  const char *replacement;
} replacements[] = {
    {"ed-prev-history", "rl_prev_history"},
    {"ed-next-history", "rl_next_history"},
    {"ed-search-prev-history", "rl_search_prev_history"},
    {"ed-search-next-history", "rl_search_next_history"},
    {"em-inc-search-prev", "rl_inc_search_prev"},
    {"em-inc-search-next", "rl_inc_search_next"},
    {"ed-clear-screen", "rl_clear_screen"},
    {"ed-redisplay", "rl_clear_screen"},
    {"vi-search-prev", "rl_vi_search_prev"},
    {"vi-search-next", "rl_vi_search_next"},
    {"vi-repeat-search-next", "rl_vi_repeat_search"},
    {"vi-repeat-search-prev", "rl_vi_repeat_search_reversed"},
    {"vi-to-history-line", "rl_vi_line_number"},
    // It writes beyond the buffer: see removed_emacs_keys.
    {"em-copy-prev-word", ""},
    // A closed shell has no use for another program, or for the editor's commands.
    {"ed-command", ""},
    {"vi-histedit", ""},
};

static const char *replacement_for(const char *name) {
  for (const auto &row : replacements)
    if (strcmp(name, row.original) == 0) return row.replacement;
  return name;
}

// Whether `command` is the one called `name`, for this program. A prefix that ends in a colon names
// the program, and only libedit can match it: it refuses an unknown command only if the prefix
// matches.
static bool is_command(const char *command, const char *name) {
  const char *colon = strchr(command, ':');
  if (colon == nullptr) return strcmp(command, name) == 0;
  if (strcmp(colon + 1, name) != 0) return false;
  char *unknown = strndup(command, static_cast<size_t>(colon + 1 - command));
  const char *words[] = {unknown, nullptr};
  const bool refused = el_parse(editor.el, 1, words) == -1;
  free(unknown);
  return refused;
}

// A line that binds keys, as libedit reads it.
struct BindLine {
  // -e or -v: resets all keys to libedit's bindings.
  bool resets;
  // -a, -k or another: not simply a key of the main key map.
  bool has_options;
  // -s: the key types a text.
  bool types_text;
  // -k: the key is named.
  bool names_key;
  // The words after the options: the key, and what is bound to it.
  const char **key;
};

// Options after -l, -e and -v do not count. Unknown ones are reported, but passed over.
static BindLine read_bind_line(const char **words) {
  BindLine line = {};
  for (line.key = words + 1; *line.key != nullptr && **line.key == '-'; ++line.key) {
    const char option = (*line.key)[1];
    line.has_options = true;
    line.types_text = line.types_text || option == 's';
    line.names_key = line.names_key || option == 'k';
    line.resets = option == 'e' || option == 'v';
    if (line.resets || option == 'l') break;
  }
  return line;
}

// Whether a key begins with a character beyond the 256 of the key map. libedit 3.1-20221030 would
// bind the one that has its low byte.
static bool is_beyond_key_map(const char *key) {
  wchar_t character = L'\0';
  if (key != nullptr) decode_character(&character, key, strlen(key));
  return character > 0xff;
}

// A character by its number: libedit 3.1-20221030 drops the one after it, and reads beyond the word
// if there is none.
static bool has_numbered_character(const BindLine *line) {
  for (const char **word = line->key; *word != nullptr; ++word)
    if (strstr(*word, "\\U+") != nullptr) return true;
  return false;
}

// Puts the layer's command in the place of one that must not run. Returns false if there is none.
static bool replace_command(const BindLine *line) {
  if (line->key[0] == nullptr || line->key[1] == nullptr || line->types_text) return true;
  const char **command = line->key + 1;
  *command = replacement_for(*command);
  if (!line->has_options && strlen(line->key[0]) == 1)
    note_key_inserts(line->key[0][0], strcmp(*command, "ed-insert") == 0);
  return **command != '\0';
}

// Whether a text may be bound. What a named key sends may be the text itself.
static bool text_ends(const BindLine *line) {
  if (!line->types_text || line->key[0] == nullptr || line->key[1] == nullptr) return true;
  expect_bound_texts();
  return !line->names_key && note_bound_text(line->key[0], line->key[1]);
}

static int run_bind_line(int count, const char **words) {
  const BindLine line = read_bind_line(words);
  if (is_beyond_key_map(*line.key) || has_numbered_character(&line)) return 1;
  if (!replace_command(&line) || !text_ends(&line)) return 1;
  const int result = el_parse(editor.el, count, words);
  if (line.resets) bind_default_keys();
  return result;
}

// libedit's picture of a higher screen could fill the memory; each row takes its own.
static constexpr long highest_screen = 1000;

static bool sets_too_high_a_screen(int count, const char **words) {
  return count > 2 && is_command(words[0], "settc") && strcmp(words[1], "li") == 0 &&
         strtol(words[2], nullptr, 10) > highest_screen;
}

static int run_words(int count, const char **words) {
  if (count == 0 || sets_too_high_a_screen(count, words)) return 1;
  return is_command(words[0], "bind") ? run_bind_line(count, words)
                                      : el_parse(editor.el, count, words);
}

int run_editor_command(const char *line) {
  Tokenizer *tokenizer = tok_init(nullptr);
  int count = 0;
  const char **words = nullptr;
  const bool parsed = tok_str(tokenizer, line, &count, &words) == 0;
  const int result = parsed ? run_words(count, words) : 1;
  tok_end(tokenizer);
  return result;
}

void bind_key_to_itself(int key) {
  bind_key_to_command(key, "ed-insert");
  note_key_inserts(key, true);
}

static unsigned char run_application_command(EditLine *, wint_t key) {
  // A sequence may end with any character; a byte that is none is negative.
  const int code = static_cast<int>(key);
  rl_command_func_t *function =
      code >= -0x80 && code <= 0xff ? application.functions[code & 0xff] : nullptr;
  if (function == nullptr) return CC_ERROR;
  publish_line();
  function(1, code);
  return finish_command(CC_NORM);
}

void add_application_command(const char *name, rl_command_func_t *function, int key) {
  application.functions[key] = function;
  el_set(editor.el, EL_ADDFN, name, name, run_application_command);
  bind_key_to_command(key, name);
}

}  // namespace lineedit
