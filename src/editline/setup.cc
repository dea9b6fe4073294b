// Creating and destroying the editor: its streams, the terminal's settings, which are kept, the
// history object, and the user's settings file.
#include "editline/setup.h"

#include <unistd.h>

#include <climits>
#include <cstdio>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/locale.h"
#include "editline/base/terminal.h"
#include "editline/base/variables.h"
#include "editline/base/wipe.h"
#include "editline/commands/bindings.h"
#include "editline/commands/editing.h"
#include "editline/commands/history_place.h"
#include "editline/commands/history_search.h"
#include "editline/commands/history_walk.h"
#include "editline/commands/readable_history.h"
#include "editline/commands/settings_file.h"
#include "editline/input/forked_child.h"
#include "editline/input/keys.h"
#include "editline/screen/drawing.h"
#include "editline/screen/editor_output.h"
#include "editline/screen/prompt.h"
#include "editline/screen/size.h"
#include "editline/screen/writer.h"

namespace lineedit {

// libedit draws nothing, so it gets no prompt.
static wchar_t *no_prompt(EditLine *) { return const_cast<wchar_t *>(L""); }

static void wipe_typed_text() {
  wipe_line();
  wipe_drawing();
  wipe_typed_line();
  wipe_walk();
  wipe_search();
  wipe_readable_line();
  wipe_editing();
}

// Destroys the editor without changing its terminal, which is cooked after every line except those
// read in bulk. el_end would restore the settings from the editor's creation and discard the
// type-ahead; it does neither while editing is off. It does not free the texts that keys type
// either: other key bindings do.
static void destroy_editor() {
  begin_wiping();
  if (editor.el != nullptr) {
    if (editor.terminal_is_raw) make_terminal_cooked();
    reset_keys();
    forget_screen_size();
    set_editing(false);
    el_set(editor.el, EL_EDITOR, "emacs");
    el_end(editor.el);
  }
  if (editor.history != nullptr) history_end(editor.history);
  wipe_typed_text();
  end_wiping();
  wipe_freed_memory();
  editor = {};
}

static void connect_history() {
  HistEvent event;
  history(editor.history, &event, H_SETSIZE, INT_MAX);
  el_set(editor.el, EL_HIST, readable_history, editor.history);
}

// Configures everything except the terminal. On a terminal without echo, editing is off.
static void configure_editor(bool echoing) {
  if (!echoing) set_editing(false);
  connect_history();
  el_set(editor.el, EL_GETCFN, key_reader());
  set_prompt("");
  el_wset(editor.el, EL_PROMPT, no_prompt);
  set_up_keys();
  read_settings_file();
  query_controls();
  publish_line();
}

bool set_up_editor() {
  destroy_editor();
  choose_editor_locale();
  const bool entered = enter_editor_locale();
  restore_terminal_at_exit();
  release_forked_children(nullptr);
  if (rl_instream == nullptr) rl_instream = stdin;
  if (rl_outstream == nullptr) rl_outstream = stdout;

  TerminalSettings found;
  read_terminal_settings(&found, fileno(rl_instream));
  FILE *const drawn = editor_stream();
  if (drawn != nullptr)
    editor.el = el_init_fd(rl_readline_name, rl_instream, drawn, stderr, fileno(rl_instream),
                           fileno(rl_outstream), fileno(stderr));
  editor.history = history_init();
  const bool has_terminal = found.known && isatty(fileno(rl_outstream)) != 0;
  editor.has_terminal = has_terminal;
  const bool made = editor_exists();
  if (made && has_terminal) preserve_terminal_flags();
  if (made)
    configure_editor(terminal_echoes(&found));
  else
    destroy_editor();
  if (has_terminal) restore_terminal_settings(&found);
  if (entered) leave_editor_locale();
  return made;
}

bool require_editor() { return editor_exists() || set_up_editor(); }

}  // namespace lineedit
