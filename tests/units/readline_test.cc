// Reading lines: through the layer's own reader and through a hook, from terminals and from what is
// none, lines of any length and bytes of any kind, and the prompt.
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

// --- The prompt ----------------------------------------------------------------------------------

// What the terminal shows from the start of a read with `prompt` on, up to the end of the line.
static std::string shown_with(const char *prompt, const std::string &keys) {
  pty_collect(&terminal);
  const size_t before = terminal.shown.size();
  set_script({keys});
  EXPECT_TRUE(read_next_line(prompt).has_value());
  pty_collect(&terminal);
  return terminal.shown.substr(before);
}

static const struct {
  const char *name;
  const char *prompt;
  const char *shown;
} prompts[] = {
    {"plain", "shell> ", "shell> "},
    {"empty", "", ""},
    {"multi-byte", "schön €> ", "schön €> "},
    {"one sequence", "\001\033[1m\002shell> ", "\033[1mshell> "},
    {"nothing but a sequence", "\001\033[1m\002", ""},
    {"a character and a sequence", "#\001\033[1m\002", "\033[1m#"},
    {"around the text", "\001\033[1m\002shell\001\033[0m\002> ", "\033[1mshell\033[0m> "},
    {"at the end, which changes places with the blank", "shell> \001\033[0m\002", "shell>\033[0m "},
    {"adjoining", "\001\033[1m\002\001\033[4m\002shell\001\033[24m\002\001\033[0m\002> ",
     "\033[1m\033[4mshell\033[24m\033[0m> "},
    {"three adjoining", "\001\033[1m\002\001\033[4m\002\001\033[7m\002shell> ",
     "\033[1m\033[4m\033[7mshell> "},
    {"a byte that starts no character", "\377shell> ", "?shell> "},
    {"half a character at the end", "shell\303", "shell?"},
    {"half a character before another", "a\303b> ", "a?b> "},
};

LAYER_TEST(Prompt, IsShownAsItIs) {
  for (const auto &row : prompts) {
    SCOPED_TRACE(row.name);
    const std::string shown = shown_with(row.prompt, "x\n");
    EXPECT_EQ(shown.substr(0, std::string(row.shown).size()), row.shown) << shown;
    EXPECT_EQ(shown.find('\001'), std::string::npos);
    EXPECT_EQ(shown.find('\002'), std::string::npos);
  }
}

LAYER_TEST(Prompt, CanBeLeftOut) { EXPECT_EQ(shown_with(nullptr, "x\n").substr(0, 1), "x"); }

LAYER_TEST(Prompt, SequencesInItsUpperRows) {
  const std::string shown = shown_with("\001\033[1m\002one\001\033[0m\002\n> ", "x\n");
  EXPECT_EQ(shown.find("\033[1mone\033[0m\r\n> "), 0u) << shown;
}

LAYER_TEST(Prompt, BytesThatTheCLocaleCannotDecodeAreShownAsQuestionMarks) {
  setlocale(LC_ALL, "C");
  EXPECT_EQ(shown_with("sch\303\266n> ", "x\n").substr(0, 8), "sch??n> ");
}

// Moving about the line shows how wide the editor takes the prompt to be.
LAYER_TEST(Prompt, SequencesTakeNoRoom) {
  const std::string keys = "abcdef\001x\005y\n";
  const std::string plain = shown_with("> ", keys);
  std::string sequences;
  for (int i = 0; i < 30; ++i) sequences += "\033[0m";
  std::string marked = shown_with(("\001" + sequences + "\002> ").c_str(), keys);
  for (size_t at; (at = marked.find(sequences)) != std::string::npos;)
    marked.erase(at, sequences.size());
  EXPECT_EQ(marked, plain);
}

LAYER_TEST(Prompt, CharactersTakeTheRoomOfOne) {
  const std::string keys(75, 'x');
  const std::string plain = shown_with("ab> ", keys + "\n");
  const std::string accented = shown_with("äö> ", keys + "\n");
  EXPECT_EQ(accented.substr(accented.find("> ")), plain.substr(plain.find("> ")));
}

LAYER_TEST(Prompt, IsTheCallersToChange) {
  char prompt[] = "first> ";
  set_script({"a", [&] { prompt[0] = 'X'; }, [] { rl_forced_update_display(); }, "\n"});
  EXPECT_EQ(read_next_line(prompt), "a");
  pty_collect(&terminal);
  EXPECT_EQ(terminal.shown.find("Xirst"), std::string::npos);
}

LAYER_TEST(Prompt, IsDrawnAnewWithTheLine) {
  set_script({"abc", [] { rl_forced_update_display(); }, "d\n"});
  EXPECT_EQ(read_next_line("shell> "), "abcd");
  pty_collect(&terminal);
  const size_t first = terminal.shown.find("shell> ");
  ASSERT_NE(first, std::string::npos);
  EXPECT_NE(terminal.shown.find("shell> abc", first + 1), std::string::npos) << terminal.shown;
}
