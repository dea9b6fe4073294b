// Repeat counts.
//
// libedit 3.1-20221030 accepts a count of a million; the next key then takes seconds and hundreds
// of megabytes. So the digits are read here, and libedit gets those of a smaller count. It accepts
// digits only from keys that run its own command, ed-argument-digit. So keys that nobody can type
// are bound to that command.
#include "editline/commands/repeat_count.h"

#include <cwchar>
#include <iterator>

#include "editline/base/editor.h"
#include "editline/base/locale.h"
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

// Reads a digit of the count: plain, after an Escape, or as a Meta key of one byte. Returns false
// if there is none; `key` then holds the beginning of the counted key.
static bool read_digit(EditLine *el, Key *key) {
  key->length = 0;
  if (!read_more(el, key)) return false;
  wchar_t digit = key->characters[0];
  if (digit < 0 && bytes_are_meta_keys()) digit += 0x80;
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

// Begins a digit's key, behind an Escape: no character, so the key can be neither typed nor bound.
static constexpr wchar_t counting = 0x110000;

// The bindings stay: to unbind a key frees memory that libedit may be using, while it looks up a
// sequence that begins alike and waits for its next character.
static void bind_digit(const wchar_t *key) {
  if (uses_vi_keys())
    el_wset(editor.el, EL_BIND, L"-a", key, L"ed-argument-digit", nullptr);
  else
    el_wset(editor.el, EL_BIND, key, L"ed-argument-digit", nullptr);
}

// libedit reads pushed keys in the order of the calls.
static void push_count() {
  for (size_t i = 0; i < count.length; ++i) {
    const wchar_t key[] = {L'\033', counting, count.digits[i], L'\0'};
    bind_digit(key);
    el_wpush(editor.el, key);
  }
}

unsigned char read_repeat_count(EditLine *el, wint_t first) {
  if (!is_digit(static_cast<wchar_t>(first & 0x7f))) return CC_ERROR;
  Key key = {};
  count = {};
  add_digit(static_cast<wchar_t>(first & 0x7f));
  while (read_digit(el, &key)) continue;
  if (key.length == 0) return CC_EOF;
  read_rest(el, &key);
  key.characters[key.length] = L'\0';
  set_repeat_count(count.value);
  push_count();
  el_wpush(el, key.characters);
  return CC_ARGHACK;
}

}  // namespace lineedit
