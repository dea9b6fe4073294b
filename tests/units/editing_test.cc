// Exchanging characters and words, and the last word of an older line.
#include "editline/commands/editing.h"

#include <clocale>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

LAYER_TEST(Transpose, ExchangesTheTwoAroundTheCursor) {
  EXPECT_EQ(read_line({"abcd\002\024|\n"}), "abdc|");
  EXPECT_EQ(read_line({"abcd\024|\n"}), "abdc|");
  EXPECT_EQ(read_line({"abcd\001\006\024|\n"}), "ba|cd");
}

// libedit's own command moves the cursor unseen.
LAYER_TEST(Transpose, WithoutTwoCharactersDoesNothing) {
  EXPECT_EQ(read_line({"abcd\001\024|\n"}), "|abcd");
  EXPECT_EQ(read_line({"\024|\n"}), "|");
  EXPECT_EQ(read_line({"a\024|\n"}), "a|");
  EXPECT_EQ(read_line({"a\001\024|\n"}), "|a");
}

// --- Words ---------------------------------------------------------------------------------------

// What is typed, with a bar at the cursor then, and the line.
static const struct {
  const char *keys;
  const char *line;
} transposed_words[] = {
    {"one two\033t|\n", "two one|"},
    {"one  two three\033b\033b\033t|\n", "two  one| three"},
    {"one two three\002\002\033t|\n", "one three two|"},
    {"one two  \033t|\n", "two one|  "},
    {"a, bcd;\033T|\n", "bcd, a|;"},
    {"ä üro\033t\n", "üro ä"},
    {"one\033t|\n", "one|"},
    {"one two\001\033t|\n", "|one two"},
    {"\033t|\n", "|"},
    {" ;\033t|\n", " ;|"},
};

LAYER_TEST(TransposeWords, ExchangesTheTwoAroundTheCursor) {
  for (const auto &row : transposed_words) EXPECT_EQ(read_line({row.keys}), row.line);
}

static const struct {
  const char *keys;
  const char *line;
} last_words[] = {
    {"ping \033.|\n", "ping newest|"},           {"ping \033.\033.|\n", "ping two|"},
    {"ping \033.\033.\033.|\n", "ping oldest|"}, {"ping \033.\033.\033.\033.|\n", "ping oldest|"},
    {"ac\002\033.\033.|\n", "atwo|c"},           {"\033.\033.x\033.|\n", "twoxnewest|"},
    {"\033.\002\033.|\n", "newesnewest|t"},      {"a\033.\020|\n", "newest|"},
    {"\020\020 \033.|\n", "one two   oldest|"},
};

LAYER_TEST(LastWord, IsThatOfTheLineBefore) {
  for (const char *line : {"oldest", " \t", "one two  ", "newest"}) add_history(line);
  for (const auto &row : last_words) EXPECT_EQ(read_line({row.keys}), row.line);
}

LAYER_TEST(LastWord, WithoutHistoryThereIsNone) { EXPECT_EQ(read_line({"a\033.b\n"}), "ab"); }

LAYER_TEST(LastWord, OfTheLineBeforeIsANewOneInTheNextLine) {
  for (const char *line : {"older", "newer"}) add_history(line);
  EXPECT_EQ(read_line({"\033.\n"}), "newer");
  EXPECT_EQ(read_line({"newer\033.\n"}), "newernewer");
}

LAYER_TEST(LastWord, MakesNoLineLongerThanKeysMay) {
  add_history(repeated("x", 6000).c_str());
  EXPECT_EQ(read_line({"\033. \033.\n"}), repeated("x", 6000) + " ");
}

LAYER_TEST(Words, AreMetaKeysOfOneByteInTheCLocale) {
  setlocale(LC_ALL, "C");
  add_history("newest");
  EXPECT_EQ(read_line({"one two\364 \256\n"}), "two one newest");
}
