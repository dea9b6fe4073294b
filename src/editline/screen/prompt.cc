#include "editline/screen/prompt.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "editline/base/text.h"
#include "editline/screen/writer.h"

namespace lineedit {

static struct {
  // A copy of the prompt, and its last row. Owned.
  char *text;
  const char *last_row;
} prompt;

void set_prompt(const char *text) {
  free(prompt.text);
  prompt.text = strdup(text);
  const char *last_break = strrchr(prompt.text, '\n');
  prompt.last_row = last_break != nullptr ? last_break + 1 : prompt.text;
}

// --- The last row --------------------------------------------------------------------------------

// Part of the prompt's last row.
struct Part {
  // What is written; '?' for a byte that the locale cannot decode.
  const char *bytes;
  size_t size;
  // The columns that it takes: none for a sequence, and for an accent of its own.
  int width;
};

// The next part, from `text` on: the rest of a sequence that takes no columns, or a character. Its
// width is -1 if it cannot be shown.
static Part next_part(const char *text, bool in_sequence) {
  if (in_sequence) return {text, strcspn(text, "\001\002"), 0};
  wchar_t character;
  const size_t used = decode_character(&character, text, strlen(text));
  if (used > MB_LEN_MAX) return {"?", 1, 1};
  return {text, used, wcwidth(character)};
}

static void start_row(ScreenPosition *at) {
  ++at->row;
  at->column = 0;
}

static void advance(ScreenPosition *at, int width, int columns) {
  if (at->column + width > columns) start_row(at);
  at->column += width;
  if (at->column >= columns) start_row(at);
}

// A terminal that does not wrap by itself gets a line break where a row starts: before a character
// that does not fit, or behind one that fills the row.
static void write_part(const Part *part, bool starts_row, const ScreenPosition *end) {
  const bool breaks = starts_row && !wraps();
  if (breaks && end->column > 0) write_bytes("\r\n", 2);
  write_bytes(part->bytes, part->size);
  if (breaks && end->column == 0) write_bytes("\r\n", 2);
}

// Finds where the last row ends, and writes it if asked to.
static ScreenPosition lay_out_parts(int columns, bool writes) {
  ScreenPosition end = {0, 0};
  bool in_sequence = false;
  const char *at = prompt.last_row;
  while (*at != '\0') {
    if (*at == '\001' || *at == '\002') {
      in_sequence = *at++ == '\001';
      continue;
    }
    const Part part = next_part(at, in_sequence);
    at += part.size;
    if (part.width < 0) continue;
    const int row = end.row;
    advance(&end, part.width, columns);
    if (writes) write_part(&part, end.row > row, &end);
  }
  return end;
}

ScreenPosition prompt_end(int columns) { return lay_out_parts(columns, false); }

// Where the last row is full, a blank makes a terminal that wraps late go to the next one.
void write_prompt(int columns) {
  const ScreenPosition end = lay_out_parts(columns, true);
  if (end.row > 0 && end.column == 0 && wraps_late()) write_bytes(" \r", 2);
}

// --- The rows above ------------------------------------------------------------------------------

void write_upper_prompt() {
  for (const char *at = prompt.text; at < prompt.last_row; ++at)
    if (*at != '\001' && *at != '\002') write_bytes(at, 1);
}

}  // namespace lineedit
