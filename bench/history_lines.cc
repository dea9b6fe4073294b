// Recording, trimming and listing lines, by the number of lines in the store.
#include <benchmark/benchmark.h>

#include "store_under_test.h"

static constexpr int most_lines = 1000000;

// Two lines that take turns, so that none equals the newest.
static const char *const commands[] = {"show interfaces ethernet 1 status",
                                       "show interfaces ethernet 2 status"};

// Records one line into a full store, which removes the oldest.
static void insert_and_trim(benchmark::State &state) {
  fill_store(static_cast<int>(state.range(0)));
  unsigned turn = 0;
  HistEvent event;
  for (auto _ : state) benchmark::DoNotOptimize(hist_enter(nullptr, &event, commands[turn++ % 2]));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(insert_and_trim)->RangeMultiplier(10)->Range(100, most_lines);

// Records lines into an empty store until it holds them all. The time is for all of them.
static void insert_only(benchmark::State &state) {
  const int count = static_cast<int>(state.range(0));
  HistEvent event;
  for (auto _ : state) {
    state.PauseTiming();
    make_store_new();
    hist_ctx.limit = most_lines;
    state.ResumeTiming();
    for (int i = 0; i < count; ++i) hist_enter(nullptr, &event, commands[i % 2]);
  }
  state.SetItemsProcessed(state.iterations() * count);
  state.SetComplexityN(count);
}
BENCHMARK(insert_only)
    ->RangeMultiplier(10)
    ->Range(1000, most_lines)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

// Removes all but one line of a full store by a smaller limit. The time is for all of them.
static void trim_only(benchmark::State &state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    fill_store(count);
    state.ResumeTiming();
    hist_ctx.limit = 1;
    hist_shrink();
  }
  state.SetItemsProcessed(state.iterations() * count);
  state.SetComplexityN(count);
}
BENCHMARK(trim_only)
    ->RangeMultiplier(10)
    ->Range(1000, most_lines)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

// Walks from the oldest line to the newest over the links, with the filter, as a listing does.
static int64_t list_lines(const history_mode *mode) {
  int64_t bytes = 0;
  const hist_link *head = &hist_ctx.list;
  for (const hist_link *link = head->prev; link != head; link = link->prev) {
    const hist_entry *entry = static_cast<const hist_entry *>(link);
    if (hist_mode_sees(mode, entry->mode)) bytes += *entry->str;
  }
  return bytes;
}

static void list(benchmark::State &state) {
  fill_store(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(list_lines(nullptr));
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(list)
    ->RangeMultiplier(10)
    ->Range(1000, most_lines)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);

// The same with every line in a sibling of the mode that lists, four levels down: nothing is shown.
static void list_with_all_filtered_out(benchmark::State &state) {
  const int count = static_cast<int>(state.range(0));
  fill_store(count);
  new_history_mode("1", "");
  new_history_mode("2", "1");
  new_history_mode("3", "2");
  history_mode *lister = new_history_mode("4", "3");
  history_mode *sibling = new_history_mode("4b", "3");
  for (hist_link *link = hist_ctx.list.next; link != &hist_ctx.list; link = link->next)
    static_cast<hist_entry *>(link)->mode = sibling;
  for (auto _ : state) benchmark::DoNotOptimize(list_lines(lister));
  state.SetItemsProcessed(state.iterations() * count);
  state.SetComplexityN(count);
}
BENCHMARK(list_with_all_filtered_out)
    ->RangeMultiplier(10)
    ->Range(1000, most_lines)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);

// Walks the whole list through the functions that the editor calls.
static void walk_as_the_editor(benchmark::State &state) {
  fill_store(static_cast<int>(state.range(0)));
  HistEvent event;
  for (auto _ : state) {
    int status = hist_last(nullptr, &event);
    while (status == 0) status = hist_prev(nullptr, &event);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(walk_as_the_editor)
    ->RangeMultiplier(10)
    ->Range(1000, most_lines)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);
