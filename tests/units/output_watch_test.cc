// Detecting writes to a terminal.
#include "editline/screen/output_watch.h"

#include <unistd.h>

#include <cstdlib>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

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
