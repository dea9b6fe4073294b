// Drawing the line again, and making room for what something else writes.
#include "editline/screen/display.h"

#include <unistd.h>

#include <cstdlib>

#include "editline/readline.h"
#include "editline/screen/prompt.h"
#include "layer_harness.h"

using namespace lineedit;

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
  int rows_below;  // in which the line goes on below the cursor
} places[] = {
    {0, "", 0},          {5, "", 0},      {5, "\001", 0},  {17, "\001", 0},
    {18, "", 0},         {18, "\001", 1}, {30, "\001", 1}, {50, "", 0},
    {50, "\002\002", 0}, {50, "\001", 2}, {57, "\001", 2}, {58, "\001", 3},
};

static std::string down(int rows) { return rows > 0 ? "\r" + repeated("\r\n", rows) : ""; }

// Back to the cursor's column behind the prompt.
static std::string up(int rows) { return rows > 0 ? repeated("\033[A", rows) + "\033[3G" : ""; }

static std::string down_and_up(int rows) { return down(rows) + up(rows); }

// What puts the prompt into a row of its own, on a screen of 20 columns.
static const std::string fresh_row = repeated(" ", 20) + "\r\033[J";

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
    EXPECT_EQ(shown, down(place.rows_below));
  }
}

LAYER_TEST(Beside, WithNothingWrittenTheLineStays) {
  for (const auto &place : places) {
    SCOPED_TRACE(std::to_string(place.length) + place.keys);
    const std::string shown = beside_the_line(place.length, place.keys, rl_forced_update_display);
    EXPECT_EQ(shown, down_and_up(place.rows_below));
  }
}

LAYER_TEST(Beside, WithNothingWrittenTheCursorIsBroughtBack) {
  for (const auto &place : places) {
    SCOPED_TRACE(std::to_string(place.length) + place.keys);
    EXPECT_EQ(beside_the_line(place.length, place.keys, [] {}), down_and_up(place.rows_below));
  }
}

LAYER_TEST(Beside, WithoutARedrawWhatWasWrittenStands) {
  for (const auto &place : places) {
    SCOPED_TRACE(std::to_string(place.length) + place.keys);
    const std::string shown =
        beside_the_line(place.length, place.keys, [] { fputs("\nbeside", terminal.out); });
    EXPECT_EQ(shown, down(place.rows_below) + "\r\nbeside" + up(place.rows_below));
  }
}

LAYER_TEST(Beside, TheLineIsDrawnBelowWhatWasWritten) {
  for (const auto &place : places) {
    SCOPED_TRACE(std::to_string(place.length) + place.keys);
    const std::string written = down(place.rows_below) + "\r\nbeside\r\n" + fresh_row + "> ";
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
    EXPECT_NE(shown.find("process\r\n" + fresh_row + "> x"), std::string::npos);
  }
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
  EXPECT_EQ(shown, down(2) + "\033[14G");
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
  EXPECT_EQ(shown, "\033[5G");
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
  EXPECT_EQ(shown, "");
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
  EXPECT_EQ(shown, "\r\r\n> abc");
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
