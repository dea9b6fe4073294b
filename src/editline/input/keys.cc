// Reading keys, from the input hook or, without one, with the layer's own reader. Both let signals
// in while they wait, which libedit's built-in reader cannot do.
#include "editline/input/keys.h"

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cwchar>

#include "editline/base/line.h"
#include "editline/base/variables.h"
#include "editline/input/wait.h"
#include "editline/screen/drawing.h"

namespace lineedit {

static struct {
  // The repeat count of the next key, or of the key whose command is running; 0 if there is none.
  int repeat;
  // To be called before the next key is read, or null.
  void (*before_next)();
  // What the layer's own reader waits on; kept to reuse the storage.
  WaitSet ready;
} keys;

// --- From the terminal ---------------------------------------------------------------------------

static int read_from_hook(wchar_t *character) {
  const int key = rl_getc_function(rl_instream);
  if (key == -1) return 0;
  *character = static_cast<wchar_t>(key);
  return 1;
}

// Waits for one byte and reads it. Returns as read does.
static ssize_t read_byte(char *byte) {
  const int fd = fileno(rl_instream);
  ssize_t got;
  wait_set_clear(&keys.ready);
  do {
    do wait_set_add(&keys.ready, fd);
    while (wait_for_input(fd + 1, &keys.ready) <= 0);
    got = read(fd, byte, 1);
  } while (got == 0 && input_was_dropped(fd));
  return got;
}

// Decodes the bytes read so far. If they cannot begin a character, keeps only the latest byte,
// which may begin one. Returns whether a character is complete.
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

// Reads one character of the locale's encoding. Skips bytes that are not part of one.
static int read_character(wchar_t *character) {
  char bytes[MB_LEN_MAX];
  size_t count = 0;
  do {
    const ssize_t got = read_byte(bytes + count);
    if (got != 1) return static_cast<int>(got);
    ++count;
  } while (!decode(character, bytes, &count));
  return 1;
}

// --- The reading function ------------------------------------------------------------------------

static void run_before_next_key() {
  void (*const function)() = keys.before_next;
  keys.before_next = nullptr;
  function();
}

static int read_key(EditLine *, wchar_t *key) {
  if (keys.before_next != nullptr) run_before_next_key();
  keep_line_in_bounds();
  update_drawing();
  keys.repeat = 0;
  return rl_getc_function != nullptr ? read_from_hook(key) : read_character(key);
}

el_rfunc_t key_reader() { return read_key; }

void before_next_key(void (*function)()) { keys.before_next = function; }

void set_repeat_count(int count) { keys.repeat = count; }

int take_repeat_count() {
  const int count = keys.repeat > 0 ? keys.repeat : 1;
  keys.repeat = 0;
  return count;
}

void reset_keys() {
  if (keys.before_next != nullptr) run_before_next_key();
  keys.repeat = 0;
}

}  // namespace lineedit
