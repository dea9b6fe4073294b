// Long random sequences of operations on the store and on a plain model of it, compared after every
// step. The seeds are printed; HISTORY_SEED in the environment runs that one alone, and
// HISTORY_STEPS sets the number of steps.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include "history_fixture.h"
#include "history_model.h"

namespace {

// Keys of modes: few enough to be asked for again, with the empty key among them.
const char *const mode_keys[] = {"", "a", "b", "c", "d", "e", "f", "exec", "config", "unknown"};
constexpr int key_count = sizeof mode_keys / sizeof mode_keys[0];
// An upper limit, because each mode slows every comparison and empty keys make new ones without
// end.
constexpr size_t most_modes = 24;

class Play {
 public:
  explicit Play(unsigned seed) : random(seed) {}

  // One operation on both, then the comparison.
  void step() {
    const int kind = below(100);
    if (kind < 40)
      walk();
    else if (kind < 70)
      record();
    else if (kind < 80)
      jump();
    else if (kind < 88)
      remove();
    else if (kind < 98)
      change_mode();
    else
      change_extent();
    compare();
  }

 private:
  using Walk = int (*)(void *, HistEvent *);

  int below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(random); }

  // Few different lines, so that lines repeat; now and then a longer one.
  std::string any_text() {
    const int kind = below(12);
    if (kind == 0) return "";
    if (kind == 1) return std::string(below(3000), 'x');
    return std::string(1, static_cast<char>('A' + kind));
  }

  // Numbers of present lines, of removed lines, and of no line.
  int any_number() {
    const int kind = below(4);
    if (kind == 0 || model.lines.empty()) return below(model.last_number + 3) - 1;
    return model.lines[below(static_cast<int>(model.lines.size()))].number;
  }

  // A result and an event of the store against those of the model.
  static void expect_answer(int result, const Event &event, const ModelAnswer &wanted) {
    EXPECT_EQ(result, wanted.result);
    if (!wanted.number) {
      EXPECT_TRUE(event.untouched());
      return;
    }
    EXPECT_EQ(event.num, *wanted.number);
    EXPECT_STREQ(event.str, wanted.text.c_str());
  }

  void walk() {
    Event event;
    const int kind = below(12);
    if (kind == 0)
      expect_answer(hist_first(nullptr, &event), event, model.first());
    else if (kind == 1)
      expect_answer(hist_last(nullptr, &event), event, model.last());
    else if (kind < 6)
      expect_answer(hist_next(nullptr, &event), event, model.next());
    else if (kind < 10)
      expect_answer(hist_prev(nullptr, &event), event, model.prev());
    else
      expect_answer(hist_curr(nullptr, &event), event, model.curr());
  }

  void record() {
    Event event;
    const std::string text = any_text();
    const bool adds = below(4) == 0;
    const int result =
        adds ? hist_add(nullptr, &event, text.c_str()) : hist_enter(nullptr, &event, text.c_str());
    const ModelAnswer wanted = adds ? model.add(text) : model.enter(text);
    // With a limit of 0 the reported line is gone already.
    if (model.lines.empty() && wanted.number) event.str = wanted.text.c_str();
    expect_answer(result, event, wanted);
  }

  void jump() {
    Event event;
    const int number = any_number();
    expect_answer(hist_set(nullptr, &event, number), event, model.set(number));
  }

  void remove() {
    Event event;
    if (below(2) == 0 && !model.lines.empty()) {
      const int index = below(static_cast<int>(model.lines.size()));
      hist_delete(entry_at(index));
      model.remove_at(index);
      return;
    }
    const int number = any_number();
    const int result = hist_del(nullptr, &event, number);
    expect_answer(result, event, model.del(number));
    if (result == 0) free(const_cast<char *>(event.str));
  }

  void change_mode() {
    const int kind = below(4);
    if (kind == 0) {
      select_mode(HistoryModel::no_mode);
    } else if (kind == 1) {
      make_mode();
    } else if (kind == 2) {
      const char *key = mode_keys[below(key_count)];
      EXPECT_EQ(find_history_mode(key), record_of(model.find_mode(key)));
    } else if (!records.empty()) {
      select_mode(below(static_cast<int>(records.size())));
    }
  }

  void make_mode() {
    const char *key = mode_keys[below(key_count - 1)];
    const char *parent_key = mode_keys[below(key_count)];
    if (records.size() >= most_modes && model.find_mode(key) == HistoryModel::no_mode) return;
    history_mode *made = new_history_mode(key, parent_key);
    const int wanted = model.new_mode(key, parent_key);
    if (wanted == static_cast<int>(records.size())) records.push_back(made);
    ASSERT_EQ(made, record_of(wanted));
    if (made == nullptr) return;
    EXPECT_EQ(made->parent, record_of(model.modes[wanted].parent));
  }

  void select_mode(int number) {
    model.current_mode = number;
    hist_ctx.current_mode = record_of(number);
  }

  void change_extent() {
    if (below(5) == 0) {
      Event event;
      hist_clear(nullptr, &event);
      EXPECT_TRUE(event.untouched());
      model.clear();
      return;
    }
    const unsigned limit = below(10) == 0 ? 4294967295U : static_cast<unsigned>(below(80));
    hist_ctx.limit = limit;
    hist_shrink();
    model.shrink_to(limit);
  }

  history_mode *record_of(int number) const {
    return number == HistoryModel::no_mode ? nullptr : records[number];
  }

  // From the oldest, as in the model.
  static hist_entry *entry_at(int index) {
    hist_link *link = hist_ctx.list.prev;
    while (index-- > 0) link = link->prev;
    return static_cast<hist_entry *>(link);
  }

  void compare() const {
    EXPECT_EQ(hist_ctx.event_count, model.lines.size());
    EXPECT_EQ(hist_ctx.last_event, model.last_number);
    EXPECT_EQ(hist_ctx.current_mode, record_of(model.current_mode));
    compare_lines();
    compare_cursor();
    compare_directory();
  }

  // From the oldest to the newest, with the links of both directions.
  void compare_lines() const {
    const hist_link *older = &hist_ctx.list;
    for (const ModelLine &wanted : model.lines) {
      const hist_link *link = older->prev;
      ASSERT_NE(link, &hist_ctx.list);
      ASSERT_EQ(link->next, older);
      const hist_entry *entry = static_cast<const hist_entry *>(link);
      ASSERT_EQ(entry->num, wanted.number);
      ASSERT_EQ(entry->mode, record_of(wanted.mode));
      ASSERT_TRUE(wanted.text == entry->str);
      older = link;
    }
    EXPECT_EQ(older->prev, &hist_ctx.list);
    EXPECT_EQ(hist_ctx.list.next, older);
  }

  void compare_cursor() const {
    if (model.cursor == 0) {
      EXPECT_EQ(hist_ctx.cursor, &hist_ctx.list);
      return;
    }
    ASSERT_NE(hist_ctx.cursor, &hist_ctx.list);
    EXPECT_EQ(static_cast<const hist_entry *>(hist_ctx.cursor)->num, model.cursor);
  }

  void compare_directory() const {
    ASSERT_EQ(hist_ctx.mode_count, model.modes.size());
    // It only ever changes by growing.
    if (compared_modes == model.modes.size()) return;
    compared_modes = model.modes.size();
    uint32_t slot = 0;
    for (const int number : model.directory()) {
      EXPECT_EQ(hist_ctx.modes[slot], records[number]);
      EXPECT_EQ(records[number]->key, model.modes[number].key);
      ++slot;
    }
  }

  std::mt19937 random;
  HistoryModel model;
  std::vector<history_mode *> records;  // by the model's number of the mode
  mutable size_t compared_modes = 0;
};

class HistoryRandom : public StoreTest {
 protected:
  static unsigned from_environment(const char *name, unsigned otherwise) {
    const char *value = getenv(name);
    return value == nullptr ? otherwise : static_cast<unsigned>(strtoul(value, nullptr, 10));
  }

  static void play(unsigned seed) {
    const unsigned steps = from_environment("HISTORY_STEPS", 50000);
    printf("HISTORY_SEED=%u HISTORY_STEPS=%u\n", seed, steps);
    reset_store();
    Play play(seed);
    for (unsigned step = 0; step < steps; ++step) {
      play.step();
      ASSERT_FALSE(HasFailure()) << "seed " << seed << ", step " << step;
    }
  }
};

TEST_F(HistoryRandom, StoreAgreesWithTheModelAfterEveryStep) {
  if (getenv("HISTORY_SEED") != nullptr) {
    play(from_environment("HISTORY_SEED", 0));
    return;
  }
  for (const unsigned seed : {1U, 2U, 3U}) {
    play(seed);
    if (HasFailure()) return;
  }
  play(std::random_device{}());
}

}  // namespace
