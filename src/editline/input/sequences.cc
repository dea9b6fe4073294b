#include "editline/input/sequences.h"

#include <histedit.h>
#include <sys/types.h>

#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <iterator>

#include "editline/base/editor.h"

namespace lineedit {

// How libedit answers whether a sequence is bound.
static struct {
  FILE *stream;
  // It has written an error message: the sequence is not bound.
  bool refused;
} answer;

// --- Their form ----------------------------------------------------------------------------------

void add_to_sequence(Sequence *sequence, wchar_t character) {
  if (sequence->length + 1 == std::size(sequence->characters)) return;
  sequence->characters[sequence->length++] = character;
  sequence->characters[sequence->length] = L'\0';
}

bool sequence_is(const Sequence *sequence, const wchar_t *characters) {
  return wcscmp(sequence->characters, characters) == 0;
}

// The [ or O, and what follows it.
static const wchar_t *after_escapes(const Sequence *sequence) {
  return sequence->characters + wcsspn(sequence->characters, L"\033");
}

static bool is_digit(wchar_t character) { return character >= L'0' && character <= L'9'; }

// Two kinds of keys have forms of their own: Linux's F1 to F5 send ESC [ [ A to ESC [ [ E, and
// rxvt's keys with Shift end in a dollar sign.
static SequencePart part_after_bracket(const wchar_t *inner, wchar_t character) {
  if (*inner == L'[') return SequencePart::last;
  if (*inner == L'\0' && character == L'[') return SequencePart::inner;
  if (is_digit(*inner) && character == L'$') return SequencePart::last;
  return character < L'@' ? SequencePart::inner : SequencePart::last;
}

SequencePart part_of_sequence(const Sequence *sequence, wchar_t character) {
  if (character < L' ' || character > L'~') return SequencePart::none;
  const wchar_t *introducer = after_escapes(sequence);
  if (*introducer == L'[') return part_after_bracket(introducer + 1, character);
  return is_digit(character) || character == L';' ? SequencePart::inner : SequencePart::last;
}

// --- Their meaning -------------------------------------------------------------------------------

static ssize_t take_answer(void *, const char *, size_t size) {
  answer.refused = true;
  return static_cast<ssize_t>(size);
}

static bool open_answer() {
  if (answer.stream == nullptr)
    answer.stream = fopencookie(nullptr, "w", {nullptr, take_answer, nullptr, nullptr});
  return answer.stream != nullptr;
}

// libedit lists the binding of a key on its output, which is dropped, or reports an error. In octal
// it takes any character for itself. Without memory for the answer, libedit gets the key.
static bool is_bound(const wchar_t *keys) {
  wchar_t name[std::size(Sequence{}.characters) * 4];
  wchar_t *end = name;
  for (; *keys != L'\0'; ++keys) end += swprintf(end, 5, L"\\%03o", static_cast<unsigned>(*keys));
  const wchar_t *words[] = {L"bind", name, nullptr};
  FILE *errors;
  if (!open_answer() || el_get(editor.el, EL_GETFP, 2, &errors) != 0) return true;
  el_set(editor.el, EL_SETFP, 2, answer.stream);
  answer.refused = false;
  el_wparse(editor.el, 2, words);
  fflush(answer.stream);
  el_set(editor.el, EL_SETFP, 2, errors);
  return !answer.refused;
}

// In vi's insert mode the Escape is a key of its own; what follows it is bound in command mode.
static bool sequence_is_bound(const Sequence *sequence) {
  return is_bound(sequence->characters) || (uses_vi_keys() && is_bound(after_escapes(sequence)));
}

// Alt, Ctrl and Meta, of the modifiers that are the last number of a sequence: 1 and the sum of
// Shift 1, Alt 2, Ctrl 4 and Meta 8. rxvt has small letters instead, after O for Ctrl.
static bool has_modifier_of_words(const Sequence *sequence) {
  const wchar_t *introducer = after_escapes(sequence);
  if (introducer != sequence->characters + 1) return true;
  const wchar_t last = sequence->characters[sequence->length - 1];
  if (last >= L'a') return *introducer == L'O';
  const wchar_t *number = sequence->characters + sequence->length - 1;
  while (is_digit(number[-1])) --number;
  return ((wcstol(number, nullptr, 10) - 1) & ~1L) > 0;
}

// The keys with modifiers that act as others.
static const struct {
  const wchar_t *letters;
  const wchar_t *plain;
  const wchar_t *with_modifier;
} cursor_keys[] = {
    {L"Aa", L"\033[A", L"\033[A"},    {L"Bb", L"\033[B", L"\033[B"},
    {L"Cc", L"\033[C", L"\033[1;5C"}, {L"Dd", L"\033[D", L"\033[1;5D"},
    {L"H", L"\033[H", L"\033[H"},     {L"F", L"\033[F", L"\033[F"},
};

bool find_bound_sequence(Sequence *sequence) {
  if (sequence_is_bound(sequence)) return true;
  const wchar_t *inner = after_escapes(sequence) + 1;
  const wchar_t *last = inner + wcsspn(inner, L"0123456789;");
  if (*last == L'\0' || last[1] != L'\0') return false;
  for (const auto &key : cursor_keys) {
    if (wcschr(key.letters, *last) == nullptr) continue;
    const wchar_t *found = has_modifier_of_words(sequence) ? key.with_modifier : key.plain;
    sequence->length = 0;
    while (*found != L'\0') add_to_sequence(sequence, *found++);
    return sequence_is_bound(sequence);
  }
  return false;
}

}  // namespace lineedit
