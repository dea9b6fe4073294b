// Making and ending the editor: the streams, the terminal's settings kept as they are, the history
// object, the prompt, and the user's own settings file.
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "editline/base/editor.h"
#include "editline/base/terminal.h"
#include "editline/commands/history_search.h"
#include "editline/commands/history_walk.h"
#include "editline/input/bulk_guard.h"
#include "editline/input/keys.h"
#include "editline/readline.h"
#include "editline/screen/rows.h"

namespace lineedit {

LayerState layer;

FILE *rl_instream;
FILE *rl_outstream;
const char *rl_readline_name = "";

static wchar_t *current_prompt(EditLine *) { return layer.prompt; }

// The editor knows one marker for both ends of an invisible sequence and would take an end that
// meets a start for an empty sequence, so the pair between two adjoining sequences goes.
static const char *skip_adjoining_markers(const char *bytes) {
  while (bytes[0] == '\002' && bytes[1] == '\001') bytes += 2;
  return bytes;
}

// Decodes one character of `bytes`; '?' for a byte that the locale cannot. Returns the bytes used.
static size_t decode_character(wchar_t *out, const char *bytes) {
  mbstate_t shift = {};
  const size_t used = mbrtowc(out, bytes, strlen(bytes), &shift);
  if (used <= MB_LEN_MAX) return used;
  *out = L'?';
  return 1;
}

// libedit 3.1-20221030 shows an invisible sequence with the character after it, and not at all
// where there is none: a colour switched off at the very end of the prompt would stay on. So such a
// sequence changes places with the character before it, which is a blank as a rule; and becomes one
// with the sequence that it then follows.
static void save_trailing_sequence(wchar_t *end) {
  if (end - layer.prompt < 3 || end[-1] != L'\001') return;
  wchar_t *start = end - 2;
  while (start > layer.prompt && *start != L'\001') --start;
  if (start == layer.prompt || start[-1] == L'\001') return;
  const wchar_t character = start[-1];
  wmemmove(start - 1, start, static_cast<size_t>(end - start));
  end[-1] = character;
  if (start - layer.prompt < 2 || start[-2] != L'\001') return;
  wmemmove(start - 2, start, static_cast<size_t>(end + 1 - start));
}

// libedit does not draw a character without a width, but a sequence before it is lost with it.
static bool is_drawn(wchar_t character, bool invisible) {
  return invisible || character == L'\001' || wcwidth(character) >= 0;
}

// libedit 3.1-20221030 decodes a narrow prompt itself and dies of a null pointer where the locale
// cannot (any byte above 127 in the C locale). So it gets a decoded one.
void set_prompt(const char *bytes) {
  free(layer.prompt);
  layer.prompt = static_cast<wchar_t *>(malloc((strlen(bytes) + 1) * sizeof(wchar_t)));
  wchar_t *out = layer.prompt;
  bool invisible = false;
  for (bytes = skip_adjoining_markers(bytes); *bytes != '\0';
       bytes = skip_adjoining_markers(bytes)) {
    bytes += decode_character(out, bytes);
    if (*out == L'\002') *out = L'\001';
    if (*out == L'\001') invisible = !invisible;
    if (is_drawn(*out, invisible)) ++out;
  }
  *out = L'\0';
  save_trailing_sequence(out);
}

const char *show_upper_rows(const char *prompt) {
  const char *last_break = strrchr(prompt, '\n');
  if (last_break == nullptr) return prompt;
  for (; prompt <= last_break; ++prompt)
    if (layer.has_terminal && *prompt != '\001' && *prompt != '\002') fputc(*prompt, rl_outstream);
  return prompt;
}

bool editing_is_on() {
  int editing = 0;
  el_get(layer.editor, EL_EDITMODE, &editing);
  return editing != 0;
}

void set_editing(bool on) { el_set(layer.editor, EL_EDITMODE, on ? 1 : 0); }

// libedit leaves the terminal alone while editing is off.
static void switch_terminal(int raw) {
  const bool editing = editing_is_on();
  set_editing(true);
  el_set(layer.editor, EL_PREP_TERM, raw);
  set_editing(editing);
}

// A terminal that does not echo is left as it is; editing is off there from the beginning. The
// bulk-input guard switches editing off on others. libedit does not tell whether it worked: no
// system call failed where errno is still 0.
bool make_terminal_raw() {
  if (!layer.has_terminal) return true;
  if (!editing_is_on() && !bulk_guard_is_armed(layer.editor)) return true;
  errno = 0;
  switch_terminal(1);
  layer.terminal_is_raw = errno == 0 || hands_over_single_keys(fileno(rl_instream));
  return layer.terminal_is_raw;
}

void make_terminal_cooked() {
  if (!layer.has_terminal || !layer.terminal_is_raw) return;
  switch_terminal(0);
  layer.terminal_is_raw = false;
  put_back_uncooked_settings(&layer.line_start);
}

// The process that made the editor. A child that it forks has no business with the terminal.
static pid_t owner;

// For a process that leaves while another of its threads reads, or between two lines read in bulk.
static void give_terminal_back_at_exit() {
  if (layer.terminal_is_raw && getpid() == owner) put_back_terminal_settings(&layer.line_start);
}

static void see_to_exit() {
  if (owner == 0) atexit(give_terminal_back_at_exit);
  owner = getpid();
}

// Ends the editor without a word to its terminal, which it leaves cooked after each line, but for
// those read in bulk. Ending it would put back the settings of its creation and throw the
// type-ahead away; it does neither while editing is off.
static void end_editor() {
  if (layer.editor != nullptr) {
    if (layer.terminal_is_raw) make_terminal_cooked();
    forget_screen();
    el_set(layer.editor, EL_EDITMODE, 0);
    el_end(layer.editor);
  }
  if (layer.history != nullptr) history_end(layer.history);
  forget_typed_text();
  forget_searches();
  layer.editor = nullptr;
  layer.history = nullptr;
  bulk_guard_forget();
}

static void connect_history() {
  HistEvent event;
  history(layer.history, &event, H_SETSIZE, INT_MAX);
  el_set(layer.editor, EL_HIST, history_for_editor, layer.history);
}

// libedit 3.1-20221030 begins with a buffer of 1024 characters, not all of them for the line.
static constexpr size_t initial_line_room = 1000;

// Everything of a new editor but its terminal. A terminal that does not echo is read as it is.
static void furnish_editor(bool echoing) {
  layer.line_room = initial_line_room;
  if (!echoing) el_set(layer.editor, EL_EDITMODE, 0);
  connect_history();
  el_set(layer.editor, EL_GETCFN, key_reader());
  set_prompt("");
  el_wset(layer.editor, EL_PROMPT_ESC, current_prompt, L'\001');
  el_set(layer.editor, EL_EDITOR, "emacs");
  add_commands(layer.editor);
  el_source(layer.editor, nullptr);
  publish_line();
}

int rl_initialize() {
  end_editor();
  see_to_exit();
  if (rl_instream == nullptr) rl_instream = stdin;
  if (rl_outstream == nullptr) rl_outstream = stdout;

  TerminalSettings found;
  read_terminal_settings(&found, fileno(rl_instream));
  layer.editor = el_init(rl_readline_name, rl_instream, rl_outstream, stderr);
  layer.history = history_init();
  layer.has_terminal = found.known && isatty(fileno(rl_outstream)) != 0;
  const bool made = layer_is_initialised();
  if (made && layer.has_terminal) leave_terminal_flags_alone(layer.editor);
  if (made)
    furnish_editor(terminal_echoes(&found));
  else
    end_editor();
  if (layer.has_terminal) put_back_terminal_settings(&found);
  return made ? 0 : -1;
}

bool initialise_layer() { return layer_is_initialised() || rl_initialize() == 0; }

History *get_history() { return layer.history; }

int add_history(const char *line) {
  if (!initialise_layer()) return 0;
  HistEvent event;
  history(layer.history, &event, H_ENTER, line);
  return 0;
}

void clear_history() {
  if (!initialise_layer()) return;
  HistEvent event;
  history(layer.history, &event, H_CLEAR);
}

void rl_get_screen_size(int *rows, int *cols) {
  if (!initialise_layer()) return;
  if (rows != nullptr) el_get(layer.editor, EL_GETTC, "li", rows);
  if (rows != nullptr && layer.true_rows != 0) *rows = layer.true_rows;
  if (cols != nullptr) el_get(layer.editor, EL_GETTC, "co", cols);
}

static void set_terminal_capability(const char *name, int value) {
  char digits[16];
  snprintf(digits, sizeof digits, "%d", value);
  el_set(layer.editor, EL_SETTC, name, digits, nullptr);
}

void rl_set_screen_size(int rows, int cols) {
  if (!initialise_layer()) return;
  forget_screen();
  set_terminal_capability("li", rows);
  set_terminal_capability("co", cols);
}

}  // namespace lineedit
