// Drawing the line: where its characters are on the screen, drawing it anew, and making room for
// what something else writes.
#include "editline/screen/display.h"

#include <unistd.h>

#include <cstdlib>

#include "editline/readline.h"
#include "editline/screen/output_watch.h"
#include "editline/screen/position.h"
#include "editline/screen/prompt.h"
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

LAYER_TEST(Beside, InitialisesNothing) {
  begin_output();
  end_output();
  EXPECT_EQ(get_history(), nullptr);
}

// On a screen of 20 columns. Reads a line of `length` characters with the cursor moved by `keys`,
// calls `what` between the two calls and returns what that showed; the line must have stayed as it
// was.
static std::string beside_the_line(size_t length, const char *keys,
                                   const std::function<void()> &what) {
  std::string shown;
  const std::string line(length, 'x');
  pty_set_size(&terminal, 24, 20);
  const auto beside = [&] {
    shown = shown_by([&] {
      begin_output();
      what();
      end_output();
    });
  };
  EXPECT_EQ(read_line({line, keys, beside, "\n"}), line);
  return shown;
}

static const struct {
  size_t length;
  const char *keys;
  int rows;        // in which the line ends, from that of the prompt
  int rows_below;  // of those, below the cursor
} places[] = {
    {0, "", 0, 0},          {5, "", 0, 0},      {5, "\001", 0, 0},  {17, "\001", 0, 0},
    {18, "", 1, 0},         {18, "\001", 1, 1}, {30, "\001", 1, 1}, {50, "", 2, 0},
    {50, "\002\002", 2, 0}, {50, "\001", 2, 2}, {57, "\001", 2, 2}, {58, "\001", 3, 3},
};

LAYER_TEST(Beside, TheCursorGoesDownAsFarAsTheLineGoes) {
  for (const auto &place : places) {
    SCOPED_TRACE(std::to_string(place.length) + place.keys);
    std::string shown;
    beside_the_line(place.length, place.keys, [&] {
      fflush(terminal.out);
      const size_t before = terminal.shown.size();
      pty_collect(&terminal);
      shown = terminal.shown.substr(before);
    });
    EXPECT_EQ(shown, repeated("\r\n", place.rows_below));
  }
}

LAYER_TEST(Beside, WithNothingWrittenTheLineIsDrawnInItsPlace) {
  for (const auto &place : places) {
    SCOPED_TRACE(std::to_string(place.length) + place.keys);
    const std::string down = repeated("\r\n", place.rows_below);
    const std::string redrawn = down + repeated("\033[A", place.rows) + "\r\033[J> ";
    EXPECT_EQ(beside_the_line(place.length, place.keys, rl_forced_update_display)
                  .substr(0, redrawn.size()),
              redrawn);
  }
}

LAYER_TEST(Beside, WithNothingWrittenTheCursorIsBroughtBack) {
  for (const auto &place : places) {
    SCOPED_TRACE(std::to_string(place.length) + place.keys);
    const std::string down = repeated("\r\n", place.rows_below);
    const std::string redrawn = down + repeated("\033[A", place.rows) + "\r\033[J> ";
    const std::string shown = beside_the_line(place.length, place.keys, [] {});
    EXPECT_EQ(shown.substr(0, redrawn.size()), place.rows_below > 0 ? redrawn : "");
  }
}

LAYER_TEST(Beside, WithoutARedrawWhatWasWrittenStands) {
  for (const auto &place : places) {
    SCOPED_TRACE(std::to_string(place.length) + place.keys);
    const std::string shown =
        beside_the_line(place.length, place.keys, [] { fputs("\nbeside", terminal.out); });
    EXPECT_EQ(shown, repeated("\r\n", place.rows_below) + "\r\nbeside");
  }
}

LAYER_TEST(Beside, TheLineIsDrawnBelowWhatWasWritten) {
  for (const auto &place : places) {
    SCOPED_TRACE(std::to_string(place.length) + place.keys);
    const std::string written = repeated("\r\n", place.rows_below) + "\r\nbeside\r\n\r\033[J> ";
    const std::string shown = beside_the_line(place.length, place.keys, [] {
      fputs("\nbeside\n", terminal.out);
      rl_forced_update_display();
    });
    EXPECT_EQ(shown.substr(0, written.size()), written);
  }
}

LAYER_TEST(Beside, WhoeverWrites) {
  for (const std::string &name : {std::string("/dev/tty"), std::string(ttyname(terminal.slave))}) {
    SCOPED_TRACE(name);
    const std::string shown = beside_the_line(50, "\001", [&] {
      ASSERT_EQ(system(("echo from another process >" + name).c_str()), 0);
      rl_forced_update_display();
    });
    EXPECT_NE(shown.find("process\r\n\r\033[J> x"), std::string::npos);
  }
}

LAYER_TEST(Beside, ADrawnLineIsNotDrawnAgain) {
  const std::string shown = beside_the_line(50, "\001", rl_forced_update_display);
  EXPECT_EQ(shown.find("> "), shown.rfind("> "));
}

LAYER_TEST(Beside, AReadThatEndsLeavesTheCursorBehindTheLine) {
  pty_set_size(&terminal, 24, 20);
  std::string shown;
  on_command_key([&] {
    shown = shown_by([] {
      begin_output();
      rl_done = 1;
      end_output();
    });
  });
  EXPECT_EQ(read_line({std::string(50, 'y') + "z", "\001", command_key}), std::nullopt);
  EXPECT_EQ(shown.substr(0, 10), "\r\n\r\n\033[A\033[A");
  EXPECT_EQ(shown.substr(shown.size() - 2), "yz");
}

LAYER_TEST(Beside, AReadOfOneRowThatEndsDoesTheSame) {
  std::string shown;
  on_command_key([&] {
    shown = shown_by([] {
      begin_output();
      rl_done = 1;
      end_output();
    });
  });
  EXPECT_EQ(read_line({"yz", "\001", command_key}), std::nullopt);
  EXPECT_EQ(shown, "\r\033[J> yz");
  EXPECT_EQ(read_line({"yz", command_key}), std::nullopt);
  EXPECT_EQ(shown, "");
}

LAYER_TEST(Beside, NoMoreDescriptorsAreOpenThanAtFirst) {
  beside_the_line(50, "\001", [] {});
  const int before = dup(0);
  close(before);
  beside_the_line(50, "\001", [] {});
  beside_the_line(50, "\001", rl_forced_update_display);
  beside_the_line(50, "", [] {});
  const int after = dup(0);
  close(after);
  EXPECT_EQ(after, before);
}

// A wide character that does not fit into a row is in the next one, and so is the cursor on it.
LAYER_TEST(Beside, TheCursorOnAWideCharacterAtTheMargin) {
  pty_set_size(&terminal, 24, 21);
  std::string shown;
  const auto beside = [&] {
    shown = shown_by([] {
      begin_output();
      rl_forced_update_display();
      end_output();
    });
  };
  rl_initialize();
  std::string line;
  for (int i = 0; i < 13; ++i) line += "\u65e5\u672c";
  add_history(line.c_str());
  // 9 in the first row behind the prompt, 10 in the second: the cursor is on the 20th.
  EXPECT_EQ(read_line({"\020", std::string(7, '\002'), beside, "\n"}), line);
  EXPECT_EQ(shown.substr(0, 12), "\033[A\033[A\r\033[J> ");
}

LAYER_TEST(Beside, WithoutEchoNothingIsShown) {
  struct termios settings = pty_settings(&terminal);
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON);
  tcsetattr(terminal.slave, TCSANOW, &settings);
  std::string shown;
  const auto beside = [&] {
    shown = shown_by([] {
      begin_output();
      rl_forced_update_display();
      end_output();
    });
  };
  EXPECT_EQ(read_line({std::string(200, 's'), beside, "\n"}), std::string(200, 's'));
  EXPECT_EQ(shown, "");
}

LAYER_TEST(Beside, WithoutTheMeansToClearTheLineGetsARowOfItsOwn) {
  setenv("TERM", "dumb", 1);
  std::string shown;
  EXPECT_EQ(read_line({"abc", [&] { shown = shown_by(rl_forced_update_display); }, "\n"}), "abc");
  EXPECT_EQ(shown, "\r\n> abc");
}

LAYER_TEST(Beside, WithoutATerminalNothingIsWritten) {
  FILE *file = tmpfile();
  ASSERT_NE(file, nullptr);
  rl_outstream = file;
  const auto beside = [] {
    begin_output();
    end_output();
  };
  EXPECT_EQ(read_line({"abc", beside, "\n"}), "abc");
  fflush(file);
  EXPECT_EQ(ftell(file), 0);
}

// --- Whether anything was written ----------------------------------------------------------------

LAYER_TEST(OutputWatch, SeesWhatIsWritten) {
  begin_output_watch(terminal.slave);
  EXPECT_FALSE(output_was_written());
  begin_output_watch(terminal.slave);
  ASSERT_EQ(write(terminal.slave, "x", 1), 1);
  EXPECT_TRUE(output_was_written());
}

LAYER_TEST(OutputWatch, SeesNothingFromBefore) {
  ASSERT_EQ(write(terminal.slave, "x", 1), 1);
  begin_output_watch(terminal.slave);
  EXPECT_FALSE(output_was_written());
  begin_output_watch(terminal.slave);
  ASSERT_EQ(write(terminal.slave, "x", 1), 1);
  begin_output_watch(terminal.slave);
  EXPECT_FALSE(output_was_written());
}

LAYER_TEST(OutputWatch, SeesNotWhatIsTypedOrEchoed) {
  begin_output_watch(terminal.slave);
  pty_type(&terminal, "abc\n");
  ASSERT_TRUE(pty_wait_for(&terminal, "abc"));
  EXPECT_FALSE(output_was_written());
}

LAYER_TEST(OutputWatch, KeepsWhatItHasSeenUntilItEnds) {
  begin_output_watch(terminal.slave);
  ASSERT_EQ(write(terminal.slave, "x", 1), 1);
  EXPECT_TRUE(output_was_written());
  EXPECT_TRUE(output_was_written());
  begin_output_watch(terminal.slave);
  EXPECT_FALSE(output_was_written());
  end_output_watch();
  EXPECT_TRUE(output_was_written());
}

LAYER_TEST(OutputWatch, WorksOnAfterTheApplicationClosedItsDescriptors) {
  begin_output_watch(terminal.slave);
  end_output_watch();
  close_range(10, ~0U, 0);
  begin_output_watch(terminal.slave);
  EXPECT_FALSE(output_was_written());
  ASSERT_EQ(write(terminal.slave, "x", 1), 1);
  EXPECT_TRUE(output_was_written());
}

LAYER_TEST(OutputWatch, TakesOutputForGrantedWhenItIsClosedMeanwhile) {
  begin_output_watch(terminal.slave);
  close_range(10, ~0U, 0);
  EXPECT_TRUE(output_was_written());
}

LAYER_TEST(OutputWatch, TakesOutputForGrantedWhereItCannotSee) {
  EXPECT_TRUE(output_was_written());
  begin_output_watch(-1);
  EXPECT_TRUE(output_was_written());
}
