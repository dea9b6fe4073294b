// Descriptors that the layer keeps open from line to line.
#include "editline/base/kept_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

namespace lineedit {

// Where the layer's descriptors are stored.
static int *keepers[3];

void close_kept_descriptors() {
  for (int *kept : keepers) {
    if (kept == nullptr) continue;
    if (*kept >= 0) close(*kept);
    *kept = -1;
  }
}

static void remember(int *kept) {
  for (int *&keeper : keepers) {
    if (keeper == nullptr) keeper = kept;
    if (keeper == kept) return;
  }
}

void keep_descriptor(int made, int *kept, int lowest) {
  remember(kept);
  *kept = made;
  if (made < 0 || made >= lowest) return;
  *kept = fcntl(made, F_DUPFD_CLOEXEC, lowest);
  close(made);
}

}  // namespace lineedit
