// Exchanging characters.
#include "editline/commands/editing.h"

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
