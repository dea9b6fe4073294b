// Where the editor gets its keys from: the input hook, or this layer's own reader for an editor
// without one. Both wait with signals let in, which the engine's built-in reader cannot.
#include "editline/input/keys.h"

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cwchar>
#include <iterator>

#include "editline/base/line.h"
#include "editline/base/variables.h"
#include "editline/input/wait.h"
#include "editline/screen/display.h"
#include "editline/screen/rows.h"

namespace lineedit {

// How far the keys have got with a repeat count: Escape and digits, with further digits or Escapes
// and digits, and then the key that the count is for.
enum class CountStage { none, digits, escape, sequence, complete };

static struct {
  // Keys that were put back, the next one first.
  wchar_t put_back[8];
  int put_back_count;
  // The two keys before.
  wchar_t previous;
  wchar_t before_previous;
  CountStage stage;
  int digits;
  int count;
} keys;

// What the layer's own reader waits on, kept for its storage.
static WaitSet ready;

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
  wait_set_clear(&ready);
  do {
    do wait_set_add(&ready, fd);
    while (wait_for_input(fd + 1, &ready) <= 0);
    got = read(fd, byte, 1);
  } while (got == 0 && input_was_dropped(fd));
  return got;
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

static int read_key_once(wchar_t *key) {
  if (keys.put_back_count > 0) {
    *key = keys.put_back[0];
    --keys.put_back_count;
    wmemmove(keys.put_back, keys.put_back + 1, static_cast<size_t>(keys.put_back_count));
    return 1;
  }
  return rl_getc_function != nullptr ? read_from_hook(key) : read_character(key);
}

// --- Repeat counts -------------------------------------------------------------------------------

static constexpr wchar_t escape = L'\033';
static constexpr wchar_t quote = L'\026';  // ^V, behind which an Escape is text

static constexpr int most_digits = 4;

static bool is_digit(wchar_t key) { return key >= L'0' && key <= L'9'; }

// A control character also ends the sequence but is not part of it.
static bool ends_sequence(wchar_t key) { return (key >= L'@' && key <= L'~') || key < L' '; }

// The stage that the key, which is not a digit too many, leads to.
static CountStage next_stage(wchar_t key) {
  switch (keys.stage) {
    case CountStage::digits:
      if (is_digit(key)) return CountStage::digits;
      return key == escape ? CountStage::escape : CountStage::complete;
    case CountStage::escape:
      if (is_digit(key)) return CountStage::digits;
      return key == L'[' || key == L'O' ? CountStage::sequence : CountStage::complete;
    case CountStage::sequence:
      return ends_sequence(key) ? CountStage::complete : CountStage::sequence;
    default:
      return is_digit(key) && keys.previous == escape && keys.before_previous != quote
                 ? CountStage::digits
                 : CountStage::none;
  }
}

static void follow_count(wchar_t key) {
  const CountStage before = keys.stage;
  keys.stage = next_stage(key);
  if (keys.stage == CountStage::digits) {
    if (before == CountStage::none || before == CountStage::complete) keys.count = keys.digits = 0;
    keys.count = keys.count * 10 + static_cast<int>(key - L'0');
    ++keys.digits;
  }
  keys.before_previous = keys.previous;
  keys.previous = key;
}

static void put_back_first(wchar_t key) {
  if (keys.put_back_count == static_cast<int>(std::size(keys.put_back))) return;
  wmemmove(keys.put_back + 1, keys.put_back, static_cast<size_t>(keys.put_back_count));
  keys.put_back[0] = key;
  ++keys.put_back_count;
}

// A digit with the eighth bit set stands for Escape and the digit.
static int read_escaped_key(wchar_t *key) {
  const int got = read_key_once(key);
  if (got == 1 && is_digit(*key + 0x80) && keys.previous != quote) {
    put_back_first(*key + 0x80);
    *key = escape;
  }
  return got;
}

// Whether the key is one digit too many, or the Escape before one, which is then read as well.
static bool is_too_much(wchar_t key) {
  if (keys.stage != CountStage::digits || keys.digits < most_digits) return false;
  if (is_digit(key)) return true;
  wchar_t next;
  if (key != escape || read_key_once(&next) != 1) return false;
  if (is_digit(next)) return true;
  put_back_first(next);
  return false;
}

int repeat_count() { return keys.stage == CountStage::complete ? keys.count : 1; }

void end_repeat_count() {
  keys.stage = CountStage::none;
  keys.previous = L'\0';
}

// --- The reading function ------------------------------------------------------------------------

// libedit 3.1-20221030 takes a count of a million: a key more, and it is busy for seconds, with
// hundreds of megabytes. So digits beyond the fourth do not get there.
static int read_key(EditLine *, wchar_t *key) {
  keep_room_in_line();
  if (fit_screen_to_line()) redraw_in_place();
  int got;
  do got = read_escaped_key(key);
  while (got == 1 && is_too_much(*key));
  if (got == 1) follow_count(*key);
  return got;
}

el_rfunc_t key_reader() { return read_key; }

void put_back_key(wchar_t key) {
  if (keys.put_back_count < static_cast<int>(std::size(keys.put_back)))
    keys.put_back[keys.put_back_count++] = key;
}

void reset_keys() { keys = {}; }

}  // namespace lineedit
