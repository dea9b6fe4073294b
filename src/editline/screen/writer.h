// Writing to the terminal. Everything is kept until flush_writer, and then written at once.
#pragma once

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

// Writes what was kept to rl_outstream.
void flush_writer();

void wipe_writer();

}  // namespace lineedit
