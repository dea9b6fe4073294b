// What one user typed is nowhere in the process's memory once the editor is made for the next one.
#include "secret.h"

#ifndef FREED_MEMORY_IS_KEPT

#include <stdio_ext.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

// --- Typing it -----------------------------------------------------------------------------------

#define up "\020"      // ^P
#define down "\016"    // ^N
#define search "\022"  // ^R

// In the keys a '$' stands for the secret, a '#' for a hundred times the secret, and a '~' is the
// moment in which the window gets wider. After the last key the input ends.
struct WayToType {
  const char *name;
  const char *keys;
  // A line of the user's settings file, or null.
  const char *settings;
};

static struct {
  const WayToType *way;
  const char *key;
  size_t of_secret;
} typist;

static void drop_output() {
  char bytes[4096];
  while (read(terminal.master, bytes, sizeof bytes) > 0) continue;
  explicit_bzero(bytes, sizeof bytes);
}

static size_t characters_of_secret(char key) {
  if (key == '$') return secret_length;
  return key == '#' ? 100 * secret_length : 0;
}

static void widen_window() {
  pty_set_size(&terminal, 24, 90);
  wait_for_signal();
}

static int next_typed_key(FILE *) {
  drop_output();
  if (typist.of_secret < characters_of_secret(*typist.key))
    return secret_character(typist.of_secret++);
  if (typist.of_secret > 0) ++typist.key;
  typist.of_secret = 0;
  if (characters_of_secret(*typist.key) > 0) return next_typed_key(nullptr);
  if (*typist.key == '~') {
    widen_window();
    ++typist.key;
  }
  return *typist.key == '\0' ? -1 : *typist.key++;
}

// A line that comes back is the application's to wipe.
static void type(const char *keys) {
  typist.key = keys;
  char *line = readline("> ");
  if (line != nullptr) explicit_bzero(line, strlen(line));
  free(line);
}

// --- What is around the editor -------------------------------------------------------------------

// A history of one line, the secret between two words. It is the application's, as in the module.
static char recorded[secret_length + 20];

static void record(const char *secret) { snprintf(recorded, sizeof recorded, "a %s b", secret); }

static int only_line(void *, HistEvent *event, ...) {
  event->num = 1;
  event->str = recorded;
  return 0;
}

static int no_line(void *, HistEvent *, ...) { return -1; }
static int no_such_line(void *, HistEvent *, const int) { return -1; }
static void no_clearing(void *, HistEvent *) {}

static void use_history_of_one_line() {
  HistEvent event;
  with_secret(1, record);
  history(get_history(), &event, H_FUNC, &recorded, only_line, no_line, only_line, no_line,
          only_line, no_such_line, no_clearing, no_line, no_line, no_such_line);
}

static void insert_secret(const char *secret) { rl_insert_text(secret); }

// A completion that inserts a lot.
static char **complete_with_secret(const char *, int, int) {
  with_secret(100, insert_secret);
  rl_attempted_completion_over = 1;
  return nullptr;
}

static void write_settings(const char *path) {
  FILE *file = fopen(path, "w");
  fprintf(file, "%s\n", typist.way->settings);
  fclose(file);
  setenv("EDITRC", path, 1);
}

// The output stream is the application's. Blanks that are never written cover what it has written.
static void wipe_output_stream() {
  fflush(terminal.out);
  for (size_t i = 1; i < __fbufsize(terminal.out); ++i) fputc(' ', terminal.out);
  __fpurge(terminal.out);
}

// --- The tests -----------------------------------------------------------------------------------

static void type_for_one_user() {
  use_history_of_one_line();
  rl_attempted_completion_function = complete_with_secret;
  type(typist.way->keys);
  explicit_bzero(recorded, sizeof recorded);
  wipe_output_stream();
}

static void type_and_search_memory() {
  char settings[] = "/tmp/layer-settings-XXXXXX";
  close(mkstemp(settings));
  if (typist.way->settings != nullptr) write_settings(settings);
  rl_getc_function = next_typed_key;
  ASSERT_EQ(rl_initialize(), 0);
  type_for_one_user();
  ASSERT_EQ(rl_initialize(), 0);
  type("next\n");
  EXPECT_EQ(pieces_of_secret_in_memory(), 0);
  unlink(settings);
}

static const WayToType ways_to_type[] = {
    {"given up", "$", nullptr},
    {"returned", "$\n", nullptr},
    {"the line killed", "a $\025", nullptr},
    {"the rest of the line killed", "a $\001\013", nullptr},
    {"a word deleted", "a $\033\177", nullptr},
    {"killed and brought back", "a $\025\031\031", nullptr},
    {"a long line killed and brought back", "$$$$$$$$$$$$$$$$$$$$\025\031\031\031", nullptr},
    {"changed in the middle", "$\001x\006\004", nullptr},
    {"case changed", "$\033b\033u", nullptr},
    {"characters exchanged", "$\024", nullptr},
    {"quoted", "\026\001$", nullptr},
    {"several rows", "$$$$$$$$$$$$$$$$$$$$", nullptr},
    {"more rows than the screen has", "#", nullptr},
    {"made longer by a repeat count", "$$$$$$$$$$$$\0339999x", nullptr},
    {"a window that changes", "$$$~$", nullptr},
    {"completed", "$\t", nullptr},
    {"recalled", up, nullptr},
    {"recalled and changed", up "x\001y", nullptr},
    {"left for a recalled line", "$" up, nullptr},
    {"left and come back to", "$" up down, nullptr},
    {"long, left and come back to", "#" up down, nullptr},
    {"searched for in vain", search "$", nullptr},
    {"searched for and found", search "a $", nullptr},
    {"searched for, changed and given up", search "$\177\177\007", nullptr},
    {"searched from", "$" search "a", nullptr},
    {"the text before the cursor searched for", "$\033p\033n", nullptr},
    {"without editing", "#\n", "edit off"},
    {"in vi mode", "$", "bind -v"},
    {"in vi mode, recalled", "$\033kjk", "bind -v"},
    {"in vi mode, deleted, undone and repeated", "$\033dbux.", "bind -v"},
    {"in vi mode, the text before the cursor searched for", "$\033KJ", "bind -v"},
    {"by libedit's own walk through history", "$\030p", "bind ^Xp ed-prev-history"},
};

static void expect_to_find_it(const char *) { EXPECT_GT(pieces_of_secret_in_memory(), 0); }

// Otherwise the other tests would say nothing.
TEST(Secret, IsFoundWhereItIs) {
  EXPECT_EQ(pieces_of_secret_in_memory(), 0);
  with_secret(1, expect_to_find_it);
  EXPECT_EQ(pieces_of_secret_in_memory(), 0);
}

// How a test that fails names its row.
static void PrintTo(const WayToType &way, std::ostream *out) { *out << way.name; }

class WipedMemory : public testing::TestWithParam<WayToType> {};

TEST_P(WipedMemory, HoldsNothingThatWas) {
  typist.way = &GetParam();
  run_in_own_session(type_and_search_memory);
}

static std::string name_of(const testing::TestParamInfo<WayToType> &info) {
  std::string name = info.param.name;
  for (char &character : name)
    if (isalnum(static_cast<unsigned char>(character)) == 0) character = '_';
  return name;
}

INSTANTIATE_TEST_SUITE_P(Layer, WipedMemory, testing::ValuesIn(ways_to_type), name_of);

#endif
