// Repeat counts.
#include "editline/commands/repeat_count.h"

#include <clocale>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

LAYER_TEST(RepeatCount, IsTakenByKeys) {
  EXPECT_EQ(read_line({"\0333x\n"}), "xxx");
  EXPECT_EQ(read_line({"\03312xy\n"}), "xxxxxxxxxxxxy");
  EXPECT_EQ(read_line({"abcdef\0332\002|\n"}), "abcd|ef");
  EXPECT_EQ(read_line({"one two three\0332\033b|\n"}), "one |two three");
}

LAYER_TEST(RepeatCount, IsTakenFromMetaBytesInTheCLocale) {
  setlocale(LC_ALL, "C");
  EXPECT_EQ(read_line({"\2632x\n"}), repeated("x", 32));
  EXPECT_EQ(read_line({"\0331\2622x\n"}), repeated("x", 122));
}

LAYER_TEST(RepeatCount, IsForCharactersAndForBytesThatAreNone) {
  EXPECT_EQ(read_line({"\0332²\0333\262\0332€\n"}), "²²\262\262\262€€");
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

// libedit waits within the sequence, when the count has been used.
LAYER_TEST(RepeatCount, OfASequenceWithoutItsEnd) {
  EXPECT_EQ(read_line({std::string("\0332\033[0\0x", 7), "\nabc\n"}).has_value(), true);
  EXPECT_EQ(read_line({"x\n"}), "x");
}

LAYER_TEST(RepeatCount, TheEndOfInputInIt) {
  EXPECT_EQ(read_line({"abc\0333\033["}), std::nullopt);
  EXPECT_EQ(read_line({"abc\0333"}), std::nullopt);
  EXPECT_EQ(read_line({"x\n"}), "x");
}

static const struct {
  const char *keys;
  const char *line;
} not_counts[] = {
    {"\033[2~\033123456\n", "\033123456"},  // Insert quotes the Escape
    {"\033[2~\0332\020\n", "second"},      {"\033\0332\020\n", "second"},
    {"\033\033123456\n", "23456"},         {"\026\033123456\n", "\033123456"},
};

LAYER_TEST(RepeatCount, IsTakenWhereLibeditTakesOne) {
  for (const char *line : {"first", "second"}) add_history(line);
  for (const auto &row : not_counts) EXPECT_EQ(read_line({row.keys}), row.line);
  EXPECT_EQ(read_line({"\026\026\03399999x\n"})->size(), 1U + 9999);
}

LAYER_TEST(RepeatCount, InSeveralKeys) {
  EXPECT_EQ(read_line({"\0331\0332x\n"}), repeated("x", 12));
  EXPECT_EQ(read_line({"\0339\0339\0339\0339\0339\0339x\n"}), repeated("x", 9999));
}

// The keys through which libedit gets a count are gone after it: they would have no limit.
LAYER_TEST(RepeatCount, LeavesNoKeysBehind) {
  EXPECT_EQ(read_line({"\0339x\n"}), repeated("x", 9));
  EXPECT_LT(read_line({"\033[09\033[09\033[09x\n"})->size(), 100U);
}

LAYER_TEST(RepeatCount, OfZeroMovesOneLine) {
  add_history("first");
  EXPECT_EQ(read_line({"\0330\020\n"}), "first");
}

LAYER_TEST(RepeatCount, IsForOneKeyOfSeveral) {
  for (const char *line : {"first", "second", "third", "fourth"}) add_history(line);
  EXPECT_EQ(read_line({"\0332\033[A\033[A\n"}), "second");
  EXPECT_EQ(read_line({"\0332\020\0332\020\n"}), "first");
}
