// Where keys come from: the layer's own reader, and repeat counts.
#include "editline/input/keys.h"

#include <unistd.h>

#include <clocale>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

// --- The layer's own reader ----------------------------------------------------------------------

static std::optional<std::string> type_at_prompt(const std::string &bytes) {
  rl_getc_function = nullptr;
  pty_start_typing(&terminal, {{"> ", bytes}});
  auto line = read_next_line();
  EXPECT_TRUE(pty_finish_typing());
  return line;
}

LAYER_TEST(OwnReader, DecodesCharacters) {
  EXPECT_EQ(type_at_prompt("aä€\U0001F600b\n"), "aä€\U0001F600b");
}

LAYER_TEST(OwnReader, EditsByCharacters) { EXPECT_EQ(type_at_prompt("äöü\177\002\002|\n"), "|äö"); }

LAYER_TEST(OwnReader, TakesTheKeysOfTheEditor) {
  rl_getc_function = nullptr;
  add_history("from history");
  EXPECT_EQ(type_at_prompt("x\033[A!\n"), "from history!");
}

static const struct {
  const char *name;
  const char *typed;
  const char *line;
} invalid_bytes[] = {
    {"bytes that never occur", "a\377\376b\n", "ab"},
    {"a byte that only continues", "a\200b\n", "ab"},
    {"a start before another character", "a\303(b\n", "a(b"},
    {"a start before a whole character", "a\303äb\n", "aäb"},
    {"a start before the end of the line", "ab\303\n", "ab"},
    {"two of three bytes before the end of the line", "ab\342\202\n", "ab"},
    {"an overlong form", "a\300\257b\n", "ab"},
};

LAYER_TEST(OwnReader, PassesOverBytesThatStartNoCharacter) {
  for (const auto &row : invalid_bytes) {
    SCOPED_TRACE(row.name);
    // The second line shows up in the first when that one's Enter is swallowed.
    rl_getc_function = nullptr;
    pty_start_typing(&terminal, {{"> ", std::string(row.typed) + "swallowed\n"}});
    EXPECT_EQ(read_next_line(), row.line);
    EXPECT_TRUE(pty_finish_typing());
    tcflush(terminal.slave, TCIFLUSH);
  }
}

LAYER_TEST(OwnReader, InTheCLocalePassesOverWhatItCannotDecode) {
  setlocale(LC_ALL, "C");
  EXPECT_EQ(type_at_prompt("aäb\n"), "ab");
}

LAYER_TEST(OwnReader, CtrlDIsTheEndOfInput) { EXPECT_EQ(type_at_prompt("\004"), std::nullopt); }

LAYER_TEST(OwnReader, ATerminalThatIsHungUpIsAtItsEnd) {
  set_handler(SIGHUP, SIG_IGN);
  rl_getc_function = nullptr;
  pty_type(&terminal, "before\n");
  EXPECT_EQ(read_next_line(), "before");
  close(terminal.master);
  EXPECT_EQ(read_next_line(), std::nullopt);
  EXPECT_EQ(read_next_line(), std::nullopt);
}

// --- Repeat counts -------------------------------------------------------------------------------

LAYER_TEST(RepeatCount, IsTakenByKeys) {
  EXPECT_EQ(read_line({"\0333x\n"}), "xxx");
  EXPECT_EQ(read_line({"\03312xy\n"}), "xxxxxxxxxxxxy");
  EXPECT_EQ(read_line({"abcdef\0332\002|\n"}), "abcd|ef");
  EXPECT_EQ(read_line({"one two three\0332\033b|\n"}), "one |two three");
  EXPECT_EQ(read_line({"\2632x\n"}), repeated("x", 32));
}

// libedit alone takes a million, and then needs seconds and hundreds of megabytes.
LAYER_TEST(RepeatCount, EndsAt9999) {
  EXPECT_EQ(read_line({"\0339999x\n"}), repeated("x", 9999));
  EXPECT_EQ(read_line({"\0339999999999999999x\n"}), repeated("x", 9999));
}

LAYER_TEST(RepeatCount, IsTakenByKeysOfSeveralCharacters) {
  EXPECT_EQ(read_line({"abcdef\0332\033[D|\n"}), "abcd|ef");
  EXPECT_EQ(read_line({"abcdef\0333\033OD|\n"}), "abc|def");
}

// What looks like a key and is none is no reason to take the rest of the line for it.
LAYER_TEST(RepeatCount, OfASequenceThatDoesNotEnd) {
  EXPECT_EQ(read_line({"abc\0332\033[1111111111111\n", "d\n"}).has_value(), true);
  EXPECT_EQ(read_line({"abc\0332\033[1\177\001|\n", "d\n"}).has_value(), true);
  EXPECT_EQ(read_line({"x\n"}), "x");
}

LAYER_TEST(RepeatCount, TheEndOfInputInIt) {
  EXPECT_EQ(read_line({"abc\0333\033["}), std::nullopt);
  EXPECT_EQ(read_line({"abc\0333"}), std::nullopt);
  EXPECT_EQ(read_line({"x\n"}), "x");
}
