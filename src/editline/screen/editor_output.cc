#include "editline/screen/editor_output.h"

#include <sys/types.h>

#include <cstring>

#include "editline/base/variables.h"

namespace lineedit {

static struct {
  FILE *stream;
  char buffer[BUFSIZ];
  bool muted;
  bool bell;
} output;

// Control characters of the line are drawn as ^G, so a bell is a bell.
static ssize_t take_output(void *, const char *bytes, size_t size) {
  if (rl_outstream == nullptr) return static_cast<ssize_t>(size);
  if (!output.muted) {
    fwrite(bytes, 1, size, rl_outstream);
    fflush(rl_outstream);
  } else if (memchr(bytes, '\a', size) != nullptr) {
    output.bell = true;
  }
  return static_cast<ssize_t>(size);
}

FILE *editor_stream() {
  if (output.stream != nullptr) return output.stream;
  output.stream = fopencookie(nullptr, "w", {nullptr, take_output, nullptr, nullptr});
  if (output.stream != nullptr) setvbuf(output.stream, output.buffer, _IOFBF, sizeof output.buffer);
  return output.stream;
}

bool mute_editor(bool muted) {
  const bool before = output.muted;
  if (muted != before) fflush(output.stream);
  output.muted = muted;
  return before;
}

bool take_bell() {
  const bool bell = output.bell;
  output.bell = false;
  return bell;
}

void wipe_editor_output() { explicit_bzero(output.buffer, sizeof output.buffer); }

}  // namespace lineedit
