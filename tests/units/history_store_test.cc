// The history store: what each of the ten functions returns, writes to the event record and does to
// the cursor; removal, the limit, and the layout of the records.
#include "Cli/history/history_store.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "history_fixture.h"

namespace {

// --- Layout --------------------------------------------------------------------------------------

class HistoryLayout : public StoreTest {};

ptrdiff_t distance(const void *from, const void *to) {
  return static_cast<const char *>(to) - static_cast<const char *>(from);
}

TEST_F(HistoryLayout, StoreFieldsAreInOrderWithoutGaps) {
  EXPECT_EQ(offsetof(hist_store, modes), 0U);
  EXPECT_EQ(offsetof(hist_store, mode_count), sizeof(void *));
  EXPECT_EQ(offsetof(hist_store, mode_capacity), offsetof(hist_store, mode_count) + 4);
  EXPECT_EQ(offsetof(hist_store, current_mode), offsetof(hist_store, mode_capacity) + 4);
  EXPECT_EQ(offsetof(hist_store, list), offsetof(hist_store, current_mode) + sizeof(void *));
  EXPECT_EQ(offsetof(hist_store, cursor), offsetof(hist_store, list) + 2 * sizeof(void *));
  EXPECT_EQ(offsetof(hist_store, last_event), offsetof(hist_store, cursor) + sizeof(void *));
  EXPECT_EQ(offsetof(hist_store, event_count), offsetof(hist_store, last_event) + 4);
  EXPECT_EQ(offsetof(hist_store, limit), offsetof(hist_store, event_count) + 4);
}

TEST_F(HistoryLayout, EntryIsLinksThenModeThenEvent) {
  enter("line");
  const hist_entry *entry = newest();
  EXPECT_EQ(distance(entry, &entry->next), 0);
  EXPECT_EQ(distance(entry, &entry->prev), static_cast<ptrdiff_t>(sizeof(void *)));
  EXPECT_EQ(distance(entry, &entry->mode), static_cast<ptrdiff_t>(2 * sizeof(void *)));
  EXPECT_EQ(distance(entry, &entry->num), static_cast<ptrdiff_t>(3 * sizeof(void *)));
}

TEST_F(HistoryLayout, EntryEndsInTheEditorsEventRecord) {
  enter("line");
  const hist_entry *entry = newest();
  EXPECT_EQ(sizeof(hist_entry), 3 * sizeof(void *) + sizeof(HistEvent));
  EXPECT_EQ(distance(&entry->num, &entry->str), static_cast<ptrdiff_t>(offsetof(HistEvent, str)));
  HistEvent seen;
  memcpy(&seen, reinterpret_cast<const char *>(entry) + 3 * sizeof(void *), sizeof seen);
  EXPECT_EQ(seen.num, 1);
  EXPECT_EQ(seen.str, entry->str);
}

TEST_F(HistoryLayout, NumbersAre32BitsAndOnlyEventNumbersHaveASign) {
  EXPECT_TRUE((std::is_same_v<decltype(hist_store::mode_count), uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(hist_store::mode_capacity), uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(hist_store::event_count), uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(hist_store::limit), uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(hist_store::last_event), int32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(hist_entry::num), int32_t>));
}

// --- The store at import -------------------------------------------------------------------------

class HistoryStore : public StoreTest {};

TEST_F(HistoryStore, IsEmptyAtImport) {
  EXPECT_EQ(hist_ctx.list.next, &hist_ctx.list);
  EXPECT_EQ(hist_ctx.list.prev, &hist_ctx.list);
  EXPECT_TRUE(at_head());
  EXPECT_EQ(hist_ctx.last_event, 0);
  EXPECT_EQ(hist_ctx.event_count, 0U);
  EXPECT_EQ(hist_ctx.limit, 1024U);
  EXPECT_EQ(hist_ctx.modes, nullptr);
  EXPECT_EQ(hist_ctx.mode_capacity, 0U);
  EXPECT_EQ(hist_ctx.current_mode, nullptr);
}

TEST_F(HistoryStore, FunctionsDoNotLookAtTheEditorsPointer) {
  std::string decoy(sizeof(hist_store), 'Z');
  void *const decoy_pointer = decoy.data();
  Event event;
  EXPECT_EQ(hist_enter(decoy_pointer, &event, "a"), 1);
  EXPECT_EQ(hist_first(decoy_pointer, &event), 0);
  EXPECT_EQ(hist_last(decoy_pointer, &event), 0);
  EXPECT_EQ(hist_next(decoy_pointer, &event), -1);
  EXPECT_EQ(hist_prev(decoy_pointer, &event), -1);
  EXPECT_EQ(hist_curr(decoy_pointer, &event), 0);
  EXPECT_EQ(hist_set(decoy_pointer, &event, 1), 0);
  EXPECT_EQ(hist_add(decoy_pointer, &event, "b"), 0);
  EXPECT_STREQ(event.str, "ab");
  EXPECT_EQ(hist_del(decoy_pointer, &event, 1), 0);
  free(const_cast<char *>(event.str));
  hist_clear(decoy_pointer, &event);
  EXPECT_EQ(decoy, std::string(sizeof(hist_store), 'Z'));
}

// --- hist_first and hist_last --------------------------------------------------------------------

class HistoryEnds : public StoreTest {};

TEST_F(HistoryEnds, FirstIsTheNewest) {
  enter_numbers(3);
  Event event;
  EXPECT_EQ(hist_first(nullptr, &event), 0);
  EXPECT_EQ(event.num, 3);
  EXPECT_EQ(event.str, newest()->str);
  EXPECT_EQ(hist_ctx.cursor, newest());
}

TEST_F(HistoryEnds, LastIsTheOldest) {
  enter_numbers(3);
  Event event;
  EXPECT_EQ(hist_last(nullptr, &event), 0);
  EXPECT_EQ(event.num, 1);
  EXPECT_EQ(event.str, oldest()->str);
  EXPECT_EQ(hist_ctx.cursor, oldest());
}

TEST_F(HistoryEnds, FailOnTheEmptyStore) {
  Event event;
  EXPECT_EQ(hist_first(nullptr, &event), -1);
  EXPECT_TRUE(at_head());
  EXPECT_EQ(hist_last(nullptr, &event), -1);
  EXPECT_TRUE(at_head());
  EXPECT_TRUE(event.untouched());
}

TEST_F(HistoryEnds, PassOverInvisibleLines) {
  history_mode *mine = mode("mine");
  history_mode *other = mode("other");
  for (const char *line : {"o1", "o2"}) enter(line, other);
  for (const char *line : {"m1", "m2"}) enter(line, mine);
  for (const char *line : {"o3", "o4"}) enter(line, other);
  hist_ctx.current_mode = mine;
  Event event;
  EXPECT_EQ(hist_first(nullptr, &event), 0);
  EXPECT_EQ(event.num, 4);
  EXPECT_STREQ(event.str, "m2");
  EXPECT_EQ(cursor_line(), "m2");
  EXPECT_EQ(hist_last(nullptr, &event), 0);
  EXPECT_EQ(event.num, 3);
  EXPECT_STREQ(event.str, "m1");
  EXPECT_EQ(cursor_line(), "m1");
}

TEST_F(HistoryEnds, FailWithNothingVisibleAndLeaveNoCurrentEntry) {
  enter("other's", mode("other"));
  history_mode *mine = mode("mine");
  Event event;
  for (auto *end : {hist_first, hist_last}) {
    hist_ctx.current_mode = nullptr;
    ASSERT_EQ(hist_set(nullptr, &event, 1), 0);
    ASSERT_FALSE(at_head());
    hist_ctx.current_mode = mine;
    EXPECT_EQ(end(nullptr, &event), -1);
    EXPECT_TRUE(at_head());
    EXPECT_EQ(hist_next(nullptr, &event), -1);
    EXPECT_EQ(hist_prev(nullptr, &event), -1);
    EXPECT_EQ(hist_curr(nullptr, &event), -1);
    EXPECT_TRUE(at_head());
  }
  EXPECT_TRUE(event.untouched());
}

// --- hist_next and hist_prev ---------------------------------------------------------------------

class HistorySteps : public StoreTest {};

TEST_F(HistorySteps, NextGoesToTheOlderLine) {
  enter_numbers(3);
  Event event;
  hist_first(nullptr, &event);
  EXPECT_EQ(hist_next(nullptr, &event), 0);
  EXPECT_EQ(event.num, 2);
  EXPECT_EQ(event.str, entry_of(hist_ctx.cursor)->str);
  EXPECT_EQ(cursor_line(), "2");
}

TEST_F(HistorySteps, PrevGoesToTheNewerLine) {
  enter_numbers(3);
  Event event;
  hist_last(nullptr, &event);
  EXPECT_EQ(hist_prev(nullptr, &event), 0);
  EXPECT_EQ(event.num, 2);
  EXPECT_EQ(event.str, entry_of(hist_ctx.cursor)->str);
  EXPECT_EQ(cursor_line(), "2");
}

TEST_F(HistorySteps, FailWithoutACurrentEntry) {
  enter_numbers(2);
  ASSERT_TRUE(at_head());
  Event event;
  EXPECT_EQ(hist_next(nullptr, &event), -1);
  EXPECT_TRUE(at_head());
  EXPECT_EQ(hist_prev(nullptr, &event), -1);
  EXPECT_TRUE(at_head());
  EXPECT_TRUE(event.untouched());
}

TEST_F(HistorySteps, NextAtTheOldestFailsAndKeepsTheCursor) {
  enter_numbers(2);
  Event event;
  hist_last(nullptr, &event);
  Event failed;
  EXPECT_EQ(hist_next(nullptr, &failed), -1);
  EXPECT_TRUE(failed.untouched());
  EXPECT_EQ(cursor_line(), "1");
  EXPECT_EQ(hist_prev(nullptr, &event), 0);
  EXPECT_STREQ(event.str, "2");
}

TEST_F(HistorySteps, PrevAtTheNewestFailsAndKeepsTheCursor) {
  enter_numbers(2);
  Event event;
  hist_first(nullptr, &event);
  Event failed;
  EXPECT_EQ(hist_prev(nullptr, &failed), -1);
  EXPECT_TRUE(failed.untouched());
  EXPECT_EQ(cursor_line(), "2");
  EXPECT_EQ(hist_next(nullptr, &event), 0);
  EXPECT_STREQ(event.str, "1");
}

TEST_F(HistorySteps, PassOverInvisibleLinesBothWays) {
  history_mode *mine = mode("mine");
  history_mode *other = mode("other");
  enter("m1", mine);
  for (const char *line : {"o1", "o2", "o3"}) enter(line, other);
  enter("m2", mine);
  Event event;
  hist_first(nullptr, &event);
  EXPECT_EQ(hist_next(nullptr, &event), 0);
  EXPECT_STREQ(event.str, "m1");
  EXPECT_EQ(event.num, 1);
  EXPECT_EQ(cursor_line(), "m1");
  EXPECT_EQ(hist_prev(nullptr, &event), 0);
  EXPECT_STREQ(event.str, "m2");
  EXPECT_EQ(event.num, 5);
  EXPECT_EQ(cursor_line(), "m2");
}

TEST_F(HistorySteps, FailWhenOnlyInvisibleLinesFollowAndKeepTheCursor) {
  history_mode *mine = mode("mine");
  history_mode *other = mode("other");
  for (const char *line : {"o1", "o2"}) enter(line, other);
  enter("m", mine);
  for (const char *line : {"o3", "o4"}) enter(line, other);
  hist_ctx.current_mode = mine;
  Event event;
  hist_first(nullptr, &event);
  Event failed;
  EXPECT_EQ(hist_next(nullptr, &failed), -1);
  EXPECT_EQ(cursor_line(), "m");
  EXPECT_EQ(hist_prev(nullptr, &failed), -1);
  EXPECT_EQ(cursor_line(), "m");
  EXPECT_TRUE(failed.untouched());
}

TEST_F(HistorySteps, NextAtTheOldestVisibleLineLeavesTheWayBack) {
  history_mode *mine = mode("mine");
  enter("o", mode("other"));
  enter("m1", mine);
  enter("m2", mine);
  Event event;
  hist_last(nullptr, &event);
  ASSERT_STREQ(event.str, "m1");
  EXPECT_EQ(hist_next(nullptr, &event), -1);
  EXPECT_EQ(hist_prev(nullptr, &event), 0);
  EXPECT_STREQ(event.str, "m2");
}

TEST_F(HistorySteps, LeadAwayFromAnInvisibleCurrentEntry) {
  history_mode *mine = mode("mine");
  enter("m1", mine);
  enter("o", mode("other"));
  enter("m2", mine);
  Event event;
  ASSERT_EQ(hist_set(nullptr, &event, 2), 0);
  EXPECT_EQ(hist_next(nullptr, &event), 0);
  EXPECT_STREQ(event.str, "m1");
  ASSERT_EQ(hist_set(nullptr, &event, 2), 0);
  EXPECT_EQ(hist_prev(nullptr, &event), 0);
  EXPECT_STREQ(event.str, "m2");
}

// --- hist_curr and hist_set ----------------------------------------------------------------------

class HistoryCurrent : public StoreTest {};

TEST_F(HistoryCurrent, CurrReportsTheCursorsEntryAndStays) {
  enter_numbers(3);
  Event event;
  ASSERT_EQ(hist_set(nullptr, &event, 2), 0);
  EXPECT_EQ(hist_curr(nullptr, &event), 0);
  EXPECT_EQ(event.num, 2);
  EXPECT_EQ(event.str, entry_of(hist_ctx.cursor)->str);
  EXPECT_EQ(cursor_line(), "2");
}

TEST_F(HistoryCurrent, CurrFailsWithoutACurrentEntry) {
  enter_numbers(1);
  Event event;
  EXPECT_EQ(hist_curr(nullptr, &event), -1);
  EXPECT_TRUE(event.untouched());
  EXPECT_TRUE(at_head());
}

TEST_F(HistoryCurrent, SetFindsEveryNumberAndWritesNoEvent) {
  enter_numbers(5);
  Event event;
  for (const int number : {1, 5, 3, 3, 2}) {
    EXPECT_EQ(hist_set(nullptr, &event, number), 0);
    EXPECT_EQ(cursor_line(), std::to_string(number));
  }
  EXPECT_TRUE(event.untouched());
}

TEST_F(HistoryCurrent, SetOnAnUnknownNumberLeavesNoCurrentEntry) {
  enter_numbers(3);
  Event event;
  for (const int number : {0, -1, 4, 1000000}) {
    ASSERT_EQ(hist_set(nullptr, &event, 2), 0);
    EXPECT_EQ(hist_set(nullptr, &event, number), -1) << number;
    EXPECT_TRUE(at_head()) << number;
  }
  EXPECT_TRUE(event.untouched());
}

TEST_F(HistoryCurrent, SetOnTheEmptyStoreLeavesTheCursor) {
  // An address that no store of this process uses, to check that it is not replaced.
  hist_link elsewhere = {};
  hist_ctx.cursor = &elsewhere;
  Event event;
  EXPECT_EQ(hist_set(nullptr, &event, 1), -1);
  EXPECT_EQ(hist_ctx.cursor, &elsewhere);
  EXPECT_TRUE(event.untouched());
}

TEST_F(HistoryCurrent, SetOnTheCurrentNumberDoesNotSearch) {
  enter_numbers(3);
  Event event;
  hist_set(nullptr, &event, 1);
  // A search would find this one first.
  newest()->num = 1;
  EXPECT_EQ(hist_set(nullptr, &event, 1), 0);
  EXPECT_EQ(hist_ctx.cursor, oldest());
}

TEST_F(HistoryCurrent, SetAndCurrReachInvisibleLines) {
  enter("other's", mode("other"));
  enter("mine", mode("mine"));
  ASSERT_EQ(offered_in(mode("mine")), Lines{"mine"});
  Event event;
  EXPECT_EQ(hist_set(nullptr, &event, 1), 0);
  EXPECT_EQ(hist_curr(nullptr, &event), 0);
  EXPECT_STREQ(event.str, "other's");
  EXPECT_EQ(event.num, 1);
}

// --- hist_clear ----------------------------------------------------------------------------------

class HistoryClear : public StoreTest {};
using HistoryClearDeathTest = HistoryClear;

TEST_F(HistoryClear, EmptiesTheListAndStartsNumberingAgain) {
  enter_numbers(3);
  Event event;
  hist_set(nullptr, &event, 2);
  hist_clear(nullptr, &event);
  EXPECT_TRUE(event.untouched());
  EXPECT_TRUE(at_head());
  EXPECT_EQ(hist_ctx.list.next, &hist_ctx.list);
  EXPECT_EQ(hist_ctx.list.prev, &hist_ctx.list);
  EXPECT_EQ(hist_ctx.event_count, 0U);
  EXPECT_EQ(hist_ctx.last_event, 0);
  EXPECT_EQ(hist_enter(nullptr, &event, "again"), 1);
  EXPECT_EQ(event.num, 1);
}

TEST_F(HistoryClear, WorksOnTheEmptyStore) {
  Event event;
  hist_clear(nullptr, &event);
  hist_clear(nullptr, &event);
  EXPECT_TRUE(at_head());
  EXPECT_EQ(hist_ctx.event_count, 0U);
  EXPECT_TRUE(event.untouched());
}

TEST_F(HistoryClear, KeepsModesCurrentModeAndLimit) {
  history_mode *root = mode("root");
  history_mode *leaf = mode("leaf", "root");
  hist_ctx.limit = 7;
  enter("line", leaf);
  Event event;
  hist_clear(nullptr, &event);
  EXPECT_EQ(hist_ctx.current_mode, leaf);
  EXPECT_EQ(hist_ctx.mode_count, 2U);
  EXPECT_EQ(find_history_mode("root"), root);
  EXPECT_EQ(leaf->parent, root);
  EXPECT_EQ(hist_ctx.limit, 7U);
}

TEST_F(HistoryClearDeathTest, AbortsWhenTheCountIsWrong) {
  enter_numbers(2);
  Event event;
  EXPECT_EXIT(
      {
        hist_ctx.event_count = 3;
        hist_clear(nullptr, &event);
      },
      testing::KilledBySignal(SIGABRT),
      "^[^:]+: /src/Cli/Tavorin:344: hist_clear: Assertion `hist_ctx\\.event_count == 0' "
      "failed\\.\n$");
}

// --- hist_enter ----------------------------------------------------------------------------------

class HistoryEnter : public StoreTest {};

TEST_F(HistoryEnter, RecordsACopyInTheCurrentMode) {
  history_mode *current = mode("current");
  hist_ctx.current_mode = current;
  char line[] = "line";
  Event event;
  EXPECT_EQ(hist_enter(nullptr, &event, line), 1);
  EXPECT_EQ(event.num, 1);
  EXPECT_EQ(event.str, newest()->str);
  EXPECT_NE(newest()->str, line);
  line[0] = 'f';
  EXPECT_STREQ(newest()->str, "line");
  EXPECT_EQ(newest()->num, 1);
  EXPECT_EQ(newest()->mode, current);
  EXPECT_EQ(hist_ctx.event_count, 1U);
  EXPECT_EQ(hist_ctx.last_event, 1);
}

TEST_F(HistoryEnter, TagsNothingWithoutACurrentMode) {
  mode("some");
  enter("line");
  EXPECT_EQ(newest()->mode, nullptr);
}

TEST_F(HistoryEnter, LinksTheNewestFirst) {
  enter_numbers(3);
  EXPECT_EQ(lines(), (Lines{"3", "2", "1"}));
  EXPECT_STREQ(oldest()->str, "1");
  EXPECT_EQ(oldest()->prev, newest()->next);
  EXPECT_EQ(oldest()->next, &hist_ctx.list);
  EXPECT_EQ(newest()->prev, &hist_ctx.list);
}

TEST_F(HistoryEnter, LeavesTheCursor) {
  enter("1");
  EXPECT_TRUE(at_head());
  Event event;
  hist_first(nullptr, &event);
  enter("2");
  EXPECT_EQ(cursor_line(), "1");
}

TEST_F(HistoryEnter, DropsTheLineThatIsAlreadyTheNewest) {
  enter("same");
  const hist_entry *stored = newest();
  Event event;
  EXPECT_EQ(hist_enter(nullptr, &event, "same"), 0);
  EXPECT_TRUE(event.untouched());
  EXPECT_EQ(newest(), stored);
  EXPECT_EQ(hist_ctx.event_count, 1U);
  EXPECT_EQ(hist_ctx.last_event, 1);
  EXPECT_EQ(enter("next"), 1);
  EXPECT_EQ(newest()->num, 2);
}

TEST_F(HistoryEnter, DroppedLineKeepsItsFirstModeAndStaysHiddenFromASibling) {
  mode("root");
  history_mode *left = mode("left", "root");
  history_mode *right = mode("right", "root");
  enter("same", left);
  EXPECT_EQ(enter("same", right), 0);
  EXPECT_EQ(newest()->mode, left);
  EXPECT_EQ(offered_in(right), Lines{});
  EXPECT_EQ(offered_in(left), Lines{"same"});
}

TEST_F(HistoryEnter, ComparesEveryByte) {
  enter("line");
  EXPECT_EQ(enter("line "), 1);
  EXPECT_EQ(enter("line"), 1);
  EXPECT_EQ(enter("Line"), 1);
  EXPECT_EQ(enter(""), 1);
  EXPECT_EQ(enter(""), 0);
  EXPECT_EQ(enter("\xff"), 1);
  EXPECT_EQ(enter("\xff"), 0);
  EXPECT_EQ(enter("\x7f"), 1);
}

TEST_F(HistoryEnter, StoresALineThatEqualsAnOlderOneAgain) {
  enter("a");
  enter("b");
  EXPECT_EQ(enter("a"), 1);
  EXPECT_EQ(newest()->num, 3);
  EXPECT_EQ(lines(), (Lines{"a", "b", "a"}));
}

TEST_F(HistoryEnter, DoesNotCompareWithARemovedLine) {
  enter("a");
  Event event;
  hist_clear(nullptr, &event);
  EXPECT_EQ(enter("a"), 1);
}

TEST_F(HistoryEnter, TakesLinesOfAnyLengthAndEveryByteButNul) {
  std::string bytes;
  for (int byte = 1; byte <= 255; ++byte) bytes.push_back(static_cast<char>(byte));
  std::string longer;
  while (longer.size() < 1000000) longer += bytes;
  EXPECT_EQ(enter(bytes), 1);
  EXPECT_EQ(enter(longer), 1);
  EXPECT_EQ(lines(), (Lines{longer, bytes}));
}

TEST_F(HistoryEnter, KeepsToTheDefaultLimitWithNumberingGoingOn) {
  enter_numbers(1024);
  EXPECT_EQ(oldest()->num, 1);
  enter("1025");
  EXPECT_EQ(hist_ctx.event_count, 1024U);
  EXPECT_EQ(newest()->num, 1025);
  EXPECT_EQ(oldest()->num, 2);
}

TEST_F(HistoryEnter, LimitMayRemoveTheEntryUnderTheCursor) {
  hist_ctx.limit = 2;
  enter_numbers(2);
  Event event;
  hist_last(nullptr, &event);
  enter("3");
  EXPECT_EQ(cursor_line(), "2");
  EXPECT_EQ(lines(), (Lines{"3", "2"}));
}

TEST_F(HistoryEnter, DroppedLineDoesNotRunTheLimit) {
  enter_numbers(3);
  hist_ctx.limit = 1;
  EXPECT_EQ(enter("3"), 0);
  EXPECT_EQ(hist_ctx.event_count, 3U);
}

TEST_F(HistoryEnter, WithLimitZeroNothingStaysButTheNumberIsUsed) {
  hist_ctx.limit = 0;
  Event event;
  EXPECT_EQ(hist_enter(nullptr, &event, "gone"), 1);
  EXPECT_EQ(event.num, 1);
  EXPECT_EQ(hist_ctx.event_count, 0U);
  EXPECT_EQ(lines(), Lines{});
  EXPECT_EQ(hist_ctx.last_event, 1);
}

// --- hist_add ------------------------------------------------------------------------------------

class HistoryAdd : public StoreTest {};

TEST_F(HistoryAdd, AppendsToTheCursorsLineInPlace) {
  history_mode *first = mode("first");
  enter("one", first);
  enter("two");
  hist_ctx.current_mode = mode("second");
  Event event;
  hist_set(nullptr, &event, 1);
  EXPECT_EQ(hist_add(nullptr, &event, " more"), 0);
  EXPECT_EQ(event.num, 1);
  EXPECT_STREQ(event.str, "one more");
  EXPECT_EQ(event.str, oldest()->str);
  EXPECT_EQ(oldest()->mode, first);
  EXPECT_EQ(cursor_line(), "one more");
  EXPECT_EQ(hist_ctx.event_count, 2U);
  EXPECT_EQ(hist_ctx.last_event, 2);
}

TEST_F(HistoryAdd, AppendsToAnInvisibleLine) {
  enter("other's", mode("other"));
  hist_ctx.current_mode = mode("mine");
  Event event;
  hist_set(nullptr, &event, 1);
  EXPECT_EQ(hist_add(nullptr, &event, "!"), 0);
  EXPECT_STREQ(event.str, "other's!");
}

TEST_F(HistoryAdd, AppendsNothingAndReportsAllTheSame) {
  enter("line");
  Event event;
  hist_first(nullptr, &event);
  Event added;
  EXPECT_EQ(hist_add(nullptr, &added, ""), 0);
  EXPECT_EQ(added.num, 1);
  EXPECT_STREQ(added.str, "line");
}

TEST_F(HistoryAdd, MakesNoComparisonAndRunsNoLimit) {
  enter("ab");
  enter("a");
  enter("c");
  hist_ctx.limit = 1;
  Event event;
  hist_set(nullptr, &event, 2);
  EXPECT_EQ(hist_add(nullptr, &event, "b"), 0);
  EXPECT_EQ(lines(), (Lines{"c", "ab", "ab"}));
}

TEST_F(HistoryAdd, AppendsMuch) {
  enter("x");
  Event event;
  hist_first(nullptr, &event);
  const std::string text(1 << 20, 'y');
  EXPECT_EQ(hist_add(nullptr, &event, text.c_str()), 0);
  EXPECT_EQ(lines(), Lines{"x" + text});
}

TEST_F(HistoryAdd, WithoutACurrentEntryIsEnter) {
  Event event;
  EXPECT_EQ(hist_add(nullptr, &event, "line"), 1);
  EXPECT_EQ(event.num, 1);
  EXPECT_EQ(event.str, newest()->str);
  EXPECT_TRUE(at_head());
  Event dropped;
  EXPECT_EQ(hist_add(nullptr, &dropped, "line"), 0);
  EXPECT_TRUE(dropped.untouched());
  EXPECT_EQ(lines(), Lines{"line"});
  EXPECT_TRUE(at_head());
}

// --- hist_del and hist_delete --------------------------------------------------------------------

class HistoryRemoval : public StoreTest {};

TEST_F(HistoryRemoval, DelReturnsACopyThatTheCallerOwns) {
  enter_numbers(3);
  Event event;
  hist_set(nullptr, &event, 2);
  const char *stored = entry_of(hist_ctx.cursor)->str;
  EXPECT_EQ(hist_del(nullptr, &event, 2), 0);
  EXPECT_EQ(event.num, 2);
  EXPECT_STREQ(event.str, "2");
  EXPECT_NE(event.str, stored);
  free(const_cast<char *>(event.str));
  EXPECT_EQ(lines(), (Lines{"3", "1"}));
  EXPECT_EQ(hist_ctx.event_count, 2U);
  EXPECT_EQ(hist_ctx.last_event, 3);
}

TEST_F(HistoryRemoval, DelMovesTheCursorToTheNewerNeighbour) {
  enter_numbers(3);
  Event event;
  ASSERT_EQ(hist_del(nullptr, &event, 2), 0);
  free(const_cast<char *>(event.str));
  EXPECT_EQ(cursor_line(), "3");
}

TEST_F(HistoryRemoval, DelReachesInvisibleLines) {
  enter("other's", mode("other"));
  hist_ctx.current_mode = mode("mine");
  Event event;
  EXPECT_EQ(hist_del(nullptr, &event, 1), 0);
  EXPECT_STREQ(event.str, "other's");
  free(const_cast<char *>(event.str));
  EXPECT_EQ(lines(), Lines{});
  EXPECT_TRUE(at_head());
}

TEST_F(HistoryRemoval, DelOfAnUnknownNumberLeavesNoCurrentEntry) {
  enter_numbers(2);
  Event event;
  hist_set(nullptr, &event, 1);
  EXPECT_EQ(hist_del(nullptr, &event, 3), -1);
  EXPECT_TRUE(at_head());
  EXPECT_TRUE(event.untouched());
  EXPECT_EQ(lines(), (Lines{"2", "1"}));
}

TEST_F(HistoryRemoval, DelOnTheEmptyStoreFails) {
  Event event;
  EXPECT_EQ(hist_del(nullptr, &event, 1), -1);
  EXPECT_TRUE(event.untouched());
  EXPECT_TRUE(at_head());
}

TEST_F(HistoryRemoval, NumberOfARemovedLineIsNotUsedAgain) {
  enter_numbers(2);
  hist_delete(newest());
  enter("3");
  EXPECT_EQ(newest()->num, 3);
}

TEST_F(HistoryRemoval, OfTheNewestUnderTheCursorGoesToTheOlderNeighbour) {
  enter_numbers(3);
  Event event;
  hist_first(nullptr, &event);
  hist_delete(newest());
  EXPECT_EQ(cursor_line(), "2");
}

TEST_F(HistoryRemoval, OfTheOldestUnderTheCursorGoesToTheNewerNeighbour) {
  enter_numbers(3);
  Event event;
  hist_last(nullptr, &event);
  hist_delete(oldest());
  EXPECT_EQ(cursor_line(), "2");
}

TEST_F(HistoryRemoval, OfTheOnlyEntryUnderTheCursorLeavesNoCurrentEntry) {
  enter("only");
  Event event;
  hist_first(nullptr, &event);
  hist_delete(newest());
  EXPECT_TRUE(at_head());
  EXPECT_EQ(hist_ctx.event_count, 0U);
}

TEST_F(HistoryRemoval, MovesTheCursorToANeighbourThatIsInvisibleToo) {
  history_mode *mine = mode("mine");
  enter("mine", mine);
  enter("other's", mode("other"));
  hist_ctx.current_mode = mine;
  Event event;
  hist_first(nullptr, &event);
  ASSERT_EQ(cursor_line(), "mine");
  hist_delete(oldest());
  EXPECT_EQ(cursor_line(), "other's");
}

TEST_F(HistoryRemoval, OfAnotherEntryLeavesTheCursor) {
  enter_numbers(3);
  Event event;
  hist_set(nullptr, &event, 2);
  hist_delete(newest());
  EXPECT_EQ(cursor_line(), "2");
  hist_delete(oldest());
  EXPECT_EQ(cursor_line(), "2");
  EXPECT_EQ(lines(), Lines{"2"});
}

TEST_F(HistoryRemoval, LeavesTheCursorAtTheHead) {
  enter_numbers(2);
  hist_delete(oldest());
  EXPECT_TRUE(at_head());
}

// --- hist_shrink ---------------------------------------------------------------------------------

class HistoryShrink : public StoreTest {};

TEST_F(HistoryShrink, RemovesTheOldestWhateverTheirModes) {
  history_mode *left = mode("left");
  history_mode *right = mode("right");
  enter("1", left);
  enter("2", right);
  enter("3", nullptr);
  enter("4", left);
  enter("5", right);
  hist_ctx.limit = 3;
  hist_shrink();
  EXPECT_EQ(lines(), (Lines{"5", "4", "3"}));
  EXPECT_EQ(hist_ctx.event_count, 3U);
  EXPECT_EQ(hist_ctx.last_event, 5);
}

TEST_F(HistoryShrink, DoesNothingAtOrBelowTheLimit) {
  enter_numbers(3);
  for (const uint32_t limit : {3U, 4U, 4294967295U}) {
    hist_ctx.limit = limit;
    hist_shrink();
    EXPECT_EQ(lines(), (Lines{"3", "2", "1"})) << limit;
  }
}

TEST_F(HistoryShrink, ToZeroEmptiesTheListAndKeepsTheNumbering) {
  enter_numbers(3);
  Event event;
  hist_set(nullptr, &event, 2);
  hist_ctx.limit = 0;
  hist_shrink();
  EXPECT_EQ(lines(), Lines{});
  EXPECT_EQ(hist_ctx.event_count, 0U);
  EXPECT_TRUE(at_head());
  EXPECT_EQ(hist_ctx.last_event, 3);
}

TEST_F(HistoryShrink, TakesTheCursorAlongToTheOldestThatIsLeft) {
  enter_numbers(5);
  Event event;
  hist_set(nullptr, &event, 2);
  hist_ctx.limit = 2;
  hist_shrink();
  EXPECT_EQ(cursor_line(), "4");
}

}  // namespace
