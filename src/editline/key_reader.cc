// Where the editor gets its keys from: the input hook, or this layer's own reader for an editor
// without one. Both wait with signals let in, which the engine's built-in reader cannot.
#include "key_reader.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cwchar>

#include "readline_layer.h"
#include "signals.h"

namespace lineedit {

rl_getc_func_t *rl_getc_function;

static int read_from_hook(EditLine *, wchar_t *character) {
  const int key = rl_getc_function(rl_instream);
  if (key == -1) return 0;
  *character = static_cast<wchar_t>(key);
  return 1;
}

// Waits for one byte and reads it. Returns as read does.
static ssize_t read_byte(char *byte) {
  static WaitSet ready;
  const int fd = fileno(rl_instream);
  wait_set_clear(&ready);
  do wait_set_add(&ready, fd);
  while (rl_wait(fd + 1, &ready) <= 0);
  return read(fd, byte, 1);
}

// Decodes what has been read. Where that is no beginning of a character, only the latest byte can
// still be one. Returns whether there is a whole character.
static bool decode(wchar_t *character, char *bytes, size_t *count) {
  while (*count > 0) {
    mbstate_t shift = {};
    const size_t used = mbrtowc(character, bytes, *count, &shift);
    if (used <= *count) return true;
    if (used == static_cast<size_t>(-2) && *count < MB_LEN_MAX) return false;
    bytes[0] = bytes[*count - 1];
    *count = *count > 1 ? 1 : 0;
  }
  return false;
}

// Reads one character of the locale's encoding. Bytes that are part of none are passed over.
static int read_character(EditLine *, wchar_t *character) {
  char bytes[MB_LEN_MAX];
  size_t count = 0;
  do {
    const ssize_t got = read_byte(bytes + count);
    if (got != 1) return static_cast<int>(got);
    ++count;
  } while (!decode(character, bytes, &count));
  return 1;
}

el_rfunc_t key_reader() { return rl_getc_function != nullptr ? read_from_hook : read_character; }

}  // namespace lineedit
