// Where the editor gets its keys from: the input hook, or this layer's own reader for an editor
// without one. Both wait with signals let in, which the engine's built-in reader cannot. Commands
// of the layer's look at further keys here.
#include "editline/input/keys.h"

#include <unistd.h>

#include <cerrno>
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

static struct {
  // Keys that were given back, the next one first.
  wchar_t put_back[8];
  int put_back_count;
  // See capture_keys. The key has been read and the second of the two that run its command is due.
  bool capturing;
  bool capturing_due;
  wchar_t captured;
  // The repeat count of the key that comes next, or whose command is running; 0 for none.
  int repeat;
  // What the layer's own reader waits on, kept for its storage.
  WaitSet ready;
} keys;

// --- From the terminal ---------------------------------------------------------------------------

static int read_from_hook(EditLine *, wchar_t *character) {
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

static int read_new_key(EditLine *el, wchar_t *key) {
  return rl_getc_function != nullptr ? read_from_hook(el, key) : read_character(el, key);
}

// --- The reading function ------------------------------------------------------------------------

static int next_put_back(wchar_t *key) {
  *key = keys.put_back[0];
  --keys.put_back_count;
  wmemmove(keys.put_back, keys.put_back + 1, static_cast<size_t>(keys.put_back_count));
  return 1;
}

static int next_key(EditLine *el, wchar_t *key) {
  if (keys.put_back_count > 0) return next_put_back(key);
  keys.repeat = 0;
  return read_new_key(el, key);
}

static int read_captured(EditLine *el, wchar_t *key) {
  if (keys.capturing_due) {
    keys.capturing_due = false;
    *key = L'k';
    return 1;
  }
  const int got = next_key(el, &keys.captured);
  if (got != 1) keys.capturing = false;
  // What happened in the wait may have ended it.
  keys.capturing_due = keys.capturing;
  *key = keys.capturing ? L'\377' : keys.captured;
  return got;
}

static int read_key(EditLine *el, wchar_t *key) {
  keep_room_in_line();
  if (fit_screen_to_line()) redraw_in_place();
  if (keys.capturing || keys.capturing_due) return read_captured(el, key);
  return next_key(el, key);
}

el_rfunc_t key_reader() { return read_key; }

void put_back_key(wchar_t key) {
  if (keys.put_back_count < static_cast<int>(std::size(keys.put_back)))
    keys.put_back[keys.put_back_count++] = key;
}

void capture_keys(bool on) { keys.capturing = on; }

wchar_t captured_key() { return keys.captured; }

void reset_keys() {
  const WaitSet storage = keys.ready;
  keys = {};
  keys.ready = storage;
}

// --- Repeat counts -------------------------------------------------------------------------------

static constexpr int greatest_repeat = 9999;

// So does a control character, which is no part of one.
static bool ends_sequence(wchar_t character) {
  return (character >= L'@' && character <= L'~') || character < L' ';
}

// Reads on to the end of the key that begins with `first`, and gives it back.
static void put_back_whole_key(EditLine *el, wchar_t first) {
  wchar_t key[std::size(keys.put_back)] = {first};
  size_t length = 1;
  bool sequence = first == L'\033';
  while (sequence && length < std::size(key) && el_wgetc(el, &key[length]) == 1) {
    ++length;
    if (length == 2)
      sequence = key[1] == L'[' || key[1] == L'O';
    else
      sequence = !ends_sequence(key[length - 1]);
  }
  for (size_t i = 0; i < length; ++i) put_back_key(key[i]);
}

// libedit 3.1-20221030 takes a count of a million: a key more, and it is busy for seconds, with
// hundreds of megabytes. So the digits are read here, and it gets those of a smaller count.
static unsigned char repeat_count_command(EditLine *el, wint_t key) {
  int count = static_cast<int>(key & 0x7f) - '0';
  wchar_t next = 0;
  for (;;) {
    if (el_wgetc(el, &next) != 1) return CC_EOF;
    if (next < L'0' || next > L'9') break;
    count = count * 10 + static_cast<int>(next - L'0');
    if (count > greatest_repeat) count = greatest_repeat;
  }
  put_back_whole_key(el, next);
  keys.repeat = count;
  wchar_t digits[8];
  swprintf(digits, std::size(digits), L"\377%d", count);
  el_wpush(el, digits);
  return CC_NORM;
}

void add_repeat_count(EditLine *el) {
  el_wset(el, EL_ADDFN, L"rl_digit_argument", L"Begin a repeat count", repeat_count_command);
  for (int digit = 0; digit <= 9; ++digit) {
    char sequence[16];
    snprintf(sequence, sizeof sequence, HIDDEN_KEY "%d", digit);
    el_set(el, EL_BIND, sequence, "ed-argument-digit", nullptr);
    snprintf(sequence, sizeof sequence, "\\e%d", digit);
    el_set(el, EL_BIND, sequence, "rl_digit_argument", nullptr);
    snprintf(sequence, sizeof sequence, "\\%03o", 0x80 + '0' + digit);
    el_set(el, EL_BIND, sequence, "rl_digit_argument", nullptr);
  }
}

int repeat_count() { return keys.repeat > 0 ? keys.repeat : 1; }

}  // namespace lineedit
