// The terminal's settings, around an editor that would normalise them.
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
  // The settings when the line in progress began, or the first of those read in bulk.
  TerminalSettings line_start;
  // The process whose exit gives the terminal back; 0 before the first editor.
  pid_t owner;
} terminal_state;

// --- Settings ------------------------------------------------------------------------------------

void read_terminal_settings(TerminalSettings *found, int descriptor) {
  found->descriptor = descriptor;
  found->known = tcgetattr(descriptor, &found->settings) == 0;
}

void restore_terminal_settings(const TerminalSettings *found) {
  if (found->known) tcsetattr(found->descriptor, TCSADRAIN, &found->settings);
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

bool is_key_of_terminal(int descriptor, unsigned char key) {
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

// --- What the editor is told ---------------------------------------------------------------------

// The flags that the editor sets or clears in its normal mode. A bare name in its "setty" command
// takes a flag out of both lists.
static const char *const normal_mode_flags[] = {
    "icrnl", "inlcr", "igncr",   "opost",  "onlcr",  "onlret", "isig",    "icanon",
    "echo",  "echoe", "echoctl", "iexten", "noflsh", "echonl", "extproc", "flusho",
};

// Between the end of the wait for a key and its reading, the driver may drop the key, at a Ctrl-C
// right behind it. A reader that then waited in read() would not let the signal in.
// libedit is told in two ways, one for terminals that have characters of their own.
static void read_without_waiting() { el_set(editor.el, EL_SETTY, "-d", "min=^@", "-min", nullptr); }

void keep_terminal_flags() {
  read_without_waiting();
  for (const char *flag : normal_mode_flags) el_set(editor.el, EL_SETTY, "-x", flag, nullptr);
}

// --- Raw and cooked ------------------------------------------------------------------------------

// The editor restores a terminal that was in line mode (ICANON) by itself, and takes any other for
// one that needs its normal mode.
static void restore_uncooked_settings() {
  const TerminalSettings *found = &terminal_state.line_start;
  if (found->known && (found->settings.c_lflag & ICANON) == 0) restore_terminal_settings(found);
}

// libedit leaves the terminal alone while editing is off.
static void switch_terminal(int raw) {
  const bool editing = editing_is_on();
  set_editing(true);
  el_set(editor.el, EL_PREP_TERM, raw);
  set_editing(editing);
}

// A terminal that does not echo is left as it is; editing is off there from the beginning. The
// bulk-input guard switches editing off on others. libedit does not tell whether it worked: no
// system call failed where errno is still 0.
bool make_terminal_raw() {
  if (!editor.has_terminal) return true;
  if (!editing_is_on() && !editor.tty_overflow_fix) return true;
  errno = 0;
  switch_terminal(1);
  editor.terminal_is_raw = errno == 0 || terminal_is_raw(fileno(rl_instream));
  return editor.terminal_is_raw;
}

void make_terminal_cooked() {
  if (!editor.has_terminal || !editor.terminal_is_raw) return;
  switch_terminal(0);
  editor.terminal_is_raw = false;
  restore_uncooked_settings();
}

void begin_line_on_terminal() {
  if (!editor.terminal_is_raw)
    read_terminal_settings(&terminal_state.line_start, fileno(rl_instream));
}

void end_line_on_terminal() {
  if (!editor.terminal_is_raw) restore_uncooked_settings();
}

// --- The exit ------------------------------------------------------------------------------------

static void give_terminal_back() {
  if (editor.terminal_is_raw && getpid() == terminal_state.owner)
    restore_terminal_settings(&terminal_state.line_start);
}

void give_terminal_back_at_exit() {
  if (terminal_state.owner == 0) atexit(give_terminal_back);
  terminal_state.owner = getpid();
}

}  // namespace lineedit
