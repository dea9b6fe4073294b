// The history store: one ring of recorded lines, and the ten functions through which the editor
// walks it.
#include "Cli/history/history_store.h"

#include <cstdlib>
#include <cstring>

#include "Cli/base/invariant.h"

hist_store hist_ctx;

static constexpr uint32_t default_limit = 1024;

void hist_init() {
  // The interpreter may load the module a second time, under another name.
  if (hist_ctx.list.next != nullptr) hist_clear(nullptr, nullptr);
  hist_ctx.list.next = hist_ctx.list.prev = &hist_ctx.list;
  hist_ctx.cursor = &hist_ctx.list;
  hist_ctx.limit = default_limit;
}

static bool is_head(const hist_link *link) { return link == &hist_ctx.list; }

// Not to be called for the head.
static hist_entry *entry_of(hist_link *link) { return static_cast<hist_entry *>(link); }

bool hist_mode_sees(const history_mode *mode, const history_mode *line_mode) {
  if (mode == nullptr || line_mode == nullptr) return true;
  while (mode != nullptr && mode != line_mode) mode = mode->parent;
  return mode != nullptr;
}

static bool is_visible(hist_link *link) {
  return hist_mode_sees(hist_ctx.current_mode, entry_of(link)->mode);
}

static void report(HistEvent *event, const hist_entry *entry) {
  event->num = entry->num;
  event->str = entry->str;
}

// --- Walking -------------------------------------------------------------------------------------

// The two directions of the list.
using hist_step = hist_link *hist_link::*;
static constexpr hist_step older = &hist_link::next;
static constexpr hist_step newer = &hist_link::prev;

// The first visible entry from `from` on, in one direction; the head if there is none.
static hist_link *find_visible(hist_link *from, hist_step step) {
  while (!is_head(from) && !is_visible(from)) from = from->*step;
  return from;
}

// Moves the cursor to the first visible entry from one end of the list, in the direction of `step`.
static int walk_from_end(HistEvent *event, hist_step step) {
  hist_ctx.cursor = find_visible(hist_ctx.list.*step, step);
  return hist_curr(nullptr, event);
}

static int walk_from_cursor(HistEvent *event, hist_step step) {
  if (is_head(hist_ctx.cursor)) return -1;
  hist_link *found = find_visible(hist_ctx.cursor->*step, step);
  if (is_head(found)) return -1;
  hist_ctx.cursor = found;
  return hist_curr(nullptr, event);
}

int hist_first(void *, HistEvent *event) { return walk_from_end(event, older); }

int hist_next(void *, HistEvent *event) { return walk_from_cursor(event, older); }

int hist_last(void *, HistEvent *event) { return walk_from_end(event, newer); }

int hist_prev(void *, HistEvent *event) { return walk_from_cursor(event, newer); }

int hist_curr(void *, HistEvent *event) {
  if (is_head(hist_ctx.cursor)) return -1;
  report(event, entry_of(hist_ctx.cursor));
  return 0;
}

int hist_set(void *, HistEvent *, int number) {
  if (hist_ctx.event_count == 0) return -1;
  if (!is_head(hist_ctx.cursor) && entry_of(hist_ctx.cursor)->num == number) return 0;
  hist_link *link = hist_ctx.list.next;
  while (!is_head(link) && entry_of(link)->num != number) link = link->next;
  hist_ctx.cursor = link;
  return is_head(link) ? -1 : 0;
}

// --- Changing ------------------------------------------------------------------------------------

static void link_as_newest(hist_entry *entry) {
  hist_link *head = &hist_ctx.list;
  entry->next = head->next;
  entry->prev = head;
  head->next->prev = entry;
  head->next = entry;
}

static bool equals_newest(const char *line) {
  return hist_ctx.event_count > 0 && strcmp(entry_of(hist_ctx.list.next)->str, line) == 0;
}

// A new entry and its line share one allocation, which takes half the time of two. A line that has
// grown since has its own.
static char *place_of_new_line(hist_entry *entry) { return reinterpret_cast<char *>(entry + 1); }

// Wipes the line, because another user may follow.
static void free_line(hist_entry *entry) {
  explicit_bzero(entry->str, strlen(entry->str));
  if (entry->str != place_of_new_line(entry)) free(entry->str);
}

int hist_enter(void *, HistEvent *event, const char *line) {
  if (equals_newest(line)) return 0;
  const size_t size = strlen(line) + 1;
  hist_entry *entry = static_cast<hist_entry *>(malloc(sizeof *entry + size));
  entry->mode = hist_ctx.current_mode;
  entry->num = ++hist_ctx.last_event;
  entry->str = place_of_new_line(entry);
  memcpy(entry->str, line, size);
  link_as_newest(entry);
  ++hist_ctx.event_count;
  report(event, entry);
  hist_shrink();
  return 1;
}

int hist_add(void *, HistEvent *event, const char *text) {
  if (is_head(hist_ctx.cursor)) return hist_enter(nullptr, event, text);
  hist_entry *entry = entry_of(hist_ctx.cursor);
  const size_t length = strlen(entry->str);
  const size_t added = strlen(text);
  // Not grown in place: `text` may be the entry's own string.
  char *grown = static_cast<char *>(malloc(length + added + 1));
  memcpy(grown, entry->str, length);
  memcpy(grown + length, text, added + 1);
  free_line(entry);
  entry->str = grown;
  report(event, entry);
  return 0;
}

int hist_del(void *, HistEvent *event, int number) {
  if (hist_set(nullptr, event, number) != 0) return -1;
  hist_entry *entry = entry_of(hist_ctx.cursor);
  event->num = entry->num;
  event->str = strdup(entry->str);
  hist_delete(entry);
  return 0;
}

void hist_delete(hist_entry *entry) {
  if (hist_ctx.cursor == entry) hist_ctx.cursor = is_head(entry->prev) ? entry->next : entry->prev;
  entry->prev->next = entry->next;
  entry->next->prev = entry->prev;
  free_line(entry);
  free(entry);
  --hist_ctx.event_count;
}

// In both loops the analyzer does not see that hist_delete updates the head's links.

void hist_shrink() {
  // NOLINTNEXTLINE(clang-analyzer-unix.Malloc)
  while (hist_ctx.event_count > hist_ctx.limit) hist_delete(entry_of(hist_ctx.list.prev));
}

void hist_clear(void *, HistEvent *) {
  // NOLINTNEXTLINE(clang-analyzer-unix.Malloc)
  while (!is_head(hist_ctx.list.next)) hist_delete(entry_of(hist_ctx.list.next));
  hist_ctx.cursor = &hist_ctx.list;
  hist_ctx.last_event = 0;
  if (hist_ctx.event_count != 0) invariant_broken("hist_ctx.event_count == 0", 344, "hist_clear");
}
