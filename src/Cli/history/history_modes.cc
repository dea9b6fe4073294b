// The history modes: a directory sorted by key, in the first fields of the history store's record.
#include "Cli/history/history_modes.h"

#include <cstdlib>
#include <cstring>

static constexpr uint32_t first_capacity = 16;

history_mode *find_history_mode(const char *key) {
  if (hist_ctx.modes == nullptr || key == nullptr || *key == '\0') return nullptr;
  // The shell asks for the same mode on every command.
  if (hist_ctx.current_mode != nullptr && strcmp(hist_ctx.current_mode->key, key) == 0)
    return hist_ctx.current_mode;

  int low = 0;
  int high = static_cast<int>(hist_ctx.mode_count) - 1;
  while (low <= high) {
    const int mid = low + (high - low) / 2;
    const int order = strcmp(hist_ctx.modes[mid]->key, key);
    if (order == 0) return hist_ctx.modes[mid];
    if (order < 0)
      low = mid + 1;
    else
      high = mid - 1;
  }
  return nullptr;
}

// The index of the first mode with a greater key: where a mode with `key` belongs.
static uint32_t insertion_index(const char *key) {
  uint32_t low = 0;
  uint32_t high = hist_ctx.mode_count;
  while (low < high) {
    const uint32_t mid = low + (high - low) / 2;
    if (strcmp(hist_ctx.modes[mid]->key, key) > 0)
      high = mid;
    else
      low = mid + 1;
  }
  return low;
}

static void make_room() {
  if (hist_ctx.mode_capacity == 0)
    hist_ctx.mode_capacity = first_capacity;
  else if (hist_ctx.mode_count == hist_ctx.mode_capacity)
    hist_ctx.mode_capacity *= 2;
  else
    return;
  hist_ctx.modes = static_cast<history_mode **>(
      realloc(hist_ctx.modes, hist_ctx.mode_capacity * sizeof *hist_ctx.modes));
}

history_mode *new_history_mode(const char *key, const char *parent_key) {
  if (history_mode *known = find_history_mode(key)) return known;
  history_mode *parent = nullptr;
  if (parent_key != nullptr && *parent_key != '\0') {
    parent = find_history_mode(parent_key);
    if (parent == nullptr) return nullptr;
  }
  history_mode *mode = static_cast<history_mode *>(malloc(sizeof *mode));
  mode->key = strdup(key);
  mode->parent = parent;

  make_room();
  const uint32_t index = insertion_index(key);
  history_mode **slot = hist_ctx.modes + index;
  memmove(slot + 1, slot, (hist_ctx.mode_count - index) * sizeof *slot);
  *slot = mode;
  ++hist_ctx.mode_count;
  return mode;
}
