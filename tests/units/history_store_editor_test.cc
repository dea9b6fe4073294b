// The store behind the line editor's own history calls, plugged in as the module plugs it in.
#include <gtest/gtest.h>
#include <histedit.h>

#include "history_fixture.h"

namespace {

class HistoryInEditor : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    editors_history = new_editors_history();
  }

  void TearDown() override {
    history_end(editors_history);
    StoreTest::TearDown();
  }

  static History *new_editors_history() {
    History *made = history_init();
    Event event;
    EXPECT_EQ(history(made, &event, H_FUNC, &hist_ctx, hist_first, hist_next, hist_last, hist_prev,
                      hist_curr, hist_set, hist_clear, hist_enter, hist_add, hist_del),
              0);
    return made;
  }

  // One operation of the editor; its line, or "(none)" when it fails.
  template <typename... Arguments>
  std::string ask(int operation, Arguments... arguments) {
    Event event;
    if (history(editors_history, &event, operation, arguments...) < 0) return "(none)";
    return event.str;
  }

  // Records lines of this tree, oldest first: root a, left b, right c, left d.
  void record_in_siblings() {
    mode("root");
    mode("left", "root");
    mode("right", "root");
    hist_ctx.current_mode = find_history_mode("root");
    ask(H_ENTER, "show a");
    hist_ctx.current_mode = find_history_mode("left");
    ask(H_ENTER, "show b");
    hist_ctx.current_mode = find_history_mode("right");
    ask(H_ENTER, "show c");
    hist_ctx.current_mode = find_history_mode("left");
    ask(H_ENTER, "set d");
  }

  History *editors_history = nullptr;
};

TEST_F(HistoryInEditor, EveryOperationReachesItsFunction) {
  for (const char *line : {"1", "2", "3"}) EXPECT_EQ(ask(H_ENTER, line), line);
  EXPECT_EQ(lines(), (Lines{"3", "2", "1"}));
  EXPECT_EQ(ask(H_FIRST), "3");
  EXPECT_EQ(ask(H_NEXT), "2");
  EXPECT_EQ(ask(H_CURR), "2");
  EXPECT_EQ(ask(H_LAST), "1");
  EXPECT_EQ(ask(H_NEXT), "(none)");
  EXPECT_EQ(ask(H_PREV), "2");
  EXPECT_EQ(ask(H_ADD, " and more"), "2 and more");
  Event event;
  EXPECT_EQ(history(editors_history, &event, H_SET, 1), 0);
  EXPECT_EQ(cursor_line(), "1");
  ASSERT_EQ(history(editors_history, &event, H_DEL, 2), 0);
  EXPECT_STREQ(event.str, "2 and more");
  free(const_cast<char *>(event.str));
  EXPECT_EQ(lines(), (Lines{"3", "1"}));
  history(editors_history, &event, H_CLEAR);
  EXPECT_EQ(lines(), Lines{});
}

TEST_F(HistoryInEditor, WalkOffersTheModeAndItsAncestors) {
  record_in_siblings();
  EXPECT_EQ(ask(H_FIRST), "set d");
  EXPECT_EQ(ask(H_NEXT), "show b");
  EXPECT_EQ(ask(H_NEXT), "show a");
  EXPECT_EQ(ask(H_NEXT), "(none)");
}

// The editor names its searches by age: H_PREV_STR goes to older lines, from the current one on.
TEST_F(HistoryInEditor, SearchPassesOverASiblingsLines) {
  record_in_siblings();
  ask(H_FIRST);
  EXPECT_EQ(ask(H_PREV_STR, "show"), "show b");
  EXPECT_EQ(ask(H_NEXT), "show a");
  EXPECT_EQ(ask(H_NEXT_STR, "set"), "set d");
  EXPECT_EQ(ask(H_PREV_STR, "show c"), "(none)");
}

TEST_F(HistoryInEditor, StoreOutlivesTheEditors) {
  record_in_siblings();
  history_end(editors_history);
  editors_history = new_editors_history();
  EXPECT_EQ(hist_ctx.event_count, 4U);
  EXPECT_EQ(ask(H_FIRST), "set d");
  EXPECT_EQ(hist_ctx.limit, 1024U);
}

TEST_F(HistoryInEditor, PluggingInAgainEmptiesNothing) {
  record_in_siblings();
  Event event;
  EXPECT_EQ(history(editors_history, &event, H_FUNC, &hist_ctx, hist_first, hist_next, hist_last,
                    hist_prev, hist_curr, hist_set, hist_clear, hist_enter, hist_add, hist_del),
            0);
  EXPECT_EQ(lines(), (Lines{"set d", "show c", "show b", "show a"}));
}

}  // namespace
