// The history modes: making and finding them, the sorted directory and its growth, and empty keys.
#include "Cli/history/history_modes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <random>

#include "history_fixture.h"

namespace {

class HistoryModes : public StoreTest {
 protected:
  // The keys of the directory, in its order.
  static std::vector<std::string> keys() {
    std::vector<std::string> all;
    for (uint32_t i = 0; i < hist_ctx.mode_count; ++i) all.push_back(hist_ctx.modes[i]->key);
    return all;
  }

  static std::string key_of(int number) { return "mode" + std::to_string(number); }

  static void make_modes(int count) {
    for (int i = 0; i < count; ++i) new_history_mode(key_of(i).c_str(), nullptr);
  }
};

using Keys = std::vector<std::string>;

TEST_F(HistoryModes, RecordIsKeyThenParent) {
  EXPECT_EQ(offsetof(history_mode, key), 0U);
  EXPECT_EQ(offsetof(history_mode, parent), sizeof(void *));
  EXPECT_EQ(sizeof(history_mode), 2 * sizeof(void *));
}

// --- Finding -------------------------------------------------------------------------------------

TEST_F(HistoryModes, NothingIsFoundBeforeTheFirstMode) {
  EXPECT_EQ(find_history_mode("a"), nullptr);
  EXPECT_EQ(find_history_mode(""), nullptr);
  EXPECT_EQ(find_history_mode(nullptr), nullptr);
}

TEST_F(HistoryModes, EveryModeIsFoundAmongMany) {
  std::vector<history_mode *> made;
  for (int i = 0; i < 200; ++i) made.push_back(mode(key_of(i).c_str()));
  for (int i = 0; i < 200; ++i) EXPECT_EQ(find_history_mode(key_of(i).c_str()), made[i]) << i;
  for (const char *unknown : {"mode", "mode200", "mode0 ", "a", "z", "Mode0"})
    EXPECT_EQ(find_history_mode(unknown), nullptr) << unknown;
}

TEST_F(HistoryModes, CurrentModeIsFoundByItsKeyAndOthersBeside) {
  history_mode *first = mode("first");
  history_mode *second = mode("second");
  for (history_mode *current : {first, second}) {
    hist_ctx.current_mode = current;
    EXPECT_EQ(find_history_mode("first"), first);
    EXPECT_EQ(find_history_mode("second"), second);
    EXPECT_EQ(find_history_mode("third"), nullptr);
  }
}

TEST_F(HistoryModes, NullAndEmptyKeysAreNeverFound) {
  mode("some");
  hist_ctx.current_mode = mode("");
  EXPECT_EQ(find_history_mode(nullptr), nullptr);
  EXPECT_EQ(find_history_mode(""), nullptr);
}

// --- Making --------------------------------------------------------------------------------------

TEST_F(HistoryModes, NewModeHasACopyOfTheKey) {
  char key[] = "key";
  history_mode *made = new_history_mode(key, "");
  ASSERT_NE(made, nullptr);
  EXPECT_NE(made->key, key);
  key[0] = 'X';
  EXPECT_STREQ(made->key, "key");
  EXPECT_EQ(find_history_mode("key"), made);
}

TEST_F(HistoryModes, NullOrEmptyParentKeyMeansNoParent) {
  EXPECT_EQ(mode("a", nullptr)->parent, nullptr);
  EXPECT_EQ(mode("b", "")->parent, nullptr);
}

TEST_F(HistoryModes, ParentIsTheRecordOfItsKey) {
  history_mode *root = mode("root");
  history_mode *child = mode("child", "root");
  EXPECT_EQ(child->parent, root);
  EXPECT_EQ(mode("grandchild", "child")->parent, child);
}

TEST_F(HistoryModes, UnknownParentMakesNothing) {
  mode("a");
  EXPECT_EQ(new_history_mode("c", "p"), nullptr);
  EXPECT_EQ(keys(), Keys{"a"});
  EXPECT_EQ(find_history_mode("c"), nullptr);
}

TEST_F(HistoryModes, UnknownParentAllocatesNoDirectory) {
  EXPECT_EQ(new_history_mode("c", "p"), nullptr);
  EXPECT_EQ(hist_ctx.modes, nullptr);
  EXPECT_EQ(hist_ctx.mode_capacity, 0U);
}

TEST_F(HistoryModes, NoModeIsItsOwnParent) {
  EXPECT_EQ(new_history_mode("self", "self"), nullptr);
  EXPECT_EQ(hist_ctx.mode_count, 0U);
}

TEST_F(HistoryModes, FirstMakerFixesTheParent) {
  history_mode *a = mode("a");
  history_mode *b = mode("b", "a");
  mode("other");
  for (const char *parent_key : {"other", "unknown", "", "b"}) {
    EXPECT_EQ(new_history_mode("b", parent_key), b) << parent_key;
    EXPECT_EQ(b->parent, a) << parent_key;
  }
  EXPECT_EQ(new_history_mode("b", nullptr), b);
  EXPECT_EQ(b->parent, a);
  EXPECT_EQ(hist_ctx.mode_count, 3U);
}

TEST_F(HistoryModes, MakingAndFindingLeaveTheCurrentMode) {
  history_mode *current = mode("current");
  EXPECT_EQ(hist_ctx.current_mode, nullptr);
  hist_ctx.current_mode = current;
  mode("another", "current");
  find_history_mode("another");
  new_history_mode("third", "unknown");
  EXPECT_EQ(hist_ctx.current_mode, current);
}

// --- The directory -------------------------------------------------------------------------------

TEST_F(HistoryModes, DirectoryIsSortedByTheBytesOfTheKeys) {
  const Keys wanted = {"", "B", "a", "aa", "ab", "b", "\x7f", "\x80", "\xff"};
  Keys shuffled = wanted;
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
  for (const std::string &key : shuffled) mode(key.c_str());
  EXPECT_EQ(keys(), wanted);
}

TEST_F(HistoryModes, DirectoryStaysSortedWhateverTheOrderOfMaking) {
  Keys order;
  for (int i = 0; i < 6; ++i) order.push_back(key_of(i));
  const Keys wanted = order;
  do {
    for (const std::string &key : order) mode(key.c_str());
    ASSERT_EQ(keys(), wanted);
    reset_store();
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(HistoryModes, DirectoryStartsWithSixteenSlotsAndDoublesWhenFull) {
  for (const int full : {16, 32, 64, 128}) {
    make_modes(full - 1);
    EXPECT_EQ(hist_ctx.mode_capacity, static_cast<uint32_t>(full));
    make_modes(full);
    EXPECT_EQ(hist_ctx.mode_capacity, static_cast<uint32_t>(full));
    make_modes(full + 1);
    EXPECT_EQ(hist_ctx.mode_capacity, static_cast<uint32_t>(2 * full));
    EXPECT_EQ(hist_ctx.mode_count, static_cast<uint32_t>(full + 1));
  }
}

TEST_F(HistoryModes, GrowthKeepsRecordsInPlace) {
  history_mode *early = mode("early");
  history_mode *child = mode("child", "early");
  make_modes(100);
  EXPECT_EQ(find_history_mode("early"), early);
  EXPECT_EQ(find_history_mode("child"), child);
  EXPECT_EQ(child->parent, early);
}

TEST_F(HistoryModes, KnownKeyDoesNotGrowTheDirectory) {
  make_modes(16);
  make_modes(16);
  EXPECT_EQ(hist_ctx.mode_capacity, 16U);
  EXPECT_EQ(hist_ctx.mode_count, 16U);
}

// --- Empty keys ----------------------------------------------------------------------------------

TEST_F(HistoryModes, EachEmptyKeyMakesOneMoreRecord) {
  history_mode *first = mode("");
  history_mode *named = mode("named");
  history_mode *second = mode("");
  EXPECT_NE(first, second);
  ASSERT_EQ(hist_ctx.mode_count, 3U);
  // New ones go after the existing ones and before every other key.
  EXPECT_EQ(hist_ctx.modes[0], first);
  EXPECT_EQ(hist_ctx.modes[1], second);
  EXPECT_EQ(hist_ctx.modes[2], named);
}

TEST_F(HistoryModes, EmptyKeyIsNoParentButCanHaveOne) {
  history_mode *root = mode("root");
  history_mode *empty = mode("", "root");
  EXPECT_EQ(empty->parent, root);
  EXPECT_EQ(mode("child", "")->parent, nullptr);
  EXPECT_EQ(new_history_mode("", "unknown"), nullptr);
  EXPECT_EQ(hist_ctx.mode_count, 3U);
}

TEST_F(HistoryModes, ManyEmptyKeysDoNotHideOthers) {
  for (int i = 0; i < 20; ++i) {
    mode("");
    const history_mode *named = mode(key_of(i).c_str());
    EXPECT_EQ(find_history_mode(key_of(i).c_str()), named);
  }
  EXPECT_EQ(hist_ctx.mode_count, 40U);
  for (int i = 0; i < 20; ++i) EXPECT_NE(find_history_mode(key_of(i).c_str()), nullptr) << i;
}

TEST_F(HistoryModes, LinesOfAnEmptyKeyBelongToThatRecordOnly) {
  history_mode *first = mode("");
  history_mode *second = mode("");
  enter("first's", first);
  EXPECT_EQ(offered_in(second), Lines{});
  EXPECT_EQ(offered_in(first), Lines{"first's"});
}

}  // namespace
