// Where keys come from: the layer's own reader.
#include "editline/input/keys.h"

#include <unistd.h>

#include <clocale>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

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
