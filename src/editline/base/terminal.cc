// Keeping the terminal's settings as they were found, around an editor that would normalise them.
#include "editline/base/terminal.h"

#include <initializer_list>

namespace lineedit {

// The flags that the editor sets or clears in its normal mode. A bare name in its "setty" command
// takes a flag out of both lists.
static const char *const normal_mode_flags[] = {
    "icrnl", "inlcr", "igncr",   "opost",  "onlcr",  "onlret", "isig",    "icanon",
    "echo",  "echoe", "echoctl", "iexten", "noflsh", "echonl", "extproc", "flusho",
};

void read_terminal_settings(TerminalSettings *found, int descriptor) {
  found->descriptor = descriptor;
  found->known = tcgetattr(descriptor, &found->settings) == 0;
}

void put_back_terminal_settings(const TerminalSettings *found) {
  if (found->known) tcsetattr(found->descriptor, TCSADRAIN, &found->settings);
}

void put_back_uncooked_settings(const TerminalSettings *found) {
  if (found->known && (found->settings.c_lflag & ICANON) == 0) put_back_terminal_settings(found);
}

bool hands_over_single_keys(int descriptor) {
  struct termios settings;
  return tcgetattr(descriptor, &settings) == 0 && (settings.c_lflag & (ICANON | ECHO)) == 0;
}

bool terminal_echoes(const TerminalSettings *found) {
  return !found->known || (found->settings.c_lflag & ECHO) != 0;
}

// Between the end of the wait for a key and its reading, the driver may drop the key, at a Ctrl-C
// right behind it. A reader that then waited in read() would not let the signal in.
// libedit is told in two ways, one for terminals that have characters of their own.
static void read_without_waiting(EditLine *editor) {
  el_set(editor, EL_SETTY, "-d", "min=^@", "-min", nullptr);
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
  if (tcgetattr(descriptor, &settings) != 0 || (settings.c_lflag & (ICANON | ECHO)) != 0) return;
  settings.c_cc[VMIN] = wait ? 1 : 0;
  tcsetattr(descriptor, TCSANOW, &settings);
}

void leave_terminal_flags_alone(EditLine *editor) {
  read_without_waiting(editor);
  for (const char *flag : normal_mode_flags) el_set(editor, EL_SETTY, "-x", flag, nullptr);
}

}  // namespace lineedit
