// The terminal's settings: switching between raw mode and the shell's settings, and restoring the
// latter exactly.
//
// When libedit 3.1-20221030 creates an editor, it sets the terminal to its own idea of normal (echo
// on, ICRNL on, special characters enabled, ...), and it returns to that after every line.
#pragma once

#include <termios.h>

namespace lineedit {

struct TerminalSettings {
  int descriptor;
  bool known;         // false when the descriptor is not a terminal
  unsigned terminal;  // the terminal's device number; 0 if it has none
  struct termios settings;
};

// Reads the settings of the terminal on `descriptor`.
void read_terminal_settings(TerminalSettings *found, int descriptor);
// Writes them back; does nothing when there was no terminal.
void restore_terminal_settings(const TerminalSettings *found);
// False only for a terminal whose echo is off.
bool terminal_echoes(const TerminalSettings *found);
// Whether `descriptor` is a terminal that delivers each key at once and does not echo it.
bool terminal_is_raw(int descriptor);
// Whether the terminal's settings give this key an editing function, as "stty erase" does. libedit
// binds such a key accordingly.
bool is_terminal_editing_key(int descriptor, unsigned char key);

// Tells the editor to leave every flag of its normal mode as it finds it on the terminal. Only for
// an editor that has a terminal: any other would at once write settings of all zeros, line speed
// included, to a terminal on its input.
void preserve_terminal_flags();

// Switch the terminal between editing (raw, no echo) and the shell's settings. Neither does
// anything without a terminal, or while editing is off unless the bulk-input guard is armed. The
// first returns false if it fails. The second does not wait for output, which may be stopped, and
// may be called by a signal handler.
bool make_terminal_raw();
void make_terminal_cooked();
// For a forked child: the terminal is its parent's, and the child leaves it as it is until it reads
// a line itself.
void leave_terminal_to_parent();

// Bracket the reading of a line: the second restores the settings that the first found. If the
// terminal was already raw, those are the settings found for an earlier line. `ended_input` says
// that there was no line. If the input's descriptor does not reach the terminal any more, its
// settings are restored through the output's, the standard error's or /dev/tty.
void begin_line_on_terminal();
void end_line_on_terminal(bool ended_input);

// The streams have been released within the line: libedit does not touch the terminal any more, and
// end_line_on_terminal restores it.
void abandon_terminal();

// Makes the process restore the terminal when it exits, in case it exits while another thread reads
// a line, or between two lines read in bulk. A forked child restores it for a line of its own only.
void restore_terminal_at_exit();

// Restores the terminal if a line is being read, before the process ends. Any thread and any signal
// handler may call it.
void restore_terminal();

// Bracket other code that may use the terminal while a line is edited. In the editor's raw mode a
// read returns at once if there is no input; meanwhile it waits. The second brings the editor's
// settings back, whatever has become of them.
void lend_terminal();
void take_terminal_back();

// After a stop of the process: makes the terminal raw again, if the editor believes that it is.
void restore_raw_terminal();

}  // namespace lineedit
