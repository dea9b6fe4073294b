// A set of descriptors to wait on, of any size: an fd_set ends at descriptor 1023, the kernel's
// select does not. The functions that run for every key are inline.
#pragma once

#include <sys/select.h>

namespace lineedit {

constexpr unsigned wait_set_word_bits = 8 * sizeof(unsigned long);

struct WaitSet {
  // Bits as in an fd_set. Owned, grows only. A zeroed record, with null here, is an empty set.
  unsigned long *words;
  unsigned words_count;
};

// Empties the set and keeps its storage.
void wait_set_clear(WaitSet *set);
// Makes room for a descriptor.
void wait_set_grow(WaitSet *set, int descriptor);

inline bool wait_set_has_room(const WaitSet *set, int descriptor) {
  return static_cast<unsigned>(descriptor) / wait_set_word_bits < set->words_count;
}

inline unsigned long *wait_set_word(const WaitSet *set, int descriptor) {
  return &set->words[static_cast<unsigned>(descriptor) / wait_set_word_bits];
}

inline unsigned long wait_set_bit(int descriptor) {
  return 1UL << static_cast<unsigned>(descriptor) % wait_set_word_bits;
}

// Adds a descriptor, making room for it.
inline void wait_set_add(WaitSet *set, int descriptor) {
  if (!wait_set_has_room(set, descriptor)) wait_set_grow(set, descriptor);
  *wait_set_word(set, descriptor) |= wait_set_bit(descriptor);
}

inline bool wait_set_has(const WaitSet *set, int descriptor) {
  return wait_set_has_room(set, descriptor) &&
         (*wait_set_word(set, descriptor) & wait_set_bit(descriptor)) != 0;
}

inline void wait_set_remove(WaitSet *set, int descriptor) {
  if (wait_set_has(set, descriptor)) *wait_set_word(set, descriptor) &= ~wait_set_bit(descriptor);
}

// The set as select takes it.
inline fd_set *wait_set_fds(const WaitSet *set) { return reinterpret_cast<fd_set *>(set->words); }

}  // namespace lineedit
