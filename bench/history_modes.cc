// Making history modes and looking them up.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "store_under_test.h"

static std::vector<std::string> keys_in_random_order(int count) {
  std::vector<std::string> keys;
  for (int i = 0; i < count; ++i) keys.push_back("config-interface-" + std::to_string(i));
  std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
  return keys;
}

static void make_modes(const std::vector<std::string> &keys) {
  for (const std::string &key : keys) new_history_mode(key.c_str(), "");
}

// Makes that many modes. The time is for all of them.
static void make_in_random_key_order(benchmark::State &state) {
  const std::vector<std::string> keys = keys_in_random_order(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    make_store_new();
    state.ResumeTiming();
    make_modes(keys);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(make_in_random_key_order)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond);

// Looks up one mode after the other, in an order that has nothing to do with that of the keys or of
// the making, while another mode is current.
static void look_up(benchmark::State &state) {
  std::vector<std::string> keys = keys_in_random_order(static_cast<int>(state.range(0)));
  make_store_new();
  make_modes(keys);
  std::shuffle(keys.begin(), keys.end(), std::mt19937(2));
  hist_ctx.current_mode = new_history_mode("exec", "");
  size_t turn = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(find_history_mode(keys[turn].c_str()));
    if (++turn == keys.size()) turn = 0;
  }
}
BENCHMARK(look_up)->Arg(10)->Arg(1000)->Arg(100000);

// Looks up the current mode among so many.
static void look_up_current(benchmark::State &state) {
  const std::vector<std::string> keys = keys_in_random_order(static_cast<int>(state.range(0)));
  make_store_new();
  make_modes(keys);
  hist_ctx.current_mode = find_history_mode(keys[0].c_str());
  for (auto _ : state) benchmark::DoNotOptimize(find_history_mode(keys[0].c_str()));
}
BENCHMARK(look_up_current)->Arg(100000);
