// The history store: every recorded line of the process in one list, each tagged with the history
// mode that was current when it was recorded. The editor walks it through ten functions, which skip
// the lines that the current mode does not see. No Python, no lock: one thread at a time.
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
  char *str;    // the line, owned: by the entry, behind it or elsewhere
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

// Whether `mode` lets a line tagged with `line_mode` be seen: when either is null, and when
// `line_mode` is `mode` or one of its ancestors.
bool hist_mode_sees(const history_mode *mode, const history_mode *line_mode);

// The ten functions, in the order in which the editor takes them. The first argument is ignored.
// The event record is written on success only; its string stays the entry's, except for hist_del's.
// They return 0, or -1 where there is no such entry, except hist_enter.

// The newest and the oldest visible entry become the cursor; with none, the head does.
int hist_first(void *, HistEvent *event);
// The nearest visible entry older than the cursor; the cursor stays where there is none.
int hist_next(void *, HistEvent *event);
int hist_last(void *, HistEvent *event);
// The nearest visible entry newer than the cursor.
int hist_prev(void *, HistEvent *event);
// The cursor's entry, visible or not.
int hist_curr(void *, HistEvent *event);
// Puts the cursor on the entry numbered `number`, visible or not; on the head when there is none.
// Writes no event.
int hist_set(void *, HistEvent *event, int number);
// Empties the list; numbering starts again at 1. Modes and limit stay.
void hist_clear(void *, HistEvent *event);
// Records a copy of `line` in the current mode and returns 1; or 0 when it equals the newest line
// of any mode, which is then all that is kept. The cursor does not move.
int hist_enter(void *, HistEvent *event, const char *line);
// Appends `text` to the cursor's line; with the cursor at the head it is hist_enter.
int hist_add(void *, HistEvent *event, const char *text);
// Removes the entry numbered `number`. The event's string is a copy that the caller frees.
int hist_del(void *, HistEvent *event, int number);

// Removes one entry. A cursor on it moves to the newer neighbour, or else to the older.
void hist_delete(hist_entry *entry);
// Removes the oldest entries until at most `limit` are left.
void hist_shrink();
