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

#include "editline/base/editor.h"
#include "editline/base/text.h"
#include "editline/input/signals.h"
#include "editline/readline.h"
#include "editline/screen/rows.h"

namespace lineedit {

rl_getc_func_t *rl_getc_function;

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
  static WaitSet ready;
  const int fd = fileno(rl_instream);
  ssize_t got;
  wait_set_clear(&ready);
  do {
    do wait_set_add(&ready, fd);
    while (rl_wait(fd + 1, &ready) <= 0);
    got = read(fd, byte, 1);
  } while (got == 0 && rl_read_was_too_late(fd));
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

static int read_new_key(EditLine *editor, wchar_t *key) {
  return rl_getc_function != nullptr ? read_from_hook(editor, key) : read_character(editor, key);
}

// --- The room in the line ------------------------------------------------------------------------

// Whether the line ends in a row that a command of libedit's has put there, which reads keys itself
// and may hold on to the buffer.
static bool ends_in_row_of_command(const LineText *line) {
  static const wchar_t *const beginnings[] = {L"bck", L"fwd", L": ", L"/", L"?"};
  const wchar_t *row = wcsrchr(line->characters, L'\n');
  if (row == nullptr) return false;
  for (const wchar_t *beginning : beginnings)
    if (wcsncmp(row + 1, beginning, wcslen(beginning)) == 0) return true;
  return false;
}

// libedit 3.1-20221030 deletes by moving what is behind, as many characters as the line has,
// including those that were deleted: it reads beyond the buffer when that is more than half full.
// So it never is.
static void make_room_in_line(const LineInfoW *line) {
  if (!layer.terminal_is_raw || !editing_is_on()) return;
  static LineText kept;
  static LineText longer;
  set_text(&kept, line->buffer, static_cast<size_t>(line->lastchar - line->buffer));
  if (ends_in_row_of_command(&kept)) return;
  longer.length = 0;
  for (int i = 0; i < 4; ++i) append_text(&longer, kept.characters, kept.length);
  el_wreplacestr(layer.editor, longer.characters);
  el_wreplacestr(layer.editor, kept.characters);
  layer.line_room = longer.length;
}

static bool line_outgrows_room(const LineInfoW *line) {
  return static_cast<size_t>(line->lastchar - line->buffer) * 2 > layer.line_room;
}

// --- The reading function ------------------------------------------------------------------------

static int next_put_back(wchar_t *key) {
  *key = keys.put_back[0];
  --keys.put_back_count;
  wmemmove(keys.put_back, keys.put_back + 1, static_cast<size_t>(keys.put_back_count));
  return 1;
}

static int next_key(EditLine *editor, wchar_t *key) {
  if (keys.put_back_count > 0) return next_put_back(key);
  keys.repeat = 0;
  return read_new_key(editor, key);
}

static int read_captured(EditLine *editor, wchar_t *key) {
  if (keys.capturing_due) {
    keys.capturing_due = false;
    *key = L'k';
    return 1;
  }
  const int got = next_key(editor, &keys.captured);
  if (got != 1) keys.capturing = false;
  // What happened in the wait may have ended it.
  keys.capturing_due = keys.capturing;
  *key = keys.capturing ? L'\377' : keys.captured;
  return got;
}

static int read_key(EditLine *editor, wchar_t *key) {
  const LineInfoW *line = el_wline(editor);
  if (line_outgrows_room(line)) make_room_in_line(line);
  if (fit_screen_to_line()) redraw_in_place();
  if (keys.capturing || keys.capturing_due) return read_captured(editor, key);
  return next_key(editor, key);
}

el_rfunc_t key_reader() { return read_key; }

void put_back_key(wchar_t key) {
  if (keys.put_back_count < static_cast<int>(std::size(keys.put_back)))
    keys.put_back[keys.put_back_count++] = key;
}

void capture_keys(bool on) { keys.capturing = on; }

wchar_t captured_key() { return keys.captured; }

void forget_keys() { keys = {}; }

// --- Repeat counts -------------------------------------------------------------------------------

static constexpr int greatest_repeat = 9999;

// So does a control character, which is no part of one.
static bool ends_sequence(wchar_t character) {
  return (character >= L'@' && character <= L'~') || character < L' ';
}

// Reads on to the end of the key that begins with `first`, and gives it back.
static void put_back_whole_key(EditLine *editor, wchar_t first) {
  wchar_t key[std::size(keys.put_back)] = {first};
  size_t length = 1;
  bool sequence = first == L'\033';
  while (sequence && length < std::size(key) && el_wgetc(editor, &key[length]) == 1) {
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
static unsigned char repeat_count_command(EditLine *editor, wint_t key) {
  int count = static_cast<int>(key & 0x7f) - '0';
  wchar_t next = 0;
  for (;;) {
    if (el_wgetc(editor, &next) != 1) return CC_EOF;
    if (next < L'0' || next > L'9') break;
    count = count * 10 + static_cast<int>(next - L'0');
    if (count > greatest_repeat) count = greatest_repeat;
  }
  put_back_whole_key(editor, next);
  keys.repeat = count;
  wchar_t digits[8];
  swprintf(digits, std::size(digits), L"\377%d", count);
  el_wpush(editor, digits);
  return CC_NORM;
}

void add_repeat_count(EditLine *editor) {
  el_wset(editor, EL_ADDFN, L"rl_digit_argument", L"Begin a repeat count", repeat_count_command);
  for (int digit = 0; digit <= 9; ++digit) {
    char sequence[16];
    snprintf(sequence, sizeof sequence, HIDDEN_KEY "%d", digit);
    el_set(editor, EL_BIND, sequence, "ed-argument-digit", nullptr);
    snprintf(sequence, sizeof sequence, "\\e%d", digit);
    el_set(editor, EL_BIND, sequence, "rl_digit_argument", nullptr);
    snprintf(sequence, sizeof sequence, "\\%03o", 0x80 + '0' + digit);
    el_set(editor, EL_BIND, sequence, "rl_digit_argument", nullptr);
  }
}

int repeat_count() { return keys.repeat > 0 ? keys.repeat : 1; }

}  // namespace lineedit
