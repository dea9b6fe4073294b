// The state of the process's one editor, shared by all files of the layer.
#pragma once

#include <histedit.h>

namespace lineedit {

struct Editor {
  // libedit's editor and history object: both null before set-up, both non-null after it.
  EditLine *el;
  History *history;
  // Output is a terminal and the input's terminal settings can be read. Otherwise the editor only
  // reads: no prompt, no editing, no change of terminal settings.
  bool has_terminal;
  // The terminal has the editor's raw settings: during an edited line, and between lines that the
  // bulk-input guard reads without editing.
  bool terminal_is_raw;
  // The bulk-input guard is armed.
  bool tty_overflow_fix;
  // What is read is the text of a paste, between its marks. Lasts from line to line.
  bool pasting;
  // Set while a command reads keys in its own loop: ends the command's display before a signal is
  // acted on. Otherwise null.
  void (*leave_command)();
};

extern Editor editor;

inline bool editor_exists() { return editor.el != nullptr && editor.history != nullptr; }

// When editing is off, the editor reads lines as the terminal delivers them.
bool editing_is_on();
void set_editing(bool on);

// Whether the keys are vi's rather than emacs's.
bool uses_vi_keys();

}  // namespace lineedit
