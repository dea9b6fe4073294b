// Escape sequences, as a terminal sends them for keys that are no character: ESC [ parameters and a
// letter, or ESC O and a letter. With Alt, some terminals send one more Escape before them.
#pragma once

#include <cstddef>

namespace lineedit {

// A sequence, NUL-terminated. Of one that is longer than any key's, the end is missing.
struct Sequence {
  wchar_t characters[32];
  size_t length;
};

void add_to_sequence(Sequence *sequence, wchar_t character);
bool sequence_is(const Sequence *sequence, const wchar_t *characters);

// What a character is to a sequence of which the beginning, up to [ or O, has been read.
enum class SequencePart { inner, last, none };
SequencePart part_of_sequence(const Sequence *sequence, wchar_t character);

// Finds what the editor is to get for a whole sequence: itself if it is bound, or else the same key
// without Shift, or Ctrl for Alt. Returns false if that is not bound either.
bool find_bound_sequence(Sequence *sequence);

}  // namespace lineedit
