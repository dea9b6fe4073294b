// Prompts: their rows, colours, and characters.
#include "editline/screen/prompt.h"

#include <clocale>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

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
    {"nothing but a sequence", "\001\033[1m\002", "\033[1m"},
    {"a character and a sequence", "#\001\033[1m\002", "#\033[1m"},
    {"around the text", "\001\033[1m\002shell\001\033[0m\002> ", "\033[1mshell\033[0m> "},
    {"at the end", "shell> \001\033[0m\002", "shell> \033[0m"},
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
