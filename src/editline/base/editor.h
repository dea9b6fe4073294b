// What the files of the layer share: the one editor and the state kept beside it.
#pragma once

#include <histedit.h>

#include <cstddef>

#include "editline/base/terminal.h"

namespace lineedit {

struct LayerState {
  // Both null before rl_initialize, both set after it.
  EditLine *editor;
  History *history;
  // Output is a terminal and the input's settings can be read. Without that the editor only reads:
  // no prompt, no editing, nothing switched.
  bool has_terminal;
  // The editor has switched the terminal to the settings that it edits in, and not yet back. That
  // is so during an edited line, and between the lines that the bulk-input guard has read plainly.
  bool terminal_is_raw;
  // The terminal's settings when the line in progress began, or the first such line.
  TerminalSettings line_start;
  // The room in the editor's line, in characters, at least.
  size_t line_room;
  // How many rows the screen has, where the editor takes it for higher, else 0.
  int true_rows;
  // The prompt as the editor shows it, decoded. Owned. Never null once the editor exists.
  wchar_t *prompt;
  // The published line in the current locale's encoding: rl_line_buffer. Owned, grows only.
  char *text;
  size_t text_size;
};

extern LayerState layer;

inline bool layer_is_initialised() { return layer.editor != nullptr && layer.history != nullptr; }

// Initialises the layer where that was not done. Returns whether it is initialised.
bool initialise_layer();

// Brings rl_point, rl_end and rl_line_buffer up to date with the editor's line.
void publish_line();

// Whether the editor edits, or reads lines as they come.
bool editing_is_on();
void set_editing(bool on);

// Switches the terminal between editing (raw, no echo) and the settings that the shell had. Neither
// does anything without a terminal, or while editing is off, unless the bulk-input guard is armed.
// The first returns false where it failed.
bool make_terminal_raw();
void make_terminal_cooked();

// Replaces the prompt. `bytes` as for readline, but of one row.
void set_prompt(const char *bytes);
// Writes the rows of a prompt but the last, which it returns: the editor draws one row only.
const char *show_upper_rows(const char *prompt);

// Draws the line anew in its own place.
void redraw_in_place();

// Adds the layer's own commands to the editor and binds the keys that every line has.
void add_commands(EditLine *editor);

}  // namespace lineedit
