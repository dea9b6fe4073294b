// Reading lines of any length and bytes of any kind, from terminals and from other input.
#include "editline/readline.h"

#include <fcntl.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>

#include "layer_harness.h"

using namespace lineedit;

#define up_key "\020"    // ^P
#define down_key "\016"  // ^N

// --- What readline returns -----------------------------------------------------------------------

LAYER_TEST(Readline, InitialisesTheLayer) {
  EXPECT_EQ(read_line({"abc\n"}), "abc");
  EXPECT_NE(get_history(), nullptr);
}

LAYER_TEST(Readline, ReturnsAnEmptyLineAsOne) {
  EXPECT_EQ(read_line({"\n"}), "");
  EXPECT_EQ(read_line({"\r"}), "");
}

LAYER_TEST(Readline, ReturnsNullAtTheEndOfInputAndGoesOnAfterwards) {
  EXPECT_EQ(read_line({""}), std::nullopt);
  EXPECT_EQ(read_line({"half a line"}), std::nullopt);
  EXPECT_EQ(read_line({"abc\n"}), "abc");
}

LAYER_TEST(Readline, ReturnsALineThatIsTheCallersOwn) {
  set_script({"first\nsecond\n"});
  char *first = readline("> ");
  char *second = readline("> ");
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_STREQ(first, "first");
  EXPECT_STREQ(second, "second");
  free(first);
  free(second);
}

// --- Long lines ----------------------------------------------------------------------------------

static constexpr size_t lengths[] = {1, 1000, 1022, 1023, 1024, 1025, 2047, 2048, 5000};

static std::string line_of(size_t length) {
  std::string line;
  while (line.size() < length) line += "0123456789";
  return line.substr(0, length);
}

LAYER_TEST(LongLine, ComesBackWhole) {
  for (const size_t length : lengths) {
    SCOPED_TRACE(length);
    const std::string line = line_of(length);
    EXPECT_EQ(read_line({line, "\n"}), line);
  }
}

LAYER_TEST(LongLine, ComesBackWholeAfterUpAndDown) {
  add_history("short");
  for (const size_t length : {size_t{1}, size_t{1000}, size_t{1022}, size_t{1023}}) {
    SCOPED_TRACE(length);
    const std::string line = line_of(length);
    EXPECT_EQ(read_line({line, up_key down_key "\n"}), line);
  }
}

LAYER_TEST(LongLine, ComesBackWholeFromHistory) {
  for (const size_t length : lengths) {
    SCOPED_TRACE(length);
    const std::string line = line_of(length);
    add_history(line.c_str());
    EXPECT_EQ(read_line({up_key "\n"}), line);
  }
}

// libedit 3.1-20221030 keeps the line aside in a buffer of 1024 characters, and counts those that
// it has dropped. What it kept comes back, and nothing that it did not.
LAYER_TEST(LongLine, ThatTheEditorCutsOnUpAndDownComesBackAsFarAsItWasKept) {
  add_history("short");
  for (const size_t length : {size_t{1024}, size_t{1025}, size_t{5000}}) {
    SCOPED_TRACE(length);
    const std::string line = line_of(length);
    const std::string kept = read_line({line, up_key down_key "\n"}).value_or("");
    EXPECT_GE(kept.size(), 1023u);
    EXPECT_EQ(kept, line.substr(0, kept.size()));
  }
}

// --- Bytes beyond ASCII --------------------------------------------------------------------------

// The byte 255 reads as the end of input.
LAYER_TEST(Bytes, QuotedOnesFromAHookComeBackWhole) {
  for (int byte = 128; byte < 255; ++byte) {
    SCOPED_TRACE(byte);
    const std::string text(1, static_cast<char>(byte));
    EXPECT_EQ(read_line({"a\026", text, "b\n"}), "a" + text + "b");
  }
}

LAYER_TEST(Bytes, QuotedOnesComeBackWholeInTheCLocaleToo) {
  setlocale(LC_ALL, "C");
  for (int byte = 128; byte < 255; ++byte) {
    SCOPED_TRACE(byte);
    const std::string text(1, static_cast<char>(byte));
    EXPECT_EQ(read_line({"a\026", text, "b\n"}), "a" + text + "b");
  }
}

LAYER_TEST(Bytes, QuotedOnesArePublishedAsTheyAre) {
  PublishedLine line = {};
  on_command_key([&] { line = published_line(); });
  EXPECT_EQ(read_line({"\026\303\026\244" command_key "\n"}), "ä");
  expect_line(line, "ä", 2, 2);
}

LAYER_TEST(Bytes, ACharacterThatTheLocaleLacksComesOutAsAQuestionMark) {
  on_command_key([] { rl_insert_text("ä"); });
  EXPECT_EQ(read_line({"a" command_key, [] { setlocale(LC_ALL, "C"); }, "b\n"}), "a?b");
}

// --- What is no terminal -------------------------------------------------------------------------

// Lets the layer read `text` through a pipe or from a file.
static void read_from(const std::string &text, bool from_file) {
  int ends[2];
  FILE *file = tmpfile();
  ASSERT_NE(file, nullptr);
  ASSERT_EQ(pipe(ends), 0);
  if (from_file) {
    fwrite(text.data(), 1, text.size(), file);
    rewind(file);
    rl_instream = file;
  } else {
    ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    rl_instream = fdopen(ends[0], "r");
  }
  close(ends[1]);
  rl_getc_function = nullptr;
  ASSERT_EQ(rl_initialize(), 0);
}

static std::optional<std::string> next_byte_source_line() { return read_next_line("never> "); }

LAYER_TEST(NoTerminal, LinesComeOneByOneThenNullAgainAndAgain) {
  for (const bool from_file : {false, true}) {
    SCOPED_TRACE(from_file);
    read_from("one\n\n two\tthree \nlast without end", from_file);
    EXPECT_EQ(next_byte_source_line(), "one");
    EXPECT_EQ(next_byte_source_line(), "");
    EXPECT_EQ(next_byte_source_line(), " two\tthree ");
    EXPECT_EQ(next_byte_source_line(), "last without end");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(next_byte_source_line(), std::nullopt);
  }
}

LAYER_TEST(NoTerminal, NothingIsEditedAndNothingIsCompleted) {
  rl_attempted_completion_function = [](const char *, int, int) {
    ADD_FAILURE() << "completed";
    return static_cast<char **>(nullptr);
  };
  read_from("ab\001c\t\022\033[A\004\026d\177\n", true);
  EXPECT_EQ(next_byte_source_line(), "ab\001c\t\022\033[A\004\026d\177");
}

LAYER_TEST(NoTerminal, CharactersComeWhole) {
  for (const bool from_file : {false, true}) {
    read_from("aä€\U0001F600b\nö", from_file);
    EXPECT_EQ(next_byte_source_line(), "aä€\U0001F600b");
    EXPECT_EQ(next_byte_source_line(), "ö");
    EXPECT_EQ(next_byte_source_line(), std::nullopt);
  }
}

LAYER_TEST(NoTerminal, LongLinesComeWhole) {
  std::string text;
  for (const size_t length : lengths) text += line_of(length) + '\n';
  read_from(text, true);
  for (const size_t length : lengths) EXPECT_EQ(next_byte_source_line(), line_of(length));
  EXPECT_EQ(next_byte_source_line(), std::nullopt);
}

LAYER_TEST(NoTerminal, AnEmptySourceIsAtItsEnd) {
  for (const bool from_file : {false, true}) {
    read_from("", from_file);
    EXPECT_EQ(next_byte_source_line(), std::nullopt);
    EXPECT_EQ(next_byte_source_line(), std::nullopt);
  }
}

LAYER_TEST(NoTerminal, AsInputTheTerminalAtTheOutputShowsNoPromptAndKeepsItsSettings) {
  const struct termios found = pty_settings(&terminal);
  read_from("one\n", false);
  EXPECT_EQ(next_byte_source_line(), "one");
  fflush(terminal.out);
  pty_collect(&terminal);
  EXPECT_EQ(terminal.shown.find("never"), std::string::npos) << terminal.shown;
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
}

LAYER_TEST(NoTerminal, AsOutputNothingIsEditedAndTheTerminalAtTheInputKeepsItsSettings) {
  const struct termios found = pty_settings(&terminal);
  rl_outstream = tmpfile();
  bool raw = true;
  EXPECT_EQ(read_line({"ab\001", [&] { raw = pty_is_raw(&terminal); }, "c\n"}), "ab\001c");
  EXPECT_FALSE(raw);
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
}

// Bytes that a hook hands on, as the module's own reader does.
static int byte_of_instream(FILE *stream) {
  unsigned char byte;
  return read(fileno(stream), &byte, 1) == 1 ? static_cast<signed char>(byte) : -1;
}

LAYER_TEST(NoTerminal, BytesFromAHookComeWhole) {
  for (const bool from_file : {false, true}) {
    read_from("aä€\U0001F600b\n\200\300\376\n", from_file);
    rl_getc_function = byte_of_instream;
    lseek(fileno(rl_instream), 0, SEEK_SET);
    ASSERT_EQ(rl_initialize(), 0);
    EXPECT_EQ(next_byte_source_line(), "aä€\U0001F600b");
    EXPECT_EQ(next_byte_source_line(), "\200\300\376");
    EXPECT_EQ(next_byte_source_line(), std::nullopt);
  }
}
