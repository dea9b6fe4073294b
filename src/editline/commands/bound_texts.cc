#include "editline/commands/bound_texts.h"

#include <cstddef>
#include <cstdlib>
#include <cwchar>

#include "editline/base/text.h"

namespace lineedit {

struct BoundText {
  LineText key;
  LineText text;
  // The search has been here.
  bool visited;
};

static struct {
  BoundText *rows;
  size_t count;
  // Used to decode a word; kept to reuse the storage.
  LineText word;
} bound;

// --- What bind makes of its words ----------------------------------------------------------------

static wchar_t octal_character(const wchar_t **rest) {
  wchar_t character = 0;
  for (int digits = 0; digits < 3 && **rest >= L'0' && **rest <= L'7'; ++digits)
    character = character * 8 + *(*rest)++ - L'0';
  return character;
}

static wchar_t backslashed_character(const wchar_t **rest) {
  static constexpr wchar_t letters[] = L"abtnvfre";
  static constexpr wchar_t meanings[] = L"\a\b\t\n\v\f\r\033";
  if (**rest >= L'0' && **rest <= L'7') return octal_character(rest);
  const wchar_t *letter = wcschr(letters, **rest);
  return letter != nullptr ? (++*rest, meanings[letter - letters]) : *(*rest)++;
}

static wchar_t control_character(const wchar_t **rest) {
  const wchar_t character = *(*rest)++;
  return character == L'?' ? 0177 : character & 0237;
}

// Takes what stands for one character from the beginning of `rest`.
static wchar_t take_character(const wchar_t **rest) {
  const wchar_t first = *(*rest)++;
  if (**rest == L'\0') return first;
  if (first == L'\\') return backslashed_character(rest);
  if (first == L'^') return control_character(rest);
  if (first != L'M' || (*rest)[0] != L'-' || (*rest)[1] == L'\0') return first;
  ++*rest;
  return L'\033';
}

static void decode_word(LineText *decoded, const char *word) {
  decode_text(&bound.word, word);
  set_text(decoded, L"", 0);
  for (const wchar_t *rest = bound.word.characters; *rest != L'\0';)
    append_character(decoded, take_character(&rest));
}

// --- Where a text leads --------------------------------------------------------------------------

// A command of libedit's (em-meta-next) sets the eighth bit of the next key.
static bool are_alike(const wchar_t *first, const wchar_t *second, size_t length) {
  for (size_t i = 0; i < length; ++i)
    if ((first[i] | 0x80) != (second[i] | 0x80)) return false;
  return true;
}

// Whether the key is in the text, or begins at its end: the rest may come from what follows.
static bool types_key(const LineText *text, const LineText *key) {
  for (size_t start = 0; start < text->length; ++start) {
    const size_t left = text->length - start;
    const size_t compared = left < key->length ? left : key->length;
    if (are_alike(text->characters + start, key->characters, compared)) return true;
  }
  return false;
}

static bool leads_to(const LineText *text, const LineText *key) {
  if (types_key(text, key)) return true;
  for (size_t i = 0; i < bound.count; ++i) {
    BoundText *row = &bound.rows[i];
    if (row->visited || !types_key(text, &row->key)) continue;
    row->visited = true;
    if (leads_to(&row->text, key)) return true;
  }
  return false;
}

static BoundText *row_of(const LineText *key) {
  for (size_t i = 0; i < bound.count; ++i)
    if (same_text(&bound.rows[i].key, key)) return &bound.rows[i];
  return nullptr;
}

static void free_row(BoundText *row) {
  wipe_text(&row->key);
  wipe_text(&row->text);
}

static void store(const BoundText *found) {
  BoundText *row = row_of(&found->key);
  if (row == nullptr) {
    bound.rows =
        static_cast<BoundText *>(realloc(bound.rows, (bound.count + 1) * sizeof *bound.rows));
    row = &bound.rows[bound.count++];
  } else {
    free_row(row);
  }
  *row = *found;
}

bool note_bound_text(const char *key, const char *text) {
  BoundText found = {};
  decode_word(&found.key, key);
  decode_word(&found.text, text);
  for (size_t i = 0; i < bound.count; ++i) bound.rows[i].visited = false;
  const bool ends = !leads_to(&found.text, &found.key);
  if (ends)
    store(&found);
  else
    free_row(&found);
  return ends;
}

void forget_bound_texts() {
  for (size_t i = 0; i < bound.count; ++i) free_row(&bound.rows[i]);
  free(bound.rows);
  wipe_text(&bound.word);
  bound = {};
}

}  // namespace lineedit
