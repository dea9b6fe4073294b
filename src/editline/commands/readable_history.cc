// History as it is shown to libedit's own commands.
#include "editline/commands/readable_history.h"

#include <cstdarg>
#include <cstdlib>

#include "editline/base/text.h"

namespace lineedit {

// The latest line that was made readable, as characters and as bytes.
static struct {
  LineText characters;
  char *bytes;
} readable;

// Replaces each byte that is not part of a character with a question mark.
static const char *make_readable(const char *line) {
  decode_text(&readable.characters, line);
  for (size_t i = 0; i < readable.characters.length; ++i) {
    wchar_t *character = &readable.characters.characters[i];
    if (static_cast<int>(*character) < 0) *character = L'?';
  }
  wipe_bytes(&readable.bytes);
  readable.bytes = encode_text(&readable.characters);
  return readable.bytes;
}

int readable_history(void *history_object, HistEvent *event, int operation, ...) {
  va_list arguments;
  va_start(arguments, operation);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  const int result = history(static_cast<History *>(history_object), event, operation, argument);
  const bool steps = operation == H_FIRST || operation == H_NEXT || operation == H_LAST ||
                     operation == H_PREV || operation == H_CURR;
  if (steps && result >= 0 && mbstowcs(nullptr, event->str, 0) == static_cast<size_t>(-1))
    event->str = make_readable(event->str);
  return result;
}

void wipe_readable_line() {
  wipe_text(&readable.characters);
  wipe_bytes(&readable.bytes);
}

}  // namespace lineedit
