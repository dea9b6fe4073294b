// The history limit, and the keys of the editor's history commands while recording is off.
#include "Cli/keys/history_limit.h"

#include <cstdlib>

#include "Cli/history/history_store.h"

history_saved_invoker history_saved_invokers[] = {
    {"beginning-of-history", {}},
    {"end-of-history", {}},
    {"forward-search-history", {}},
    {"history-search-backward", {}},
    {"history-search-forward", {}},
    {"next-history", {}},
    {"non-incremental-forward-search-history", {}},
    {"non-incremental-reverse-search-history", {}},
    {"non-incremental-forward-search-history-again", {}},
    {"non-incremental-reverse-search-history-again", {}},
    {"previous-history", {}},
    {"reverse-search-history", {}},
    {"vi-fetch-history", {}},
    {nullptr, {}},
};

// --- One command in one keymap -------------------------------------------------------------------

// Unbinds every sequence of a list, which may be null, and keeps the list.
static void unbind_sequences(char **list, lineedit::Keymap map) {
  if (list == nullptr) return;
  for (char **keys = list; *keys != nullptr; ++keys)
    lineedit::rl_bind_keyseq_in_map(*keys, nullptr, map);
}

// Binds every sequence of a list to `function` and frees the list with its strings.
static void bind_sequences(char **list, lineedit::rl_command_func_t *function,
                           lineedit::Keymap map) {
  for (char **keys = list; *keys != nullptr; ++keys) {
    lineedit::rl_bind_keyseq_in_map(*keys, function, map);
    free(*keys);
  }
  free(list);
}

// --- The whole table -----------------------------------------------------------------------------

static void unbind_history_keys() {
  for (history_saved_invoker *row = history_saved_invokers; row->name != nullptr; ++row) {
    lineedit::rl_command_func_t *function = lineedit::rl_named_function(row->name);
    for (int i = 0; i < keymap_count; ++i) {
      row->invokers[i] = lineedit::rl_invoking_keyseqs_in_map(function, maps[i]);
      unbind_sequences(row->invokers[i], maps[i]);
    }
  }
}

static void rebind_history_keys() {
  for (history_saved_invoker *row = history_saved_invokers; row->name != nullptr; ++row) {
    lineedit::rl_command_func_t *function = lineedit::rl_named_function(row->name);
    for (int i = 0; i < keymap_count; ++i) {
      if (row->invokers[i] == nullptr) continue;
      bind_sequences(row->invokers[i], function, maps[i]);
      row->invokers[i] = nullptr;
    }
  }
}

void history_limit_is(uint32_t limit) {
  const bool switches_recording = (limit == 0) != (hist_ctx.limit == 0);
  if (switches_recording && keymapsSupported != 0) {
    if (limit == 0)
      unbind_history_keys();
    else
      rebind_history_keys();
  }
  hist_ctx.limit = limit;
  hist_shrink();
}
