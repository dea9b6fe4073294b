// Where on the screen the characters of a line are, and what is shown of them.
#include "editline/screen/layout.h"

#include "editline/readline.h"
#include "editline/screen/prompt.h"
#include "layer_harness.h"

using namespace lineedit;

static const std::wstring x78(78, L'x'), x79(79, L'x'), x80(80, L'x'), x200(200, L'x');

// The layout of a line, and its text with a / between two rows.
static struct {
  Layout layout;
  std::wstring text;
} laid_out;

static ScreenPosition lay_out_line(const std::string &prompt, const std::wstring &line,
                                   size_t cursor, int columns = 80) {
  set_prompt(prompt.c_str());
  Layout *layout = &laid_out.layout;
  lay_out(layout, prompt_end(columns), line.c_str(), line.size(), cursor, columns);
  laid_out.text = std::wstring(layout->text.characters, layout->rows[0].end);
  for (int row = 1; row < layout->row_count; ++row)
    laid_out.text += L'/' + std::wstring(layout->text.characters + layout->rows[row - 1].end,
                                         layout->rows[row].end - layout->rows[row - 1].end);
  return layout->cursor;
}

static const struct {
  const char *name;
  std::string prompt;
  std::wstring line;
  int row;
  int column;
} positions[] = {
    {"nothing", "", L"", 0, 0},
    {"a prompt", "> ", L"", 0, 2},
    {"a prompt and a line", "> ", L"abc", 0, 5},
    {"one column left", "", x79, 0, 79},
    {"a full row is left at once", "", x80, 1, 0},
    {"full with the prompt", "> ", x78, 1, 0},
    {"several rows", "> ", x200, 2, 42},
    {"a prompt of more than a row", std::string(80, 'x') + "> ", L"ab", 1, 4},
    {"sequences take no room", "\001\033[1m\002> \001\033[0m\002", L"ab", 0, 4},
    {"a wide character", "", L"\u3042", 0, 2},
    {"a wide character that fills the row", "", x78 + L"\u3042", 1, 0},
    {"a wide character that does not fit", "", x79 + L"\u3042", 1, 2},
    {"an accent of its own", "", L"e\u0301", 0, 1},
    {"a tab", "", L"a\tb", 0, 9},
    {"a tab at a stop", "", L"\t\t", 0, 16},
    {"a tab at the margin", "", x78 + L"\tb", 1, 1},
    {"a control character", "", L"\001", 0, 2},
    {"a control character across the margin", "", x79 + L"\001", 1, 1},
    {"a character that is not shown", "", L"\ue000\u0085", 0, 8},
    {"one that is not assigned", "", L"\U000e0fff", 0, 8},
    {"a byte that is no character", "", std::wstring(1, -1), 0, 7},
    {"what has no width in the prompt", "\a\033[1m> ", L"ab", 0, 7},
};

LAYER_TEST(Layout, PutsTheCursorBehindTheLine) {
  for (const auto &row : positions) {
    SCOPED_TRACE(row.name);
    const ScreenPosition at = lay_out_line(row.prompt, row.line, row.line.size());
    EXPECT_EQ(at.row, row.row);
    EXPECT_EQ(at.column, row.column);
  }
}

static const struct {
  const char *name;
  std::wstring line;
  size_t cursor;
  const wchar_t *text;
  int row;
  int column;
} narrow_layouts[] = {
    {"in the line", L"abcdef", 2, L"abcd/ef", 0, 2},
    {"on a row's first character", L"abcdef", 4, L"abcd/ef", 1, 0},
    {"a wide character that does not fit", L"abc\u3042d", 3, L"abc /\u3042d", 1, 0},
    {"behind an accent at the margin", L"abce\u0301f", 5, L"abce\u0301/f", 1, 0},
    {"an accent with nothing before it", L"\u0301a", 1, L"\\U+0/301a/", 1, 3},
    {"an accent at the start of a row", L"a\n\u0301", 2, L"a/\\U+0/301", 1, 0},
    {"control characters", L"a\001\177", 3, L"a^A^/?", 1, 1},
    {"a control character above them", L"\u0085", 0, L"\\U+0/085", 0, 0},
    {"a byte that is no character", std::wstring(1, static_cast<wchar_t>(-0x17)), 0, L"\\U+F/FE9",
     0, 0},
    {"a tab", L"a\tb", 3, L"a   /b", 1, 1},
    {"line breaks", L"a\n\nb", 4, L"a//b", 2, 1},
};

LAYER_TEST(Layout, ShowsWhatFitsInTheRows) {
  for (const auto &row : narrow_layouts) {
    SCOPED_TRACE(row.name);
    const ScreenPosition at = lay_out_line("", row.line, row.cursor, 4);
    EXPECT_EQ(laid_out.text, row.text);
    EXPECT_EQ(at.row, row.row);
    EXPECT_EQ(at.column, row.column);
  }
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

LAYER_TEST(Layout, IsWhereTheTerminalsCursorEndsUp) {
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
        expected = lay_out_line(prompt, std::wstring(length, L'x'), length);
      };
      set_script({std::string(length, 'x'), look, "\n"});
      read_next_line(prompt.c_str());
      if (prompt.find('\n') != std::string::npos) ++expected.row;
      EXPECT_EQ(drawn.row, expected.row);
      EXPECT_EQ(drawn.column, expected.column);
    }
  }
}
