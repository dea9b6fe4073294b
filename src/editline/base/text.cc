// Conversion between bytes in the locale's encoding and the editor's characters. Every byte
// survives the round trip; libedit's own conversions refuse a line for one byte that the locale
// cannot decode.
#include "editline/base/text.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>

namespace lineedit {

// Does not use realloc, which may leave a copy of the text behind.
static void make_room(LineText *text, size_t length) {
  if (length < text->room) return;
  LineText grown = {nullptr, text->length, length * 2 + 64};
  grown.characters = static_cast<wchar_t *>(malloc(grown.room * sizeof(wchar_t)));
  if (text->length > 0) wmemcpy(grown.characters, text->characters, text->length);
  wipe_text(text);
  *text = grown;
}

void append_text(LineText *text, const wchar_t *characters, size_t length) {
  make_room(text, text->length + length);
  wmemcpy(text->characters + text->length, characters, length);
  text->length += length;
  text->characters[text->length] = L'\0';
}

void append_character(LineText *text, wchar_t character) {
  make_room(text, text->length + 1);
  text->characters[text->length++] = character;
  text->characters[text->length] = L'\0';
}

void set_text(LineText *text, const wchar_t *characters, size_t length) {
  text->length = 0;
  append_text(text, characters, length);
}

void wipe_text(LineText *text) {
  if (text->room > 0) explicit_bzero(text->characters, text->room * sizeof(wchar_t));
  free(text->characters);
  *text = {};
}

void wipe_bytes(char **bytes) {
  if (*bytes != nullptr) explicit_bzero(*bytes, strlen(*bytes));
  free(*bytes);
  *bytes = nullptr;
}

size_t decode_character(wchar_t *character, const char *bytes, size_t size) {
  constexpr wchar_t last_character = 0x10ffff;
  mbstate_t shift = {};
  const size_t used = mbrtowc(character, bytes, size, &shift);
  return used <= size && *character > last_character ? static_cast<size_t>(-1) : used;
}

void decode_text(LineText *text, const char *bytes) {
  const size_t size = strlen(bytes);
  make_room(text, size);
  const char *const end = bytes + size;
  wchar_t *out = text->characters;
  while (bytes < end) {
    if (static_cast<signed char>(*bytes) >= 0) {
      *out++ = *bytes++;
      continue;
    }
    const size_t used = decode_character(out, bytes, static_cast<size_t>(end - bytes));
    if (used <= MB_LEN_MAX)
      bytes += used;
    else
      *out = static_cast<signed char>(*bytes++);
    ++out;
  }
  *out = L'\0';
  text->length = static_cast<size_t>(out - text->characters);
}

bool same_text(const LineText *one, const LineText *other) {
  return one->length == other->length &&
         wmemcmp(one->characters, other->characters, one->length) == 0;
}

bool is_in_word(wchar_t character) {
  return iswalnum(static_cast<wint_t>(character)) != 0 ||
         wcschr(L"*?_-.[]~=", character) != nullptr;
}

size_t encoded_size(size_t length) { return length * MB_CUR_MAX + 1; }

size_t encode_line(char *bytes, const wchar_t *characters, size_t length) {
  char *out = bytes;
  mbstate_t shift = {};
  for (size_t i = 0; i < length; ++i) {
    // A negative or an ASCII character is its own byte. wcrtomb would take two hundred instructions
    // to find that out.
    if (static_cast<int>(characters[i]) < 0x80) {
      *out++ = static_cast<char>(characters[i]);
      continue;
    }
    const size_t used = wcrtomb(out, characters[i], &shift);
    if (used == static_cast<size_t>(-1)) {
      shift = {};
      *out++ = '?';
    } else {
      out += used;
    }
  }
  *out = '\0';
  return static_cast<size_t>(out - bytes);
}

char *encode_text(const LineText *text) {
  char *bytes = static_cast<char *>(malloc(encoded_size(text->length)));
  encode_line(bytes, text->characters, text->length);
  return bytes;
}

}  // namespace lineedit
