// Drawing the line: where its characters are on the screen, drawing it anew, and making room for
// what something else writes.
#include <cstdlib>

#include "editline/readline_layer.h"
#include "editline/screen_position.h"
#include "layer_harness.h"

using namespace lineedit;

// --- Positions -----------------------------------------------------------------------------------

static const std::wstring x78(78, L'x'), x79(79, L'x'), x80(80, L'x'), x200(200, L'x');

static const struct {
  const char *name;
  std::wstring prompt;
  std::wstring line;
  int row;
  int column;
} positions[] = {
    {"nothing", L"", L"", 0, 0},
    {"a prompt", L"> ", L"", 0, 2},
    {"a prompt and a line", L"> ", L"abc", 0, 5},
    {"one column left", L"", x79, 0, 79},
    {"a full row is left at once", L"", x80, 1, 0},
    {"full with the prompt", L"> ", x78, 1, 0},
    {"several rows", L"> ", x200, 2, 42},
    {"a prompt of more than a row", x80 + L"> ", L"ab", 1, 4},
    {"sequences take no room", L"\001\033[1m\001> \001\033[0m\001", L"ab", 0, 4},
    {"a wide character", L"", L"\u3042", 0, 2},
    {"a wide character that fills the row", L"", x78 + L"\u3042", 1, 0},
    {"a wide character that does not fit", L"", x79 + L"\u3042", 1, 2},
    {"an accent of its own", L"", L"e\u0301", 0, 1},
    {"a tab", L"", L"a\tb", 0, 9},
    {"a tab at a stop", L"", L"\t\t", 0, 16},
    {"a tab at the margin", L"", x78 + L"\tb", 1, 1},
    {"a control character", L"", L"\001", 0, 2},
    {"a control character across the margin", L"", x79 + L"\001", 1, 1},
    {"a line break in the prompt", L"one\n> ", L"ab", 1, 4},
};

LAYER_TEST(ScreenPosition, IsWhereTheEditorDraws) {
  for (const auto &row : positions) {
    SCOPED_TRACE(row.name);
    const ScreenPosition at =
        screen_position(row.prompt.c_str(), row.line.c_str(), row.line.size(), 80);
    EXPECT_EQ(at.row, row.row);
    EXPECT_EQ(at.column, row.column);
  }
}

LAYER_TEST(ScreenPosition, CountsOnlyTheCharactersAskedFor) {
  const ScreenPosition at = screen_position(L"> ", L"abcdef", 3, 80);
  EXPECT_EQ(at.row, 0);
  EXPECT_EQ(at.column, 5);
}

// --- Drawing -------------------------------------------------------------------------------------

// What `what` makes the terminal show.
static std::string shown_by(const std::function<void()> &what) {
  fflush(terminal.out);
  pty_collect(&terminal);
  const size_t before = terminal.shown.size();
  what();
  fflush(terminal.out);
  pty_collect(&terminal);
  return terminal.shown.substr(before);
}

LAYER_TEST(ForcedUpdate, InitialisesTheLayer) {
  rl_forced_update_display();
  EXPECT_NE(get_history(), nullptr);
}

LAYER_TEST(ForcedUpdate, ClearsTheRowAndDrawsPromptAndLine) {
  std::string shown;
  set_script({"abc", [&] { shown = shown_by(rl_forced_update_display); }, "\002d\n"});
  EXPECT_EQ(read_next_line("shell> "), "abdc");
  EXPECT_EQ(shown.substr(0, 1), "\r");
  EXPECT_NE(shown.find("\033[J"), std::string::npos);
  EXPECT_NE(shown.find("shell> abc"), std::string::npos);
}

LAYER_TEST(ForcedUpdate, WritesNothingWhereThereIsNoTerminal) {
  FILE *file = tmpfile();
  ASSERT_NE(file, nullptr);
  rl_outstream = file;
  EXPECT_EQ(read_line({"abc", [] { rl_forced_update_display(); }, "\n"}), "abc");
  fflush(file);
  EXPECT_EQ(ftell(file), 0);
}

// --- Beside the line -----------------------------------------------------------------------------

LAYER_TEST(LastRow, InitialisesNothing) {
  EXPECT_FALSE(rl_go_to_last_row());
  rl_redraw_in_place();
  EXPECT_EQ(get_history(), nullptr);
}

// On a screen of 20 columns. Reads a line of `length` characters with the cursor moved by `keys`,
// calls `what` and returns what that showed; the line must have stayed as it was.
static std::string beside_the_line(size_t length, const char *keys,
                                   const std::function<void()> &what) {
  std::string shown;
  const std::string line(length, 'x');
  pty_set_size(&terminal, 24, 20);
  const auto beside = [&] { shown = shown_by(what); };
  EXPECT_EQ(read_line({line, keys, beside, "\n"}), line);
  return shown;
}

static const struct {
  size_t length;
  const char *keys;
  const char *shown;
} rows_below[] = {
    {0, "", ""},
    {5, "", ""},
    {5, "\001", ""},
    {17, "\001", ""},
    {18, "\001", "\r\n"},
    {30, "\001", "\r\n"},
    {50, "", ""},
    {50, "\001", "\r\n\r\n"},
    {50, "\002\002", ""},
    {57, "\001", "\r\n\r\n"},
    {58, "\001", "\r\n\r\n\r\n"},
};

LAYER_TEST(LastRow, IsAsFarDownAsTheLineGoes) {
  for (const auto &row : rows_below) {
    SCOPED_TRACE(std::to_string(row.length) + row.keys);
    bool moved = false;
    const auto go = [&] {
      moved = rl_go_to_last_row();
      rl_redraw_in_place();
    };
    const std::string shown = beside_the_line(row.length, row.keys, go);
    const std::string expected = row.shown;
    EXPECT_EQ(shown.substr(0, expected.size()), expected);
    EXPECT_NE(shown.substr(expected.size(), 1), "\n");
    EXPECT_EQ(moved, !expected.empty());
  }
}

LAYER_TEST(LastRow, TheLineIsDrawnUnderWhatWasWritten) {
  const std::string shown = beside_the_line(50, "\001", [] {
    EXPECT_TRUE(rl_go_to_last_row());
    fputs("\nbeside\n", terminal.out);
    rl_forced_update_display();
  });
  const size_t beside = shown.find("beside");
  ASSERT_NE(beside, std::string::npos);
  EXPECT_NE(shown.find("> xxxx", beside), std::string::npos);
}

LAYER_TEST(LastRow, TheLineIsDrawnInPlaceWhereNothingWasWritten) {
  const std::string shown = beside_the_line(50, "\001", [] {
    EXPECT_TRUE(rl_go_to_last_row());
    rl_redraw_in_place();
  });
  EXPECT_EQ(shown.substr(0, 10), "\r\n\r\n\033[A\033[A");
  EXPECT_NE(shown.find("> xxxx"), std::string::npos);
}

LAYER_TEST(LastRow, IsNowhereWhereThereIsNoTerminal) {
  FILE *file = tmpfile();
  ASSERT_NE(file, nullptr);
  rl_outstream = file;
  const auto go = [] {
    EXPECT_FALSE(rl_go_to_last_row());
    rl_redraw_in_place();
  };
  EXPECT_EQ(read_line({"abc", go, "\n"}), "abc");
  fflush(file);
  EXPECT_EQ(ftell(file), 0);
}
