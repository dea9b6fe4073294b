// Reading keys. Their bytes come from the input hook or, without one, from the layer's own reader.
// Both let signals in while they wait, which libedit's built-in reader cannot do. The bytes are
// decoded here.
#include "editline/input/keys.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <cwchar>

#include "editline/base/editor.h"
#include "editline/base/line.h"
#include "editline/base/streams.h"
#include "editline/base/text.h"
#include "editline/base/variables.h"
#include "editline/input/sequences.h"
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
  // What follows an Escape that has been returned, and how much of it has been returned, too.
  Sequence rest;
  size_t rest_returned;
  // The key before was an Escape with nothing behind it, for the editor and not for a search.
  bool after_escape;
} keys;

// What a terminal sends for one key arrives within this time, also on a slow line. Whoever types
// Escape and then another key takes longer.
static constexpr int escape_ms = 50;

// The text of a paste arrives without longer pauses.
static constexpr long paste_ms = 1000;

// What has been read was nothing for the editor.
static constexpr int no_key = 2;

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

// Inline, because it runs for every key; elsewhere read_next_character is enough.
[[gnu::always_inline]] static inline int read_from_input(wchar_t *character) {
  int byte;
  if (keys.pending_count > 0 || keys.ended) return read_character(character);
  const int got = next_byte(&byte);
  if (got != 1) return got;
  *character = byte;
  if (byte >= 0 || !decodes_input()) return 1;
  keys.pending[keys.pending_count++] = static_cast<char>(byte);
  return read_character(character);
}

[[gnu::noinline]] static int read_next_character(wchar_t *character) {
  return read_from_input(character);
}

// --- Escape sequences ----------------------------------------------------------------------------

// The bulk-input guard has the terminal raw, too, but does not edit.
static bool takes_sequences() { return editor.terminal_is_raw && editing_is_on(); }

bool more_of_key_follows() { return keys.rest_returned < keys.rest.length; }

// In a paste an Escape can only begin a sequence.
static bool follows_at_once() {
  if (keys.pending_count > 0 || editor.pasting) return true;
  if (rl_getc_function != nullptr && rl_input_available_hook != nullptr)
    return rl_input_available_hook() != 0;
  struct pollfd entry = {input_descriptor(), POLLIN, 0};
  return poll(&entry, 1, escape_ms) == 1;
}

// Returns the Escape with which these characters begin. The rest of them are the next keys.
static int return_escape(const Sequence *characters, wchar_t *key) {
  keys.rest = *characters;
  keys.rest_returned = 1;
  *key = L'\033';
  return 1;
}

// In vi's command mode, libedit 3.1-20221030 would take the key after an Escape for a part of it.
static int return_lone_escape(Sequence *escapes, wchar_t *key) {
  const bool is_second = keys.after_escape && uses_vi_keys();
  if (uses_vi_keys()) escapes->length = 1;
  keys.after_escape = editor.leave_command == nullptr;
  return is_second ? no_key : return_escape(escapes, key);
}

static void begin_paste() {
  editor.pasting = true;
  if (editor.leave_command != nullptr) editor.leave_command();
}

static int return_sequence(Sequence *sequence, wchar_t *key) {
  if (sequence_is(sequence, L"\033[200~"))
    begin_paste();
  else if (sequence_is(sequence, L"\033[201~"))
    editor.pasting = false;
  else if (!editor.pasting && find_bound_sequence(sequence))
    return return_escape(sequence, key);
  return no_key;
}

// Reads the rest of a sequence of which the beginning, up to [ or O, has been read. A character
// that is no part of it ends it, too, and is in `*key` then, for the caller.
static int read_sequence(Sequence *sequence, wchar_t *key, bool *broken_off) {
  SequencePart part = SequencePart::inner;
  while (part == SequencePart::inner) {
    const int got = read_next_character(key);
    if (got != 1) return got;
    part = part_of_sequence(sequence, *key);
    if (part != SequencePart::none) add_to_sequence(sequence, *key);
  }
  *broken_off = part == SequencePart::none;
  return *broken_off ? 1 : return_sequence(sequence, key);
}

// Reads what follows an Escape at once, and returns the first key of that: the Escape, unless it
// began a sequence that means nothing.
static int read_after_escape(wchar_t *key, bool *broken_off) {
  Sequence sequence = {};
  while (*key == L'\033') {
    if (sequence.length < 2) add_to_sequence(&sequence, *key);
    if (!follows_at_once()) return return_lone_escape(&sequence, key);
    const int got = read_next_character(key);
    if (got == 1) continue;
    note_end(got);
    return return_escape(&sequence, key);
  }
  const bool begins_sequence = *key == L'[' || *key == L'O';
  if (!begins_sequence && keys.after_escape && uses_vi_keys()) return 1;
  if (!begins_sequence && uses_vi_keys()) sequence.length = 1;
  add_to_sequence(&sequence, *key);
  return begins_sequence ? read_sequence(&sequence, key, broken_off)
                         : return_escape(&sequence, key);
}

// With an Escape in `*key`. Returns as read does, or `no_key`.
static int read_sequences(wchar_t *key) {
  int got = 1;
  bool looks = true;
  while (looks && got == 1 && *key == L'\033') {
    looks = false;
    got = read_after_escape(key, &looks);
  }
  return got;
}

static int read_key_or_sequence(wchar_t *key) {
  if (more_of_key_follows()) {
    *key = keys.rest.characters[keys.rest_returned++];
    return 1;
  }
  const int got = read_next_character(key);
  if (got == 1 && *key == L'\033') return read_sequences(key);
  keys.after_escape = false;
  return got;
}

// --- Pastes --------------------------------------------------------------------------------------

static long milliseconds() {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

// The mark of the end is lost if a Ctrl-C dropped it while no line was read. So after a pause keys
// are keys again.
static int read_pasted_key(wchar_t *key) {
  const long start = milliseconds();
  const int got = read_key_or_sequence(key);
  if (milliseconds() - start >= paste_ms) editor.pasting = false;
  return got;
}

// The ends of lines, and a Ctrl-C, which is no signal while a command waits for a key to quote.
static bool is_key_in_paste(wchar_t character) {
  return character == L'\n' || character == L'\r' || character == L'\003';
}

static void insert_pasted(wchar_t character) {
  const wchar_t characters[] = {character, L'\0'};
  const bool is_control = (character >= 0 && character < L' ') || character == L'\177';
  if (!is_control || character == L'\t') insert_at_cursor(characters);
}

// --- The reading function ------------------------------------------------------------------------

static void prepare_for_key() {
  if (line_is_drawn() && line_is_overgrown()) return_to_drawn_line();
  keep_line_in_bounds();
  update_drawing();
  keys.repeat = 0;
}

// With what has been read, or `no_key`. Reads on until there is a key for the editor.
[[gnu::noinline]] static int read_on(wchar_t *key, int got) {
  while (got == no_key || (got == 1 && editor.pasting && !is_key_in_paste(*key))) {
    if (got == 1) insert_pasted(*key);
    prepare_for_key();
    got = editor.pasting ? read_pasted_key(key) : read_key_or_sequence(key);
  }
  return got;
}

static int read_key(EditLine *, wchar_t *key) {
  prepare_for_key();
  if (more_of_key_follows() || (editor.pasting && takes_sequences())) return read_on(key, no_key);
  const int got = read_from_input(key);
  if (got == 1 && *key == L'\033' && takes_sequences()) return read_on(key, read_sequences(key));
  keys.after_escape = false;
  return got;
}

el_rfunc_t key_reader() { return read_key; }

static int end_of_keys(EditLine *, wchar_t *) { return 0; }

void drop_pushed_keys() {
  el_rfunc_t reader;
  wchar_t key;
  el_get(editor.el, EL_GETCFN, &reader);
  el_set(editor.el, EL_GETCFN, end_of_keys);
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
  explicit_bzero(&keys.rest, sizeof keys.rest);
  keys.rest_returned = 0;
  keys.after_escape = false;
}

}  // namespace lineedit
