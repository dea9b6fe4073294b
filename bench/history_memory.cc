// Memory that one stored line takes, beside the length of the line itself.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <string>

#include "store_under_test.h"

// What the allocator has handed out, its own headers and rounding included.
static size_t bytes_in_use() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

static void memory_per_line(benchmark::State &state) {
  constexpr int count = 100000;
  std::string lines[2] = {std::string(state.range(0), 'a'), std::string(state.range(0), 'b')};
  size_t used = 0;
  for (auto _ : state) {
    make_store_new();
    hist_ctx.limit = count;
    HistEvent event;
    const size_t before = bytes_in_use();
    for (int i = 0; i < count; ++i) hist_enter(nullptr, &event, lines[i % 2].c_str());
    used = bytes_in_use() - before;
  }
  state.counters["line_bytes"] = static_cast<double>(state.range(0));
  state.counters["stored_bytes"] = static_cast<double>(used) / count;
  state.counters["entry_record"] = sizeof(hist_entry);
  make_store_new();
}
BENCHMARK(memory_per_line)->Iterations(1)->Arg(1)->Arg(10)->Arg(20)->Arg(40)->Arg(80)->Arg(1000);
