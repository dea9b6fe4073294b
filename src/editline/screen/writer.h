// Writing to the terminal. Everything is kept until flush_writer, and then written at once.
#pragma once

#include <sys/types.h>

#include <cstddef>

namespace lineedit {

// What terminals can do, by libedit's names (those of termcap).
enum class Control {
  up,            // "up": the cursor, a row
  right,         // "nd": the cursor, a column
  column,        // "ch": the cursor, to the column given
  clear_row,     // "ce": from the cursor on
  clear_below,   // "cd": from the cursor on
  clear_screen,  // "cl": all, and the cursor to the top left corner
  insert,        // "IC": as many blanks as given, pushing the rest of the row to the right
  remove,        // "DC": as many columns as given, pulling the rest of the row to the left
};

// Looks up what the terminal can do: for a new editor.
void query_controls();
bool has_control(Control control);
// At the right margin the cursor goes to the next row by itself: at once, or (late) when the next
// character is written.
bool wraps();
bool wraps_late();

void write_bytes(const char *bytes, size_t size);
void write_repeated(char byte, int count);
// Writes a character of the locale that can be printed.
void write_character(wchar_t character);
// Writes a control that the terminal has. `argument` is for those that take one.
void write_control(Control control, int argument = 0);

// Writes what was kept to rl_outstream. If a signal ends that on a terminal that takes no more,
// keeps the rest.
void flush_writer();

// Writes what the application has left in the buffer of rl_outstream.
void flush_stream();

// What to do with a terminal that takes no more for now, as after Ctrl-S.
struct StoppedTerminal {
  // Returns as write does, and -1 with EINTR if a signal is to be acted on first.
  ssize_t (*write)(int descriptor, const void *bytes, size_t size);
  // Waits until the terminal takes something. Returns false if a signal is to be acted on first.
  bool (*wait)(int descriptor);
};
void wait_for_stopped_terminal(const StoppedTerminal *waiting);
// The next flush opens the terminal again: at the end of a line, and where the application may
// close any descriptor, or exchange the terminal.
void close_terminal();
// Drops what was kept, for a new line.
void drop_unwritten();

void wipe_writer();

}  // namespace lineedit
