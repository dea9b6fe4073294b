// The keys that every line has, and binding others.
#include "editline/commands/bindings.h"

#include <histedit.h>

#include <cstdio>
#include <cstring>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/terminal.h"
#include "editline/base/variables.h"
#include "editline/commands/completion.h"
#include "editline/commands/editing.h"
#include "editline/commands/history_search.h"
#include "editline/commands/history_walk.h"
#include "editline/input/keys.h"

namespace lineedit {

// The functions of the application's that run as commands, by key.
static struct { rl_command_func_t *functions[256]; } application;

// --- The keys of every line ----------------------------------------------------------------------

// The layer's own commands.
static const struct {
  const wchar_t *name;
  const wchar_t *help;
  unsigned char (*function)(EditLine *, wint_t);
} commands[] = {
    {L"rl_complete", L"Complete through the application's hook", complete},
    {L"rl_tstp", L"Send the suspend signal", suspend},
    {L"rl_transpose_chars", L"Exchange two characters", transpose_characters},
    {L"rl_prev_history", L"Go to the next older line", go_to_older_line},
    {L"rl_next_history", L"Go to the next newer line", go_to_newer_line},
    {L"rl_search_prev_history", L"Go to the next older line with the text before the cursor in it",
     go_to_older_match},
    {L"rl_search_next_history", L"Go to the next newer line with the text before the cursor in it",
     go_to_newer_match},
    {L"rl_inc_search_prev", L"Search older lines while typing", search_older},
    {L"rl_inc_search_next", L"Search newer lines while typing", search_newer},
    {L"rl_search_key", L"Take a key of a search", take_search_key},
};

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
    // History.
    {CAPTURING_KEY, "rl_search_key"},
    {HIDDEN_KEY "d", "em-delete-prev-char"},
    {"^R", "rl_inc_search_prev"},
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

// Wide: of narrow names libedit 3.1-20221030 makes copies that it never frees.
static void add_commands() {
  for (const auto &command : commands)
    el_wset(editor.el, EL_ADDFN, command.name, command.help, command.function);
}

void bind_default_keys() {
  add_commands();
  for (const auto &binding : default_bindings)
    el_set(editor.el, EL_BIND, binding.keys, binding.command, nullptr);
  el_set(editor.el, EL_BIND, "-k", "up", "rl_prev_history", nullptr);
  el_set(editor.el, EL_BIND, "-k", "down", "rl_next_history", nullptr);
  if (!is_key_of_terminal(fileno(rl_instream), 'T' & 0x1f))
    el_set(editor.el, EL_BIND, "^T", "rl_transpose_chars", nullptr);
  for (const char *key : removed_keys) el_set(editor.el, EL_BIND, "-r", key, nullptr);
  add_repeat_count(editor.el);
}

// --- Binding -------------------------------------------------------------------------------------

static void bind_key_to_command(int key, const char *command) {
  char octal[8];
  snprintf(octal, sizeof octal, "\\%03o", static_cast<unsigned>(key));
  el_set(editor.el, EL_BIND, octal, command, nullptr);
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

bool run_editor_command(const char *line) {
  Tokenizer *tokenizer = tok_init(nullptr);
  int count = 0;
  const char **words = nullptr;
  const bool parsed = tok_str(tokenizer, line, &count, &words) == 0 && count > 0;
  if (parsed && count == 3 && strcmp(words[0], "bind") == 0) note_binding(words);
  const bool accepted = parsed && el_parse(editor.el, count, words) == 0;
  tok_end(tokenizer);
  return accepted;
}

void bind_key_to_itself(int key) {
  bind_key_to_command(key, "ed-insert");
  note_key_inserts(key, true);
}

static unsigned char run_application_command(EditLine *, wint_t key) {
  rl_command_func_t *function = application.functions[key & 0xff];
  if (function == nullptr) return CC_ERROR;
  publish_line();
  function(1, static_cast<int>(key));
  return finish_command(CC_NORM);
}

void add_application_command(const char *name, rl_command_func_t *function, int key) {
  application.functions[key] = function;
  el_set(editor.el, EL_ADDFN, name, name, run_application_command);
  bind_key_to_command(key, name);
}

}  // namespace lineedit
