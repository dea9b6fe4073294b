// The history store: every recorded line of the process in one list, each tagged with the history
// mode that was current when it was recorded. The editor walks it through ten functions, which skip
// the lines that are not visible in the current mode. No Python, no lock: only one thread at a time
// may use it.
#pragma once

#include <histedit.h>

#include <cstdint>

// One history mode (history_modes.h). Never changed or freed once made.
struct history_mode {
  char *key;             // owned
  history_mode *parent;  // or null
};

// One place in the list: an entry, or the head.
struct hist_link {
  hist_link *next;  // toward older lines; the head's is the newest entry
  hist_link *prev;  // toward newer lines; the head's is the oldest entry
};

// One recorded line.
struct hist_entry : hist_link {
  history_mode *mode;  // current when the line was recorded, or null; borrowed
  // From here on laid out as the editor's HistEvent.
  int32_t num;  // event number, growing by one per recorded line
  char *str;    // the line; owned, in the block of the entry or in one of its own
};

// The one store. Its first four fields belong to the history modes.
struct hist_store {
  history_mode **modes;        // sorted by key, owned; null until the first mode
  uint32_t mode_count;         // modes in the array
  uint32_t mode_capacity;      // slots allocated
  history_mode *current_mode;  // or null: every line is visible, new lines are untagged
  hist_link list;              // the head; linked to itself when the list is empty
  hist_link *cursor;           // the current entry, or the head when there is none
  int32_t last_event;          // number of the latest entry; 0 at start and after a clear
  uint32_t event_count;        // entries in the list
  uint32_t limit;              // the most entries that the list keeps, of all modes together
};

extern hist_store hist_ctx;

// Makes the list empty and the limit 1024. Called at import.
void hist_init();

// Whether a line tagged with `line_mode` is visible in `mode`: if either is null, or if `line_mode`
// is `mode` or one of its ancestors.
bool hist_mode_sees(const history_mode *mode, const history_mode *line_mode);

// The ten functions, in the order in which the editor takes them. The first argument is ignored.
// They write the event record only on success; its string still belongs to the entry, except in
// hist_del. They return 0, or -1 if there is no such entry, except hist_enter.

// Moves the cursor to the newest visible entry; to the head if there is none.
int hist_first(void *, HistEvent *event);
// Moves the cursor to the next older visible entry; it stays if there is none.
int hist_next(void *, HistEvent *event);
// Moves the cursor to the oldest visible entry; to the head if there is none.
int hist_last(void *, HistEvent *event);
// Moves the cursor to the next newer visible entry; it stays if there is none.
int hist_prev(void *, HistEvent *event);
// Reports the cursor's entry, visible or not.
int hist_curr(void *, HistEvent *event);
// Moves the cursor to the entry numbered `number`, visible or not; to the head if there is none.
// Writes no event.
int hist_set(void *, HistEvent *event, int number);
// Empties the list; numbering starts again at 1. Modes and limit stay.
void hist_clear(void *, HistEvent *event);
// Records a copy of `line` in the current mode and returns 1. If it equals the newest line of any
// mode, records nothing and returns 0. The cursor does not move.
int hist_enter(void *, HistEvent *event, const char *line);
// Appends `text` to the cursor's line; if the cursor is at the head, does what hist_enter does.
int hist_add(void *, HistEvent *event, const char *text);
// Removes the entry numbered `number`. The event's string is a copy that the caller frees.
int hist_del(void *, HistEvent *event, int number);

// Removes one entry. A cursor on it moves to the newer neighbour, or else to the older.
void hist_delete(hist_entry *entry);
// Removes the oldest entries until at most `limit` are left.
void hist_shrink();
