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

// Calls `visit` for each part.
static void visit_parts(void (*visit)(const Part *part, void *data), void *data) {
  bool in_sequence = false;
  const char *at = prompt.last_row;
  while (*at != '\0') {
    if (*at == '\001' || *at == '\002') {
      in_sequence = *at++ == '\001';
      continue;
    }
    const Part part = next_part(at, in_sequence);
    if (part.width >= 0) visit(&part, data);
    at += part.size;
  }
}

static void write_part(const Part *part, void *) { write_bytes(part->bytes, part->size); }

void write_prompt() { visit_parts(write_part, nullptr); }

// --- Its size ------------------------------------------------------------------------------------

struct Measure {
  ScreenPosition at;
  int columns;
};

static void start_row(ScreenPosition *at) {
  ++at->row;
  at->column = 0;
}

static void measure_part(const Part *part, void *data) {
  Measure *measure = static_cast<Measure *>(data);
  if (measure->at.column + part->width > measure->columns) start_row(&measure->at);
  measure->at.column += part->width;
  if (measure->at.column >= measure->columns) start_row(&measure->at);
}

ScreenPosition prompt_end(int columns) {
  Measure measure = {{0, 0}, columns};
  visit_parts(measure_part, &measure);
  return measure.at;
}

// --- The rows above ------------------------------------------------------------------------------

void write_upper_prompt() {
  for (const char *at = prompt.text; at < prompt.last_row; ++at)
    if (*at != '\001' && *at != '\002') write_bytes(at, 1);
}

}  // namespace lineedit
