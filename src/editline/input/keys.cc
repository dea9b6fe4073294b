// Reading keys. Their bytes come from the input hook or, without one, from the layer's own reader.
// Both let signals in while they wait, which libedit's built-in reader cannot do. The bytes are
// decoded here.
#include "editline/input/keys.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <cwchar>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/streams.h"
#include "editline/base/text.h"
#include "editline/base/variables.h"
#include "editline/input/wait.h"
#include "editline/screen/drawing.h"

namespace lineedit {

static struct {
  // The repeat count of the next key, or of the key whose command is running; 0 if there is none.
  int repeat;
  // What the layer's own reader waits on; kept to reuse the storage.
  WaitSet ready;
  // Bytes that have been read and not been returned: the beginning of a character, or what followed
  // the beginning of a wrong one.
  char pending[MB_LEN_MAX];
  size_t pending_count;
  // The input has ended behind them. What the read returned, and its errno.
  bool ended;
  int end;
  int end_errno;
} keys;

// --- Bytes ---------------------------------------------------------------------------------------

// Waits for one byte and reads it. Returns as read does.
static int read_from_terminal(int *byte) {
  const int fd = input_descriptor();
  char key = 0;
  ssize_t got;
  wait_set_clear(&keys.ready);
  do {
    do wait_set_add(&keys.ready, fd);
    while (wait_for_input(fd + 1, &keys.ready) <= 0);
    got = read_byte(fd, &key);
  } while (got == wait_again);
  *byte = static_cast<signed char>(key);
  return static_cast<int>(got);
}

// Reads one byte, as a signed char. Returns 1, 0 at the end of input, or -1 after an error. A hook
// cannot tell the byte 255 from the end.
static int next_byte(int *byte) {
  if (rl_instream == nullptr) return 0;
  if (rl_getc_function == nullptr) return read_from_terminal(byte);
  *byte = rl_getc_function(rl_instream);
  return *byte == -1 ? 0 : 1;
}

// --- Characters ----------------------------------------------------------------------------------

static void drop_pending(size_t count) {
  keys.pending_count -= count;
  memmove(keys.pending, keys.pending + count, keys.pending_count);
}

// Takes a character from the beginning of the pending bytes, or else their first byte, which
// becomes a negative character. Returns false if they are the beginning of a character, or if there
// are none.
static bool take_pending(wchar_t *character) {
  size_t used = decode_character(character, keys.pending, keys.pending_count);
  const bool incomplete = used == static_cast<size_t>(-2) && keys.pending_count < MB_LEN_MAX;
  if (incomplete && !keys.ended) return false;
  if (used > keys.pending_count) *character = static_cast<signed char>(keys.pending[0]);
  if (used > keys.pending_count || used == 0) used = 1;
  drop_pending(used);
  return true;
}

static void note_end(int end) {
  keys.ended = true;
  keys.end = end;
  keys.end_errno = errno;
}

static int take_end() {
  keys.ended = false;
  errno = keys.end_errno;
  return keys.end;
}

// Returns the next character of the pending bytes. Reads as many more as it has.
static int read_character(wchar_t *character) {
  if (keys.pending_count == 0) return take_end();
  while (!take_pending(character)) {
    int byte;
    const int got = next_byte(&byte);
    if (got == 1)
      keys.pending[keys.pending_count++] = static_cast<char>(byte);
    else
      note_end(got);
  }
  return 1;
}

// While libedit does not edit, a hook's bytes stay as they are: the bulk-input guard echoes each.
static bool decodes_input() {
  return rl_getc_function == nullptr || (editor.has_terminal && editing_is_on());
}

static int read_from_input(wchar_t *character) {
  int byte;
  if (keys.pending_count > 0 || keys.ended) return read_character(character);
  const int got = next_byte(&byte);
  if (got != 1) return got;
  *character = byte;
  if (byte >= 0 || !decodes_input()) return 1;
  keys.pending[keys.pending_count++] = static_cast<char>(byte);
  return read_character(character);
}

// --- The reading function ------------------------------------------------------------------------

static int read_key(EditLine *, wchar_t *key) {
  if (line_is_drawn() && line_is_overgrown()) return_to_drawn_line();
  keep_line_in_bounds();
  update_drawing();
  keys.repeat = 0;
  return read_from_input(key);
}

el_rfunc_t key_reader() { return read_key; }

static int no_key(EditLine *, wchar_t *) { return 0; }

void drop_pushed_keys() {
  el_rfunc_t reader;
  wchar_t key;
  el_get(editor.el, EL_GETCFN, &reader);
  el_set(editor.el, EL_GETCFN, no_key);
  while (el_wgetc(editor.el, &key) == 1) continue;
  el_set(editor.el, EL_GETCFN, reader);
}

void set_repeat_count(int count) { keys.repeat = count; }

int take_repeat_count() {
  const int count = keys.repeat > 0 ? keys.repeat : 1;
  keys.repeat = 0;
  return count;
}

void reset_keys() {
  keys.repeat = 0;
  explicit_bzero(keys.pending, sizeof keys.pending);
  keys.pending_count = 0;
  keys.ended = false;
}

}  // namespace lineedit
