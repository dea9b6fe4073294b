// Text of lines, in the characters in which the editor holds them.
#pragma once

#include <cstddef>

namespace lineedit {

// Grows only: each is part of a record at the top of a file. Zeroed it is empty;
// after the first call below `characters` ends with a NUL.
struct LineText {
  wchar_t *characters;
  size_t length;
  size_t room;
};

void set_text(LineText *text, const wchar_t *characters, size_t length);
void append_text(LineText *text, const wchar_t *characters, size_t length);
// Takes over bytes in the current locale's encoding, NUL-terminated. A byte that is part of no
// character becomes a negative one, as the character reader hands such bytes on: encode_line makes
// the byte of it again.
void decode_text(LineText *text, const char *bytes);
// Overwrites and frees what it holds, and makes it empty. The second does the same for malloc'ed
// bytes, or null, and leaves null.
void wipe_text(LineText *text);
void wipe_bytes(char **bytes);
bool same_text(const LineText *one, const LineText *other);

// Writes `length` characters as bytes in the current locale, and a NUL, to `bytes`, which must have
// room for encoded_size(length). Returns the bytes before the NUL. A character that the locale
// lacks comes out as '?'.
size_t encode_line(char *bytes, const wchar_t *characters, size_t length);
size_t encoded_size(size_t length);
// The same for a whole text, malloc'ed.
char *encode_text(const LineText *text);

}  // namespace lineedit
