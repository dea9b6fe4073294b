// A set of descriptors to wait on, of any size: an fd_set ends at descriptor 1023, the kernel's
// select does not.
#pragma once

#include <sys/select.h>

namespace lineedit {

struct WaitSet {
  fd_set *sets;  // owned, grows only; null in a zeroed record, which is an empty set
  int sets_count;
};

// Empties the set and keeps its room.
void wait_set_clear(WaitSet *set);
// Adds a descriptor, making room for it.
void wait_set_add(WaitSet *set, int descriptor);
void wait_set_remove(WaitSet *set, int descriptor);
bool wait_set_has(const WaitSet *set, int descriptor);

}  // namespace lineedit
