// The history limit: what it does to the store, and to the keys of the history commands of an
// editor that binds by keymap, which the stand-in plays.
#include "Cli/keys/history_limit.h"

#include <gtest/gtest.h>

#include <cstddef>

#include "history_fixture.h"
#include "keymaps_editor.h"

namespace {

const char *const command_names[] = {
    "beginning-of-history",
    "end-of-history",
    "forward-search-history",
    "history-search-backward",
    "history-search-forward",
    "next-history",
    "non-incremental-forward-search-history",
    "non-incremental-reverse-search-history",
    "non-incremental-forward-search-history-again",
    "non-incremental-reverse-search-history-again",
    "previous-history",
    "reverse-search-history",
    "vi-fetch-history",
};
constexpr int command_count = 13;
static_assert(sizeof command_names / sizeof command_names[0] == command_count);

// Taken before any test can have changed it.
bool all_slots_are_null() {
  for (int row = 0; row < command_count; ++row)
    for (const char *const *list : history_saved_invokers[row].invokers)
      if (list != nullptr) return false;
  return true;
}
const bool slots_null_at_load = all_slots_are_null();

class HistoryLimit : public StoreTest {
 protected:
  // Switches recording back on, which frees what a test left in the table.
  void TearDown() override {
    editor.observer = nullptr;
    history_limit_is(1);
    EXPECT_TRUE(all_slots_are_null());
    editor = {};
    keymapsSupported = 0;
    StoreTest::TearDown();
  }

  static void offer_keymaps() {
    keymapsSupported = 1;
    for (int i = 0; i < command_count; ++i)
      editor.commands[command_names[i]] = command_number(i + 1);
  }

  // Some commands with several sequences, with an empty list, and without a list.
  static void offer_sequences() {
    editor.sequences = {
        {{"beginning-of-history", 1}, {"<"}},
        {{"next-history", 0}, {"^N", "\\e[B", "\\eOB"}},
        {{"next-history", 2}, {}},
        {{"next-history", 4}, {"^N"}},
        {{"previous-history", 0}, {"^P"}},
        {{"previous-history", 3}, {"k", "-"}},
        {{"vi-fetch-history", 3}, {"G"}},
        {{"vi-fetch-history", 4}, {}},
    };
  }

  static Sequences sequences_of(const char *name, int map) {
    const auto found = editor.sequences.find({name, map});
    return found == editor.sequences.end() ? Sequences{} : found->second;
  }

  // The calls that take every offered sequence away.
  static Log calls_that_take() {
    Log calls;
    for (const char *name : command_names) {
      calls.push_back(std::string("named ") + name);
      for (int map = 0; map < 5; ++map) {
        const std::string in = " in " + std::to_string(map);
        calls.push_back(std::string("sequences ") + name + in);
        for (const std::string &keys : sequences_of(name, map))
          calls.push_back("bind " + keys + " to null" + in);
      }
    }
    return calls;
  }

  // The calls that give every offered sequence back.
  static Log calls_that_give_back() {
    Log calls;
    for (const char *name : command_names) {
      calls.push_back(std::string("named ") + name);
      for (int map = 0; map < 5; ++map)
        for (const std::string &keys : sequences_of(name, map))
          calls.push_back("bind " + keys + " to " + name + " in " + std::to_string(map));
    }
    return calls;
  }

  // The calls since the previous take_log.
  static Log take_log() {
    Log log;
    log.swap(editor.log);
    return log;
  }

  // Expects exactly the lists that were offered in the table, empty ones included.
  static void expect_offered_sequences_saved() {
    for (int row = 0; row < command_count; ++row) {
      for (int map = 0; map < 5; ++map) {
        const char *name = command_names[row];
        char **list = history_saved_invokers[row].invokers[map];
        const bool offered = editor.sequences.count({name, map}) > 0;
        ASSERT_EQ(list != nullptr, offered) << name << " in " << map;
        if (!offered) continue;
        for (const std::string &keys : sequences_of(name, map)) {
          ASSERT_NE(*list, nullptr) << name << " in " << map;
          EXPECT_STREQ(*list++, keys.c_str());
        }
        EXPECT_EQ(*list, nullptr) << name << " in " << map;
      }
    }
  }
};

// --- The table -----------------------------------------------------------------------------------

TEST_F(HistoryLimit, TableNamesThirteenCommandsInOrderAndEnds) {
  for (int row = 0; row < command_count; ++row)
    EXPECT_STREQ(history_saved_invokers[row].name, command_names[row]);
  EXPECT_EQ(history_saved_invokers[command_count].name, nullptr);
}

TEST_F(HistoryLimit, TableIsEmptyAtLoad) { EXPECT_TRUE(slots_null_at_load); }

TEST_F(HistoryLimit, RowIsNameThenFiveSlots) {
  EXPECT_EQ(offsetof(history_saved_invoker, name), 0U);
  EXPECT_EQ(offsetof(history_saved_invoker, invokers), sizeof(void *));
  EXPECT_EQ(sizeof(history_saved_invoker), 6 * sizeof(void *));
}

// --- The store -----------------------------------------------------------------------------------

TEST_F(HistoryLimit, KeepsTheNewestLinesWhateverTheirModes) {
  history_mode *left = mode("left");
  history_mode *right = mode("right");
  for (int i = 1; i <= 5; ++i) enter(std::to_string(i), i % 2 == 0 ? left : right);
  history_limit_is(3);
  EXPECT_EQ(hist_ctx.limit, 3U);
  EXPECT_EQ(lines(), (Lines{"5", "4", "3"}));
}

TEST_F(HistoryLimit, LargerLimitLosesNothingAndAllowsMore) {
  enter_numbers(1024);
  history_limit_is(1024);
  history_limit_is(2000);
  EXPECT_EQ(hist_ctx.event_count, 1024U);
  for (int i = 1025; i <= 2001; ++i) enter(std::to_string(i));
  EXPECT_EQ(hist_ctx.event_count, 2000U);
  EXPECT_EQ(oldest()->num, 2);
}

TEST_F(HistoryLimit, ZeroEmptiesTheHistory) {
  enter_numbers(5);
  history_limit_is(0);
  EXPECT_EQ(lines(), Lines{});
  EXPECT_EQ(hist_ctx.limit, 0U);
}

TEST_F(HistoryLimit, MinusOneIsTheLargestLimit) {
  enter_numbers(3);
  history_limit_is(static_cast<unsigned>(-1));
  EXPECT_EQ(hist_ctx.limit, 4294967295U);
  EXPECT_EQ(hist_ctx.event_count, 3U);
}

// --- An editor without keymaps -------------------------------------------------------------------

TEST_F(HistoryLimit, WithoutKeymapsNoKeyIsTouched) {
  offer_keymaps();
  offer_sequences();
  keymapsSupported = 0;
  for (const unsigned limit : {0U, 5U, 0U, 0U, 7U, 1024U}) {
    history_limit_is(limit);
    EXPECT_EQ(hist_ctx.limit, limit);
    EXPECT_TRUE(all_slots_are_null());
  }
  EXPECT_EQ(editor.log, Log{});
}

// --- Taking the keys away ------------------------------------------------------------------------

TEST_F(HistoryLimit, SwitchToZeroSavesAndUnbindsInOrder) {
  offer_keymaps();
  offer_sequences();
  history_limit_is(0);
  EXPECT_EQ(editor.log, calls_that_take());
  expect_offered_sequences_saved();
}

TEST_F(HistoryLimit, SwitchToZeroKeepsAnEmptyListToo) {
  offer_keymaps();
  editor.sequences = {{{"end-of-history", 2}, {}}};
  history_limit_is(0);
  char **saved = history_saved_invokers[1].invokers[2];
  ASSERT_NE(saved, nullptr);
  EXPECT_EQ(*saved, nullptr);
}

TEST_F(HistoryLimit, SwitchToZeroAsksForACommandThatTheEditorLacks) {
  keymapsSupported = 1;
  editor.sequences = {{{"null", 0}, {"^X"}}};
  history_limit_is(0);
  ASSERT_GE(editor.log.size(), 3U);
  EXPECT_EQ(editor.log[0], "named beginning-of-history");
  EXPECT_EQ(editor.log[1], "sequences null in 0");
  EXPECT_EQ(editor.log[2], "bind ^X to null in 0");
  EXPECT_EQ(editor.log.size(), 13U * 7U);
  ASSERT_NE(history_saved_invokers[12].invokers[0], nullptr);
  EXPECT_STREQ(history_saved_invokers[12].invokers[0][0], "^X");
}

TEST_F(HistoryLimit, ListIsInTheTableWhenItsSequencesAreUnbound) {
  offer_keymaps();
  editor.sequences = {{{"beginning-of-history", 0}, {"<", "^A"}}};
  // Every call after the first two comes when the first list was returned already.
  editor.observer = [] {
    const bool returned = editor.log.size() >= 2;
    EXPECT_EQ(history_saved_invokers[0].invokers[0] != nullptr, returned);
  };
  history_limit_is(0);
  EXPECT_EQ(editor.log[2], "bind < to null in 0");
}

TEST_F(HistoryLimit, LinesGoAfterTheKeys) {
  offer_keymaps();
  enter_numbers(2);
  editor.observer = [] {
    EXPECT_EQ(hist_ctx.limit, 1024U);
    EXPECT_EQ(hist_ctx.event_count, 2U);
  };
  history_limit_is(0);
  EXPECT_EQ(hist_ctx.event_count, 0U);
  EXPECT_EQ(editor.log.size(), 13U * 6U);
}

TEST_F(HistoryLimit, RefusedBindingsStopNothing) {
  offer_keymaps();
  offer_sequences();
  editor.results = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  history_limit_is(0);
  EXPECT_EQ(take_log(), calls_that_take());
  expect_offered_sequences_saved();
  history_limit_is(1);
  EXPECT_EQ(take_log(), calls_that_give_back());
  EXPECT_EQ(editor.results_used, 18U);
}

// --- Giving the keys back ------------------------------------------------------------------------

TEST_F(HistoryLimit, SwitchFromZeroBindsInOrderAndEmptiesTheTable) {
  offer_keymaps();
  offer_sequences();
  history_limit_is(0);
  take_log();
  editor.observer = [] { EXPECT_EQ(hist_ctx.limit, 0U); };
  history_limit_is(10);
  EXPECT_EQ(editor.log, calls_that_give_back());
  EXPECT_TRUE(all_slots_are_null());
  EXPECT_EQ(hist_ctx.limit, 10U);
}

TEST_F(HistoryLimit, SwitchFromZeroLooksTheCommandsUpAgain) {
  offer_keymaps();
  editor.sequences = {{{"next-history", 0}, {"^N"}}};
  history_limit_is(0);
  take_log();
  editor.commands["next-history"] = command_number(1000);
  history_limit_is(10);
  ASSERT_EQ(editor.log.size(), 14U);
  EXPECT_EQ(editor.log[6], "bind ^N to next-history in 0");
}

TEST_F(HistoryLimit, SwitchFromZeroBindsToNothingWhereTheCommandIsGone) {
  offer_keymaps();
  editor.sequences = {{{"next-history", 0}, {"^N"}}};
  history_limit_is(0);
  take_log();
  editor.commands.clear();
  history_limit_is(10);
  ASSERT_EQ(editor.log.size(), 14U);
  EXPECT_EQ(editor.log[6], "bind ^N to null in 0");
  EXPECT_TRUE(all_slots_are_null());
}

// --- Switching to and fro ------------------------------------------------------------------------

TEST_F(HistoryLimit, SavesAndRestoresAlternate) {
  offer_keymaps();
  offer_sequences();
  for (int round = 0; round < 3; ++round) {
    history_limit_is(0);
    EXPECT_EQ(take_log(), calls_that_take()) << round;
    expect_offered_sequences_saved();
    history_limit_is(5);
    EXPECT_EQ(take_log(), calls_that_give_back()) << round;
    EXPECT_TRUE(all_slots_are_null()) << round;
  }
}

TEST_F(HistoryLimit, ChangeBetweenNonZeroLimitsTouchesNoKey) {
  offer_keymaps();
  offer_sequences();
  for (const unsigned limit : {5U, 5U, 4294967295U, 1U}) history_limit_is(limit);
  EXPECT_EQ(editor.log, Log{});
  EXPECT_TRUE(all_slots_are_null());
}

TEST_F(HistoryLimit, ZeroAgainLeavesTheTable) {
  offer_keymaps();
  offer_sequences();
  history_limit_is(0);
  char **const saved = history_saved_invokers[5].invokers[0];
  take_log();
  history_limit_is(0);
  EXPECT_EQ(editor.log, Log{});
  EXPECT_EQ(history_saved_invokers[5].invokers[0], saved);
  expect_offered_sequences_saved();
}

TEST_F(HistoryLimit, LimitAloneDecidesWhenKeymapsComeLate) {
  offer_keymaps();
  offer_sequences();
  keymapsSupported = 0;
  history_limit_is(0);
  keymapsSupported = 1;
  history_limit_is(0);
  EXPECT_EQ(take_log(), Log{});
  history_limit_is(5);
  Log lookups;
  for (const char *name : command_names) lookups.push_back(std::string("named ") + name);
  EXPECT_EQ(take_log(), lookups);
  EXPECT_TRUE(all_slots_are_null());
}

}  // namespace
