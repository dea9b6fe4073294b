// Making the editor, once and again: streams, keys typed before, the size of the screen.
#include <unistd.h>

#include <cstdlib>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

#define up_key "\020"  // ^P

// --- Streams -------------------------------------------------------------------------------------

LAYER_TEST(Initialize, TakesTheStandardStreamsWhereNoneAreGiven) {
  ASSERT_GE(dup2(terminal.slave, STDIN_FILENO), 0);
  rl_instream = nullptr;
  rl_outstream = nullptr;
  EXPECT_EQ(rl_initialize(), 0);
  EXPECT_EQ(rl_instream, stdin);
  EXPECT_EQ(rl_outstream, stdout);
}

LAYER_TEST(Initialize, ReadsFromTheStandardInputWhereNoStreamIsGiven) {
  ASSERT_GE(dup2(terminal.slave, STDIN_FILENO), 0);
  rl_instream = nullptr;
  rl_getc_function = nullptr;
  pty_type(&terminal, "typed\n");
  EXPECT_EQ(read_next_line(), "typed");
  EXPECT_EQ(rl_instream, stdin);
}

LAYER_TEST(Initialize, KeepsTheStreamsThatAreGiven) {
  EXPECT_EQ(rl_initialize(), 0);
  EXPECT_EQ(rl_instream, terminal.in);
  EXPECT_EQ(rl_outstream, terminal.out);
}

LAYER_TEST(Initialize, ANewEditorTakesTheStreamsOfItsTime) {
  EXPECT_EQ(read_line({"first\n"}), "first");
  Pty other;
  ASSERT_TRUE(pty_open(&other, 24, 80));
  rl_instream = other.in;
  rl_outstream = other.out;
  rl_getc_function = nullptr;
  ASSERT_EQ(rl_initialize(), 0);
  pty_collect(&terminal);
  const std::string shown_before = terminal.shown;
  pty_type(&other, "second\n");
  EXPECT_EQ(read_next_line("elsewhere> "), "second");
  EXPECT_TRUE(pty_wait_for(&other, "elsewhere> "));
  pty_collect(&terminal);
  EXPECT_EQ(terminal.shown, shown_before);
}

LAYER_TEST(Initialize, PublishesAnEmptyLine) {
  rl_point = rl_end = 7;
  EXPECT_EQ(rl_initialize(), 0);
  expect_line(published_line(), "", 0, 0);
}

LAYER_TEST(Initialize, EndsTheEarlierEditorAndItsHistory) {
  add_history("old");
  EXPECT_EQ(read_line({up_key "\n"}), "old");
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(read_line({up_key "|\n"}), "|");
  add_history("new");
  EXPECT_EQ(read_line({up_key up_key "\n"}), "new");
}

LAYER_TEST(Initialize, ManyTimesOver) {
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(rl_initialize(), 0);
    add_history("line");
    EXPECT_EQ(read_line({up_key "\n"}), "line");
  }
}

// --- Keys typed before ---------------------------------------------------------------------------

LAYER_TEST(TypeAhead, IsNotLostWhenTheEditorIsMade) {
  rl_getc_function = nullptr;
  pty_type(&terminal, "typed ahead\n");
  ASSERT_TRUE(pty_wait_for_input(&terminal));
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(read_next_line(), "typed ahead");
}

LAYER_TEST(TypeAhead, IsNotLostWhenTheEditorIsMadeAnew) {
  rl_getc_function = nullptr;
  pty_type(&terminal, "first\n");
  EXPECT_EQ(read_next_line(), "first");
  pty_type(&terminal, "second\nthird\n");
  ASSERT_TRUE(pty_wait_for_input(&terminal));
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(read_next_line(), "second");
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(read_next_line(), "third");
}

LAYER_TEST(TypeAhead, OfALineNotYetEndedIsNotLostEither) {
  rl_getc_function = nullptr;
  pty_type(&terminal, "not yet ");
  ASSERT_TRUE(pty_wait_for(&terminal, "not yet "));  // the terminal's own echo
  ASSERT_EQ(rl_initialize(), 0);
  ASSERT_EQ(rl_initialize(), 0);
  pty_start_typing(&terminal, {{"> ", "ended\n"}});
  EXPECT_EQ(read_next_line(), "not yet ended");
  EXPECT_TRUE(pty_finish_typing());
}

LAYER_TEST(TypeAhead, IsThereForTheNextLine) {
  rl_getc_function = nullptr;
  pty_type(&terminal, "first\nsecond\nthird\n");
  EXPECT_EQ(read_next_line(), "first");
  EXPECT_EQ(read_next_line(), "second");
  EXPECT_EQ(read_next_line(), "third");
}

// --- The size of the screen ----------------------------------------------------------------------

static std::pair<int, int> screen_size() {
  int rows = -1, columns = -1;
  rl_get_screen_size(&rows, &columns);
  return {rows, columns};
}

using Size = std::pair<int, int>;

LAYER_TEST(ScreenSize, IsTheTerminalsAtFirst) {
  pty_set_size(&terminal, 30, 100);
  EXPECT_EQ(screen_size(), Size(30, 100));
  EXPECT_NE(get_history(), nullptr);
}

LAYER_TEST(ScreenSize, CanBeAskedForInParts) {
  pty_set_size(&terminal, 30, 100);
  int rows = -1, columns = -1;
  rl_get_screen_size(&rows, nullptr);
  rl_get_screen_size(nullptr, &columns);
  rl_get_screen_size(nullptr, nullptr);
  EXPECT_EQ(Size(rows, columns), Size(30, 100));
}

LAYER_TEST(ScreenSize, IsWhatWasSet) {
  rl_set_screen_size(40, 132);
  EXPECT_NE(get_history(), nullptr);
  EXPECT_EQ(screen_size(), Size(40, 132));
  rl_set_screen_size(10, 20);
  EXPECT_EQ(screen_size(), Size(10, 20));
}

LAYER_TEST(ScreenSize, LastsOnATerminalThatDoesNotKnowItsOwn) {
  pty_set_size(&terminal, 0, 0);
  rl_set_screen_size(40, 132);
  EXPECT_EQ(read_line({"one\n"}), "one");
  EXPECT_EQ(read_line({"two\n"}), "two");
  EXPECT_EQ(screen_size(), Size(40, 132));
}

LAYER_TEST(ScreenSize, GivesWayToTheSizeThatTheTerminalReports) {
  rl_set_screen_size(40, 132);
  EXPECT_EQ(read_line({"one\n"}), "one");
  EXPECT_EQ(screen_size(), Size(24, 80));
}

// What is shown of a line that, with the prompt, does not fit in `columns`.
static std::string shown_of_a_line_longer_than(int columns) {
  const size_t before = terminal.shown.size();
  const std::string line(static_cast<size_t>(columns) + 8, 'x');
  EXPECT_EQ(read_line({line, "\n"}), line);
  pty_collect(&terminal);
  return terminal.shown.substr(before);
}

// The editor wraps by writing one character of the next row and moving back.
static size_t length_of_first_row(const std::string &shown) {
  const size_t start = shown.find('x');
  return start == std::string::npos ? 0 : shown.find_first_not_of('x', start) - start;
}

LAYER_TEST(ScreenSize, IsWhereLinesWrap) {
  pty_set_size(&terminal, 0, 0);
  rl_set_screen_size(24, 132);
  EXPECT_EQ(length_of_first_row(shown_of_a_line_longer_than(132)), 130u);
  rl_set_screen_size(24, 40);
  EXPECT_EQ(length_of_first_row(shown_of_a_line_longer_than(40)), 38u);
}
