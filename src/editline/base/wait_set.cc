// A set of descriptors to wait on, of any size.
#include "editline/base/wait_set.h"

#include <cstdlib>

namespace lineedit {

static void make_room(WaitSet *set, int descriptor) {
  const int needed = descriptor / FD_SETSIZE + 1;
  if (needed <= set->sets_count) return;
  const size_t size = static_cast<size_t>(needed) * sizeof *set->sets;
  set->sets = static_cast<fd_set *>(realloc(set->sets, size));
  for (; set->sets_count < needed; ++set->sets_count) FD_ZERO(&set->sets[set->sets_count]);
}

void wait_set_clear(WaitSet *set) {
  for (int i = 0; i < set->sets_count; ++i) FD_ZERO(&set->sets[i]);
}

void wait_set_add(WaitSet *set, int descriptor) {
  make_room(set, descriptor);
  FD_SET(descriptor % FD_SETSIZE, &set->sets[descriptor / FD_SETSIZE]);
}

void wait_set_remove(WaitSet *set, int descriptor) {
  if (!wait_set_has(set, descriptor)) return;
  FD_CLR(descriptor % FD_SETSIZE, &set->sets[descriptor / FD_SETSIZE]);
}

bool wait_set_has(const WaitSet *set, int descriptor) {
  if (descriptor / FD_SETSIZE >= set->sets_count) return false;
  return FD_ISSET(descriptor % FD_SETSIZE, &set->sets[descriptor / FD_SETSIZE]);
}

}  // namespace lineedit
