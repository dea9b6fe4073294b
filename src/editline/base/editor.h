// The one editor of the process, and what every file of the layer may have to know of it.
#pragma once

#include <histedit.h>

namespace lineedit {

struct Editor {
  // libedit's editor and history. Both null before the set-up, both set after it.
  EditLine *el;
  History *history;
  // Output is a terminal and the input's settings can be read. Without that the editor only reads:
  // no prompt, no editing, nothing switched.
  bool has_terminal;
  // The editor has switched the terminal to the settings that it edits in, and not yet back. That
  // is so during an edited line, and between the lines that the bulk-input guard has read plainly.
  bool terminal_is_raw;
  // The bulk-input guard is armed.
  bool tty_overflow_fix;
  // Set while a command reads keys by itself: ends what the command shows, for a signal that is
  // about to be acted on. Null otherwise.
  void (*leave_command)();
};

extern Editor editor;

inline bool editor_exists() { return editor.el != nullptr && editor.history != nullptr; }

// Whether the editor edits, or reads lines as they come.
bool editing_is_on();
void set_editing(bool on);

// Whether the editor has vi's keys, or emacs's.
bool has_vi_keys();

}  // namespace lineedit
