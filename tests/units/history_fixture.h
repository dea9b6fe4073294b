// What the tests of the history store share: a store as it is after import, and ways to fill it and
// to look at it without its own walking functions.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Cli/history/history_modes.h"
#include "Cli/history/history_store.h"

// An event record with a content that no function of the store writes, so that an untouched record
// can be told from a written one.
struct Event : HistEvent {
  static constexpr int untouched_number = -770077;
  inline static const char untouched_text[] = "untouched";

  Event() {
    num = untouched_number;
    str = untouched_text;
  }
  bool untouched() const { return num == untouched_number && str == untouched_text; }
};

// Frees lines and modes and makes the store as it is at import.
inline void reset_store() {
  Event event;
  hist_clear(nullptr, &event);
  for (uint32_t i = 0; i < hist_ctx.mode_count; ++i) {
    free(hist_ctx.modes[i]->key);
    free(hist_ctx.modes[i]);
  }
  free(hist_ctx.modes);
  hist_ctx = {};
  hist_init();
}

class StoreTest : public testing::Test {
 protected:
  void SetUp() override { hist_init(); }
  void TearDown() override { reset_store(); }

  static int enter(const std::string &line) {
    Event event;
    return hist_enter(nullptr, &event, line.c_str());
  }

  static int enter(const std::string &line, history_mode *mode) {
    hist_ctx.current_mode = mode;
    return enter(line);
  }

  // Records lines "1" to "count".
  static void enter_numbers(int count) {
    for (int i = 1; i <= count; ++i) enter(std::to_string(i));
  }

  // A mode that has to be there afterwards.
  static history_mode *mode(const char *key, const char *parent_key = "") {
    history_mode *made = new_history_mode(key, parent_key);
    EXPECT_NE(made, nullptr) << key;
    return made;
  }

  static bool at_head() { return hist_ctx.cursor == &hist_ctx.list; }

  static hist_entry *entry_of(hist_link *link) { return static_cast<hist_entry *>(link); }

  static hist_entry *newest() { return entry_of(hist_ctx.list.next); }

  static hist_entry *oldest() { return entry_of(hist_ctx.list.prev); }

  // The line under the cursor, or "(head)".
  static std::string cursor_line() { return at_head() ? "(head)" : entry_of(hist_ctx.cursor)->str; }

  // Every line, newest first, whatever its mode.
  static std::vector<std::string> lines() {
    std::vector<std::string> all;
    for (hist_link *link = hist_ctx.list.next; link != &hist_ctx.list; link = link->next)
      all.push_back(entry_of(link)->str);
    return all;
  }

  // What the history keys offer in `mode`: newest first, by hist_first and hist_next.
  static std::vector<std::string> offered_in(history_mode *mode) {
    hist_ctx.current_mode = mode;
    std::vector<std::string> offered;
    Event event;
    for (int status = hist_first(nullptr, &event); status == 0; status = hist_next(nullptr, &event))
      offered.push_back(event.str);
    return offered;
  }
};

using Lines = std::vector<std::string>;
