// The terminal's settings, protected from an editor that would normalise them.
#include "editline/base/terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <initializer_list>

#include "editline/base/editor.h"
#include "editline/base/streams.h"
#include "editline/base/variables.h"

namespace lineedit {

static struct {
  // The settings at the start of the current line, or of the first line read in bulk.
  TerminalSettings line_start;
  // The output's descriptor at that time.
  int output;
  // The editor's settings, while others use the terminal.
  TerminalSettings lent;
  // libedit still takes the terminal to be raw. It has been given back without libedit, which would
  // have waited until stopped output goes on.
  bool editor_is_behind;
  // The process restores the terminal at its exit.
  bool restored_at_exit;
} terminal_state;

// --- Settings ------------------------------------------------------------------------------------

// The terminal behind a descriptor, by whatever name it was opened; 0 if there is none.
static unsigned terminal_behind(int descriptor) {
  unsigned device = 0;
  return ioctl(descriptor, TIOCGDEV, &device) == 0 ? device : 0;
}

void read_terminal_settings(TerminalSettings *found, int descriptor) {
  found->descriptor = descriptor;
  found->known = tcgetattr(descriptor, &found->settings) == 0;
  found->terminal = found->known ? terminal_behind(descriptor) : 0;
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

void lend_terminal() {
  TerminalSettings *lent = &terminal_state.lent;
  read_terminal_settings(lent, input_descriptor());
  struct termios settings = lent->settings;
  settings.c_cc[VMIN] = 1;
  lent->known = lent->known && editor.terminal_is_raw && are_raw(&settings);
  if (lent->known) tcsetattr(lent->descriptor, TCSANOW, &settings);
}

void take_terminal_back() {
  if (editor.terminal_is_raw) restore_terminal_settings(&terminal_state.lent);
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

// --- The settings of the line --------------------------------------------------------------------

// The application may have closed the input's descriptor, and its number may belong to something
// else now, even to another terminal.
static bool input_reaches_terminal() {
  const TerminalSettings *found = &terminal_state.line_start;
  return !found->known || terminal_behind(found->descriptor) == found->terminal;
}

static bool restore_line_start_through(int descriptor) {
  const TerminalSettings *found = &terminal_state.line_start;
  return descriptor >= 0 && terminal_behind(descriptor) == found->terminal &&
         tcsetattr(descriptor, TCSANOW, &found->settings) == 0;
}

static void restore_line_start_through_own_terminal() {
  const int descriptor = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  restore_line_start_through(descriptor);
  if (descriptor >= 0) close(descriptor);
}

// Through the first descriptor that reaches the terminal. Only system calls, so that a signal
// handler and any thread may call it.
static void restore_line_start() {
  if (!terminal_state.line_start.known) return;
  for (const int descriptor :
       {terminal_state.line_start.descriptor, terminal_state.output, STDERR_FILENO})
    if (restore_line_start_through(descriptor)) return;
  restore_line_start_through_own_terminal();
}

// --- Raw and cooked ------------------------------------------------------------------------------

// The editor restores a terminal that was in canonical mode (ICANON). It switches any other to its
// normal mode, which is undone here.
static void restore_uncooked_settings() {
  const TerminalSettings *found = &terminal_state.line_start;
  if (found->known && (found->settings.c_lflag & ICANON) == 0) restore_line_start();
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
  if (input_reaches_terminal()) switch_terminal(0);
  restore_line_start();
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
  editor.terminal_is_raw = errno == 0 || terminal_is_raw(input_descriptor());
  return editor.terminal_is_raw;
}

void restore_raw_terminal() {
  if (!editor.terminal_is_raw) return;
  make_terminal_cooked();
  make_terminal_raw();
}

static void note_given_back() {
  editor.terminal_is_raw = false;
  terminal_state.editor_is_behind = true;
}

void make_terminal_cooked() {
  if (!editor.has_terminal || !editor.terminal_is_raw) return;
  if (terminal_state.line_start.known)
    restore_line_start();
  else
    switch_terminal(0);
  note_given_back();
}

void leave_terminal_to_parent() {
  if (editor.terminal_is_raw) note_given_back();
}

void begin_line_on_terminal() {
  if (editor.terminal_is_raw) return;
  read_terminal_settings(&terminal_state.line_start, input_descriptor());
  terminal_state.output = output_descriptor();
}

// libedit restores the terminal through the descriptor that it was made with. It must not do so if
// that reaches another terminal; so it is told that it does not edit.
void abandon_terminal() {
  if (editor.has_terminal && editor.terminal_is_raw) set_editing(false);
}

static void restore_abandoned_terminal() {
  restore_line_start();
  editor.terminal_is_raw = false;
  set_editing(true);
}

void end_line_on_terminal(bool ended_input) {
  if (rl_instream == nullptr && editor.terminal_is_raw)
    restore_abandoned_terminal();
  else if (ended_input && !input_reaches_terminal())
    restore_line_start();
  else if (!editor.terminal_is_raw)
    restore_uncooked_settings();
}

// --- The exit ------------------------------------------------------------------------------------

void restore_terminal() {
  if (editor.terminal_is_raw) restore_line_start();
}

void restore_terminal_at_exit() {
  if (!terminal_state.restored_at_exit) atexit(restore_terminal);
  terminal_state.restored_at_exit = true;
}

}  // namespace lineedit
