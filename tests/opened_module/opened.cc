// What tests of the module need to reach and the module as it is delivered keeps inside: this is
// linked with it into a module of the same name, for a test to call through ctypes.
#include <cstring>

#include "Cli/history/history_store.h"
#include "Cli/keys/completion.h"
#include "editline/readline.h"

// What libedit has no memory for. Its two constructors are wrapped here by the linker.
static struct {
  bool editor;
  bool history;
} missing;

#define OPENED extern "C" __attribute__((visibility("default")))

// Binds `key` to complete_line, which no key runs as a command function in the module. Once the
// module has set the editor up. Returns 0, or -1.
OPENED int bind_complete_line(int key) {
  return lineedit::rl_add_defun("test-complete-line", complete_line, key);
}

// Runs one command line of the editor's.
OPENED int run_editor_command(const char *line) { return lineedit::rl_parse_and_bind(line); }

// The rows and the columns that the editor takes the screen for.
OPENED void screen_size(int *size) { lineedit::rl_get_screen_size(&size[0], &size[1]); }

// One operation on the history that the editor has, by number or by line. Returns what the editor's
// history call returns; the line of the event goes to `line`, malloc'ed, or null.
OPENED int call_history(int operation, int number, const char *text, char **line) {
  HistEvent event = {};
  const int result = operation == H_ENTER || operation == H_ADD
                         ? history(lineedit::get_history(), &event, operation, text)
                         : history(lineedit::get_history(), &event, operation, number);
  *line = event.str != nullptr ? strdup(event.str) : nullptr;
  return result;
}

// The key of the current history mode, or null.
OPENED const char *current_history_mode() {
  return hist_ctx.current_mode != nullptr ? hist_ctx.current_mode->key : nullptr;
}

OPENED unsigned history_mode_count() { return hist_ctx.mode_count; }

OPENED void run_out_of_memory(const char *what) {
  missing = {strcmp(what, "editor") == 0, strcmp(what, "history") == 0};
}

extern "C" {
EditLine *__real_el_init_fd(const char *program, FILE *in, FILE *out, FILE *error, int in_fd,
                            int out_fd, int error_fd);
History *__real_history_init();

EditLine *__wrap_el_init_fd(const char *program, FILE *in, FILE *out, FILE *error, int in_fd,
                            int out_fd, int error_fd) {
  if (missing.editor) return nullptr;
  return __real_el_init_fd(program, in, out, error, in_fd, out_fd, error_fd);
}

History *__wrap_history_init() { return missing.history ? nullptr : __real_history_init(); }
}
