// Where on the screen the characters of a line are.
#include "editline/screen/position.h"

#include "editline/readline.h"
#include "editline/screen/prompt.h"
#include "layer_harness.h"

using namespace lineedit;

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
    {"a character that is not shown", L"", L"\ue000\u0085", 0, 3},
    {"one that is not assigned", L"", L"\U000e0fff", 0, 8},
    {"a byte that is no character", L"", std::wstring(1, -1), 0, 7},
    {"what has no width in the prompt", L"\a\033[1m> ", L"ab", 0, 7},
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

// A screen that is narrower than the character.
LAYER_TEST(ScreenPosition, AWideCharacterInOneColumn) {
  const ScreenPosition at = screen_position(L"", L"\u3042x", 2, 1);
  EXPECT_EQ(at.row, 2);
  EXPECT_EQ(at.column, 0);
}

LAYER_TEST(ScreenPosition, CountsOnlyTheCharactersAskedFor) {
  const ScreenPosition at = screen_position(L"> ", L"abcdef", 3, 80);
  EXPECT_EQ(at.row, 0);
  EXPECT_EQ(at.column, 5);
}

// The position of the terminal's cursor by what the editor wrote, on a screen of 80 columns: the
// line ends there, and rows are left by line breaks or at their ends only.
static ScreenPosition cursor_after(const std::string &shown) {
  ScreenPosition at = {0, 0};
  for (size_t i = 0; i < shown.size(); ++i) {
    if (shown[i] == '\033') {
      while (isalpha(static_cast<unsigned char>(shown[i])) == 0) ++i;
    } else if (shown[i] == '\r') {
      at.column = 0;
    } else if (shown[i] == '\n') {
      ++at.row;
    } else if (shown[i] == '\b') {
      --at.column;
    } else if (shown[i] == '\a') {
      continue;
    } else if (++at.column > 80) {
      at = {at.row + 1, 1};
    }
  }
  return at;
}

static const std::string narrow_prompts[] = {
    "> ",
    "",
    "\001\033[1m\002> \001\033[0m\002",
    "\001\033[1m\002#\001\033[0m\002",
    "a\tb\ac> ",
    std::string(90, 'p') + "> ",
    "one\ntwo> ",
};

LAYER_TEST(ScreenPosition, IsWhereTheTerminalsCursorEndsUp) {
  for (const std::string &prompt : narrow_prompts) {
    for (const size_t length : {0, 1, 60, 77, 78, 79, 80, 81, 200}) {
      SCOPED_TRACE(prompt + std::to_string(length));
      fflush(terminal.out);
      pty_collect(&terminal);
      const size_t before = terminal.shown.size();
      ScreenPosition expected = {};
      ScreenPosition drawn = {};
      const auto look = [&] {
        fflush(terminal.out);
        pty_collect(&terminal);
        drawn = cursor_after(terminal.shown.substr(before));
        expected = screen_position(prompt_text(), std::wstring(length, L'x').c_str(), length, 80);
      };
      set_script({std::string(length, 'x'), look, "\n"});
      read_next_line(prompt.c_str());
      if (prompt.find('\n') != std::string::npos) ++expected.row;
      EXPECT_EQ(drawn.row, expected.row);
      EXPECT_EQ(drawn.column, expected.column);
    }
  }
}
