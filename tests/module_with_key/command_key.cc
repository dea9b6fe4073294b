// For tests of the module's completion as a command function of the editor, which no key runs in
// the module as it is delivered.
#include "Cli/completion.h"
#include "editline/readline_layer.h"

// Binds `key` to complete_line. Once the module has set the editor up. Returns 0, or -1.
extern "C" __attribute__((visibility("default"))) int bind_complete_line(int key) {
  return lineedit::rl_add_defun("test-complete-line", complete_line, key);
}
