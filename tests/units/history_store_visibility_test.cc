// Which lines a mode lets be seen, in a tree of three levels with two siblings.
#include <gtest/gtest.h>

#include "history_fixture.h"

namespace {

// Records lines in every mode of this tree, and with no mode, each kind twice and interleaved:
//
//   root ── left ─── left-leaf
//        └─ right ── right-leaf
//   lone
class HistoryVisibility : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    root = mode("root");
    left = mode("left", "root");
    right = mode("right", "root");
    left_leaf = mode("left-leaf", "left");
    right_leaf = mode("right-leaf", "right");
    lone = mode("lone");
    record_round("1");
    record_round("2");
  }

  static void record_round(const std::string &round) {
    enter("none" + round, nullptr);
    for (uint32_t i = 0; i < hist_ctx.mode_count; ++i)
      enter(hist_ctx.modes[i]->key + round, hist_ctx.modes[i]);
  }

  // The same by hist_last and hist_prev: oldest first.
  static Lines offered_from_the_oldest() {
    Lines offered;
    Event event;
    for (int status = hist_last(nullptr, &event); status == 0; status = hist_prev(nullptr, &event))
      offered.push_back(event.str);
    return offered;
  }

  // Expects that a mode offers exactly the given lines, newest first, walked either way.
  static void expect_offered(history_mode *in, const Lines &wanted) {
    EXPECT_EQ(offered_in(in), wanted);
    const Lines oldest_first(wanted.rbegin(), wanted.rend());
    EXPECT_EQ(offered_from_the_oldest(), oldest_first);
  }

  history_mode *root, *left, *right, *left_leaf, *right_leaf, *lone;
};

TEST_F(HistoryVisibility, NoModeSeesEveryLine) {
  expect_offered(nullptr, lines());
  EXPECT_EQ(lines().size(), 14U);
}

TEST_F(HistoryVisibility, RootSeesItsOwnAndUntaggedLines) {
  expect_offered(root, {"root2", "none2", "root1", "none1"});
  expect_offered(lone, {"lone2", "none2", "lone1", "none1"});
}

TEST_F(HistoryVisibility, MiddleSeesItsParentsButNoSiblingsOrChilds) {
  expect_offered(left, {"root2", "left2", "none2", "root1", "left1", "none1"});
  expect_offered(right, {"root2", "right2", "none2", "root1", "right1", "none1"});
}

TEST_F(HistoryVisibility, LeafSeesAllItsAncestorsButNoCousins) {
  expect_offered(left_leaf, {"root2", "left-leaf2", "left2", "none2", "root1", "left-leaf1",
                             "left1", "none1"});
  expect_offered(right_leaf, {"root2", "right-leaf2", "right2", "none2", "root1", "right-leaf1",
                              "right1", "none1"});
}

TEST_F(HistoryVisibility, PredicateHoldsForSelfAncestorsAndNone) {
  EXPECT_TRUE(hist_mode_sees(left_leaf, left_leaf));
  EXPECT_TRUE(hist_mode_sees(left_leaf, left));
  EXPECT_TRUE(hist_mode_sees(left_leaf, root));
  EXPECT_TRUE(hist_mode_sees(left_leaf, nullptr));
  EXPECT_TRUE(hist_mode_sees(nullptr, left_leaf));
  EXPECT_TRUE(hist_mode_sees(nullptr, nullptr));
}

TEST_F(HistoryVisibility, PredicateFailsForChildrenSiblingsAndStrangers) {
  EXPECT_FALSE(hist_mode_sees(root, left));
  EXPECT_FALSE(hist_mode_sees(root, left_leaf));
  EXPECT_FALSE(hist_mode_sees(left, right));
  EXPECT_FALSE(hist_mode_sees(left_leaf, right));
  EXPECT_FALSE(hist_mode_sees(left_leaf, right_leaf));
  EXPECT_FALSE(hist_mode_sees(lone, root));
  EXPECT_FALSE(hist_mode_sees(root, lone));
}

TEST_F(HistoryVisibility, ComparesRecordsNotKeys) {
  history_mode twin = *left;
  EXPECT_FALSE(hist_mode_sees(left_leaf, &twin));
  EXPECT_TRUE(hist_mode_sees(&twin, root));
  EXPECT_FALSE(hist_mode_sees(&twin, left));
}

TEST_F(HistoryVisibility, ChangeOfModeTakesEffectAtTheNextStep) {
  Event event;
  hist_ctx.current_mode = left_leaf;
  ASSERT_EQ(hist_first(nullptr, &event), 0);
  ASSERT_EQ(hist_next(nullptr, &event), 0);
  ASSERT_STREQ(event.str, "left-leaf2");
  hist_ctx.current_mode = lone;
  EXPECT_EQ(hist_next(nullptr, &event), 0);
  EXPECT_STREQ(event.str, "none2");
}

TEST_F(HistoryVisibility, DeepChainSeesTheRootOverAThousandGenerations) {
  std::string parent_key = "root";
  history_mode *deepest = root;
  for (int i = 0; i < 1000; ++i) {
    const std::string key = "deep" + std::to_string(i);
    deepest = mode(key.c_str(), parent_key.c_str());
    parent_key = key;
  }
  expect_offered(deepest, {"root2", "none2", "root1", "none1"});
}

}  // namespace
