// The terminal's settings, protected from an editor that would normalise them.
#include "editline/base/terminal.h"

#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <initializer_list>

#include "editline/base/editor.h"
#include "editline/base/variables.h"

namespace lineedit {

static struct {
  // The settings at the start of the current line, or of the first line read in bulk.
  TerminalSettings line_start;
  // libedit still takes the terminal to be raw. It has been given back without libedit, which would
  // have waited until stopped output goes on.
  bool editor_is_behind;
  // The process that restores the terminal at its exit; 0 before the first editor.
  pid_t owner;
} terminal_state;

// --- Settings ------------------------------------------------------------------------------------

void read_terminal_settings(TerminalSettings *found, int descriptor) {
  found->descriptor = descriptor;
  found->known = tcgetattr(descriptor, &found->settings) == 0;
}

void restore_terminal_settings(const TerminalSettings *found) {
  if (found->known) tcsetattr(found->descriptor, TCSANOW, &found->settings);
}

bool terminal_echoes(const TerminalSettings *found) {
  return !found->known || (found->settings.c_lflag & ECHO) != 0;
}

static bool are_raw(const struct termios *settings) {
  return (settings->c_lflag & (ICANON | ECHO)) == 0;
}

bool terminal_is_raw(int descriptor) {
  struct termios settings;
  return tcgetattr(descriptor, &settings) == 0 && are_raw(&settings);
}

bool is_terminal_editing_key(int descriptor, unsigned char key) {
  struct termios settings;
  if (tcgetattr(descriptor, &settings) != 0) return false;
  for (const int which : {VERASE, VKILL, VWERASE, VREPRINT, VLNEXT, VEOF})
    if (settings.c_cc[which] == key) return true;
  return false;
}

void make_reads_wait(int descriptor, bool wait) {
  struct termios settings;
  if (tcgetattr(descriptor, &settings) != 0 || !are_raw(&settings)) return;
  settings.c_cc[VMIN] = wait ? 1 : 0;
  tcsetattr(descriptor, TCSANOW, &settings);
}

// --- The editor's normal mode --------------------------------------------------------------------

// The flags that the editor sets or clears in its normal mode. A bare name in its "setty" command
// removes a flag from both lists.
static const char *const normal_mode_flags[] = {
    "icrnl", "inlcr", "igncr",   "opost",  "onlcr",  "onlret", "isig",    "icanon",
    "echo",  "echoe", "echoctl", "iexten", "noflsh", "echonl", "extproc", "flusho",
};

// If Ctrl-C follows a key at once, the driver may drop the key after the wait for it and before the
// read. A read that then blocked would keep the signal out, so reads return at once. libedit must
// be told in two ways, one of them for terminals with special characters of their own.
static void read_without_waiting() { el_set(editor.el, EL_SETTY, "-d", "min=^@", "-min", nullptr); }

void preserve_terminal_flags() {
  read_without_waiting();
  for (const char *flag : normal_mode_flags) el_set(editor.el, EL_SETTY, "-x", flag, nullptr);
}

// --- Raw and cooked ------------------------------------------------------------------------------

// The editor restores a terminal that was in canonical mode (ICANON). It switches any other to its
// normal mode, which is undone here.
static void restore_uncooked_settings() {
  const TerminalSettings *found = &terminal_state.line_start;
  if (found->known && (found->settings.c_lflag & ICANON) == 0) restore_terminal_settings(found);
}

// libedit does not switch the terminal while editing is off, so editing is turned on for the call.
static void switch_terminal(int raw) {
  const bool editing = editing_is_on();
  set_editing(true);
  el_set(editor.el, EL_PREP_TERM, raw);
  set_editing(editing);
}

// Has libedit give the terminal back, too, which changes nothing there. Sets errno if that fails.
static void catch_editor_up() {
  if (!terminal_state.editor_is_behind) return;
  switch_terminal(0);
  restore_terminal_settings(&terminal_state.line_start);
  terminal_state.editor_is_behind = errno != 0;
}

// A terminal without echo is left alone: editing is off there from the start. On other terminals
// the bulk-input guard may have turned editing off. libedit does not report success; if errno is
// still 0, no system call has failed.
bool make_terminal_raw() {
  if (!editor.has_terminal) return true;
  if (!editing_is_on() && !editor.tty_overflow_fix) return true;
  errno = 0;
  catch_editor_up();
  switch_terminal(1);
  editor.terminal_is_raw = errno == 0 || terminal_is_raw(fileno(rl_instream));
  return editor.terminal_is_raw;
}

static void note_given_back() {
  editor.terminal_is_raw = false;
  terminal_state.editor_is_behind = true;
}

void make_terminal_cooked() {
  if (!editor.has_terminal || !editor.terminal_is_raw) return;
  if (terminal_state.line_start.known)
    restore_terminal_settings(&terminal_state.line_start);
  else
    switch_terminal(0);
  note_given_back();
}

void leave_terminal_to_parent() {
  if (editor.terminal_is_raw) note_given_back();
}

void begin_line_on_terminal() {
  if (!editor.terminal_is_raw)
    read_terminal_settings(&terminal_state.line_start, fileno(rl_instream));
}

void end_line_on_terminal() {
  if (!editor.terminal_is_raw) restore_uncooked_settings();
}

// --- The exit ------------------------------------------------------------------------------------

static void restore_terminal() {
  if (editor.terminal_is_raw && getpid() == terminal_state.owner)
    restore_terminal_settings(&terminal_state.line_start);
}

void restore_terminal_at_exit() {
  if (terminal_state.owner == 0) atexit(restore_terminal);
  terminal_state.owner = getpid();
}

}  // namespace lineedit
