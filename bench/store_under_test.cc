// The history store as the benchmarks need it.
#include "store_under_test.h"

#include <cstdio>
#include <cstdlib>

static void free_modes() {
  for (uint32_t i = 0; i < hist_ctx.mode_count; ++i) {
    free(hist_ctx.modes[i]->key);
    free(hist_ctx.modes[i]);
  }
  free(hist_ctx.modes);
}

void make_store_new() {
  static bool used;
  HistEvent event;
  if (used) {
    hist_clear(nullptr, &event);
    free_modes();
  }
  used = true;
  hist_ctx = {};
  hist_init();
}

void fill_store(int count) {
  make_store_new();
  hist_ctx.limit = static_cast<uint32_t>(count);
  for (int i = 1; i <= count; ++i) {
    char line[32];
    snprintf(line, sizeof line, "line %d", i);
    HistEvent event;
    hist_enter(nullptr, &event, line);
  }
}
