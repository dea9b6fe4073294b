// Storage of a set of descriptors.
#include "editline/base/wait_set.h"

#include <cstdlib>
#include <cstring>

namespace lineedit {

void wait_set_clear(WaitSet *set) {
  if (set->words_count > 0) memset(set->words, 0, set->words_count * sizeof *set->words);
}

void wait_set_grow(WaitSet *set, int descriptor) {
  const unsigned needed = static_cast<unsigned>(descriptor) / wait_set_word_bits + 1;
  set->words = static_cast<unsigned long *>(realloc(set->words, needed * sizeof *set->words));
  for (; set->words_count < needed; ++set->words_count) set->words[set->words_count] = 0;
}

}  // namespace lineedit
