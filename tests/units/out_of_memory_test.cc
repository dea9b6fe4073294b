// A layer that cannot be initialised, as memory has run out: every call says so in its way, and the
// next one tries again. libedit's two constructors are wrapped here by the linker.
#include <histedit.h>

#include "editline/readline.h"
#include "editline/screen/display.h"
#include "layer_harness.h"

using namespace lineedit;

static struct {
  bool no_editor;
  bool no_history;
} out_of_memory;

extern "C" {
EditLine *__real_el_init_fd(const char *program, FILE *in, FILE *out, FILE *error, int in_fd,
                            int out_fd, int error_fd);
History *__real_history_init();

EditLine *__wrap_el_init_fd(const char *program, FILE *in, FILE *out, FILE *error, int in_fd,
                            int out_fd, int error_fd) {
  return out_of_memory.no_editor
             ? nullptr
             : __real_el_init_fd(program, in, out, error, in_fd, out_fd, error_fd);
}

History *__wrap_history_init() {
  return out_of_memory.no_history ? nullptr : __real_history_init();
}
}

static int never_called(int, int) {
  ADD_FAILURE() << "called";
  return 0;
}

static void expect_refusals() {
  const struct termios before = pty_settings(&terminal);
  EXPECT_EQ(rl_initialize(), -1);
  EXPECT_EQ(readline("> "), nullptr);
  EXPECT_EQ(rl_parse_and_bind("bind ^T ed-move-to-beg"), 1);
  EXPECT_EQ(rl_bind_key('\t', rl_insert), -1);
  EXPECT_EQ(rl_add_defun("test", never_called, 7), -1);
  EXPECT_EQ(rl_insert_text("text"), 0);
  EXPECT_EQ(rl_delete_text(0, 1), 0);
  EXPECT_EQ(add_history("a line"), 0);
  clear_history();
  int rows = 7;
  int columns = 77;
  rl_get_screen_size(&rows, &columns);
  rl_set_screen_size(1, 1);
  EXPECT_EQ(rows, 7);
  EXPECT_EQ(columns, 77);
  begin_output();
  rl_forced_update_display();
  end_output();
  EXPECT_EQ(get_history(), nullptr);
  EXPECT_EQ(difference(before, pty_settings(&terminal)), "");
}

LAYER_TEST(OutOfMemory, WithoutAnEditorEveryCallIsRefused) {
  out_of_memory = {true, false};
  expect_refusals();
}

LAYER_TEST(OutOfMemory, WithoutAHistoryEveryCallIsRefused) {
  out_of_memory = {false, true};
  expect_refusals();
}

LAYER_TEST(OutOfMemory, TheNextCallTriesAgain) {
  out_of_memory = {true, true};
  EXPECT_EQ(readline("> "), nullptr);
  out_of_memory = {};
  EXPECT_EQ(read_line({"line\n"}), "line");
}
