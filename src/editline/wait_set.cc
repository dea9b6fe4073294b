// A set of descriptors to wait on, of any size.
#include "wait_set.h"

#include <cstdlib>

namespace lineedit {

void wait_set_clear(WaitSet *set, int highest) {
  const int needed = highest / FD_SETSIZE + 1;
  if (needed > set->sets_count) {
    set->sets =
        static_cast<fd_set *>(realloc(set->sets, static_cast<size_t>(needed) * sizeof *set->sets));
    set->sets_count = needed;
  }
  for (int i = 0; i < set->sets_count; ++i) FD_ZERO(&set->sets[i]);
}

void wait_set_add(WaitSet *set, int descriptor) {
  FD_SET(descriptor % FD_SETSIZE, &set->sets[descriptor / FD_SETSIZE]);
}

void wait_set_remove(WaitSet *set, int descriptor) {
  FD_CLR(descriptor % FD_SETSIZE, &set->sets[descriptor / FD_SETSIZE]);
}

bool wait_set_has(const WaitSet *set, int descriptor) {
  return FD_ISSET(descriptor % FD_SETSIZE, &set->sets[descriptor / FD_SETSIZE]);
}

}  // namespace lineedit
