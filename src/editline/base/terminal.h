// Keeping the terminal's settings as they were found.
//
// libedit 3.1-20221030 writes its own idea of a normal terminal (echo on, ICRNL on, special
// characters enabled, ...) when an editor is made, and ends every line in it. Shown by the tests of
// the terminal's settings, which fail without any one of the calls below.
#pragma once

#include <histedit.h>
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
void put_back_terminal_settings(const TerminalSettings *found);
// The same for a terminal that was not in line mode (ICANON off): the editor keeps the settings of
// one that was by itself, and takes any other for one that needs its normal mode.
void put_back_uncooked_settings(const TerminalSettings *found);
// Whether `descriptor` is a terminal that hands keys over one by one and does not echo them.
bool hands_over_single_keys(int descriptor);
// False only for a terminal whose echo is off.
bool terminal_echoes(const TerminalSettings *found);
// Tells the editor to take every flag of its normal mode from the terminal as it finds it. For an
// editor that has a terminal: one without would at once set the terminal at its input to nothing at
// all, a line speed of 0 included.
void leave_terminal_flags_alone(EditLine *editor);

// Whether the terminal's user has chosen this key for editing, as with "stty erase". libedit binds
// such a key accordingly.
bool is_key_of_terminal(int descriptor, unsigned char key);

// The editor's raw terminal has a read return at once where there is nothing. This changes that
// for whoever else reads from it meanwhile, or back; a terminal that is not raw is left alone.
void make_reads_wait(int descriptor, bool wait);

}  // namespace lineedit
