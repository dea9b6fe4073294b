// Text in wide characters, as the editor holds it.
#pragma once

#include <cstddef>

namespace lineedit {

// Part of a record at the top of a file; its storage only grows. A zeroed one is empty. After the
// first call below, `characters` is NUL-terminated.
struct LineText {
  wchar_t *characters;
  size_t length;
  size_t room;
};

// Decodes the first of `size` bytes. Returns as mbrtowc does. Bytes that stand for no character of
// Unicode are no character, though the C library may decode them: libedit ends the process when it
// encodes the largest of them.
size_t decode_character(wchar_t *character, const char *bytes, size_t size);

void set_text(LineText *text, const wchar_t *characters, size_t length);
void append_text(LineText *text, const wchar_t *characters, size_t length);
void append_character(LineText *text, wchar_t character);
// Sets the text from NUL-terminated bytes in the current locale's encoding. A byte that is not part
// of a character becomes a negative character, as the character reader delivers such bytes;
// encode_line turns it back into the byte.
void decode_text(LineText *text, const char *bytes);
// Overwrites and frees the storage, and leaves the text empty. The second does the same for a
// malloc'ed string, or null, and leaves null.
void wipe_text(LineText *text);
void wipe_bytes(char **bytes);
bool same_text(const LineText *one, const LineText *other);

// By libedit's idea of a word.
bool is_in_word(wchar_t character);

// Writes `length` characters in the current locale's encoding, and a NUL, to `bytes`, which must
// have room for encoded_size(length). Returns the number of bytes before the NUL. A character that
// the locale lacks becomes '?'.
size_t encode_line(char *bytes, const wchar_t *characters, size_t length);
size_t encoded_size(size_t length);
// The same for a whole text, into a malloc'ed string.
char *encode_text(const LineText *text);

}  // namespace lineedit
