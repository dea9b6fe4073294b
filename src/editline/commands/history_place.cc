// The place in history of the line being edited. The cursor of the history object follows it.
#include "editline/commands/history_place.h"

#include "editline/base/editor.h"
#include "editline/base/line.h"

namespace lineedit {

static struct {
  int back;
  // The line being typed, while another one is shown.
  LineText typed;
} place;

static bool ask(int operation, HistEvent *event) {
  return history(editor.history, event, operation) >= 0;
}

void reset_place_in_history() { place.back = 0; }

void wipe_typed_line() {
  wipe_text(&place.typed);
  place = {};
}

int lines_back() { return place.back; }

void save_typed_line() {
  size_t cursor;
  if (place.back == 0) get_edited_line(&place.typed, &cursor);
}

static bool step_back() {
  HistEvent event;
  if (!ask(place.back == 0 ? H_FIRST : H_NEXT, &event)) return false;
  ++place.back;
  return true;
}

static bool step_forward() {
  HistEvent event;
  if (place.back == 0) return false;
  if (place.back > 1 && !ask(H_PREV, &event)) return false;
  --place.back;
  return true;
}

bool step_in_history(bool older) { return older ? step_back() : step_forward(); }

void return_to_place(int back) {
  while (place.back != back && step_in_history(place.back < back)) continue;
}

const char *stored_line_at_place() {
  HistEvent event;
  if (place.back == 0) return nullptr;
  return ask(H_CURR, &event) ? event.str : "";
}

void read_line_at_place(LineText *line) {
  const char *stored = stored_line_at_place();
  if (stored != nullptr)
    decode_text(line, stored);
  else
    set_text(line, place.typed.characters, place.typed.length);
}

}  // namespace lineedit
