// Repeat counts.
//
// libedit 3.1-20221030 accepts a count of a million; the next key then takes seconds and hundreds
// of megabytes. So the digits are read here, and libedit gets those of a smaller count. It accepts
// digits only from keys that run its own command, ed-argument-digit. With emacs's keys, the key of
// the first digit is bound to that command until the next key is read. In vi's command mode, a
// digit after an Escape is always bound to it.
#include "editline/commands/repeat_count.h"

#include <cstdio>
#include <cwchar>
#include <iterator>

#include "editline/base/editor.h"
#include "editline/input/keys.h"

namespace lineedit {

static constexpr int max_count = 9999;
static constexpr size_t max_digits = 4;

// The count being read.
static struct {
  int value;
  // The digits that libedit gets, without those that would make the count too large.
  wchar_t digits[max_digits + 1];
  size_t length;
  // The key of the first digit, while it is bound to libedit's command.
  char bound_key[4];
} count;

static bool is_digit(wchar_t key) { return key >= L'0' && key <= L'9'; }

static void add_digit(wchar_t digit) {
  const int longer = count.value * 10 + static_cast<int>(digit - L'0');
  if (longer > max_count || count.length == max_digits) return;
  count.value = longer;
  count.digits[count.length++] = digit;
}

// --- Reading -------------------------------------------------------------------------------------

// The part of the counted key that has been read.
struct Key {
  wchar_t characters[10];
  size_t length;
};

static bool read_more(EditLine *el, Key *key) {
  if (el_wgetc(el, &key->characters[key->length]) != 1) return false;
  ++key->length;
  return true;
}

// Reads a digit of the count: plain, after an Escape, or with the eighth bit set. Returns false if
// there is none; `key` then holds the beginning of the counted key.
static bool read_digit(EditLine *el, Key *key) {
  key->length = 0;
  if (!read_more(el, key)) return false;
  wchar_t digit = key->characters[0] < 0 ? key->characters[0] + 0x80 : key->characters[0];
  if (digit == L'\033' && read_more(el, key)) digit = key->characters[1];
  if (is_digit(digit)) add_digit(digit);
  return is_digit(digit);
}

// A control character also ends the sequence but is not part of it.
static bool ends_sequence(wchar_t key) { return (key >= L'@' && key <= L'~') || key < L' '; }

// Reads the rest of a key of which one or two characters have been read.
static void read_rest(EditLine *el, Key *key) {
  const wchar_t second = key->length == 2 ? key->characters[1] : L'\0';
  bool sequence = second == L'[' || second == L'O';
  while (sequence && key->length + 1 < std::size(key->characters) && read_more(el, key))
    sequence = !ends_sequence(key->characters[key->length - 1]);
}

// --- Passing the count to libedit ----------------------------------------------------------------

static void bind_first_digit(const char *command) {
  el_set(editor.el, EL_BIND, count.bound_key, command, nullptr);
}

static void restore_first_digit() { bind_first_digit("rl_digit_argument"); }

static void push_count_with_emacs_keys() {
  wchar_t keys[max_digits + 2] = L"\033";
  wmemcpy(keys + 1, count.digits, count.length);
  snprintf(count.bound_key, sizeof count.bound_key, "\\e%c", static_cast<char>(count.digits[0]));
  bind_first_digit("ed-argument-digit");
  before_next_key(restore_first_digit);
  el_wpush(editor.el, keys);
}

static void push_count_with_vi_keys() {
  wchar_t keys[2 * max_digits + 1] = {};
  for (size_t i = 0; i < count.length; ++i) {
    keys[2 * i] = L'\033';
    keys[2 * i + 1] = count.digits[i];
  }
  el_wpush(editor.el, keys);
}

unsigned char read_repeat_count(EditLine *el, wint_t first) {
  Key key = {};
  count = {};
  add_digit(static_cast<wchar_t>(first & 0x7f));
  while (read_digit(el, &key)) continue;
  if (key.length == 0) return CC_EOF;
  read_rest(el, &key);
  key.characters[key.length] = L'\0';
  set_repeat_count(count.value);
  if (uses_vi_keys())
    push_count_with_vi_keys();
  else
    push_count_with_emacs_keys();
  // libedit reads pushed keys in the order of the calls.
  el_wpush(el, key.characters);
  return CC_ARGHACK;
}

}  // namespace lineedit
