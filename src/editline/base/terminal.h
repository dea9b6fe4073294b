// The terminal's settings: switching it between editing and what the shell had, and keeping them as
// they were found.
//
// libedit 3.1-20221030 writes its own idea of a normal terminal (echo on, ICRNL on, special
// characters enabled, ...) when an editor is made, and ends every line in it. Shown by the tests of
// the terminal's settings, which fail without any one of the calls below.
#pragma once

#include <termios.h>

namespace lineedit {

struct TerminalSettings {
  int descriptor;
  bool known;  // false when the descriptor is not a terminal
  struct termios settings;
};

// Remembers the settings of the terminal on `descriptor`.
void read_terminal_settings(TerminalSettings *found, int descriptor);
// Writes them back; does nothing when there was no terminal.
void restore_terminal_settings(const TerminalSettings *found);
// False only for a terminal whose echo is off.
bool terminal_echoes(const TerminalSettings *found);
// Whether `descriptor` is a terminal that hands keys over one by one and does not echo them.
bool terminal_is_raw(int descriptor);
// Whether the terminal's user has chosen this key for editing, as with "stty erase". libedit binds
// such a key accordingly.
bool is_key_of_terminal(int descriptor, unsigned char key);

// Tells the editor to take every flag of its normal mode from the terminal as it finds it. For an
// editor that has a terminal: one without would at once set the terminal at its input to nothing at
// all, a line speed of 0 included.
void keep_terminal_flags();

// Switches the terminal between editing (raw, no echo) and the settings that the shell had. Neither
// does anything without a terminal, or while editing is off, unless the bulk-input guard is armed.
// The first returns false where it failed.
bool make_terminal_raw();
void make_terminal_cooked();

// Around the reading of a line: the second puts the settings back that the first has found. For a
// line that the first finds raw already, they are those of the line before.
void begin_line_on_terminal();
void end_line_on_terminal();

// For a process that leaves while another of its threads reads, or between two lines read in bulk:
// has its exit give the terminal back. A child that it forks has no business with the terminal.
void give_terminal_back_at_exit();

// The editor's raw terminal has a read return at once where there is nothing. This changes that for
// whoever else reads from it meanwhile, or back; a terminal that is not raw is left alone.
void make_reads_wait(int descriptor, bool wait);

}  // namespace lineedit
