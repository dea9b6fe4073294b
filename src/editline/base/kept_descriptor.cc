// Descriptors that the layer keeps open from line to line.
#include "editline/base/kept_descriptor.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace lineedit {

static constexpr int lowest_number = 10;

// Where the layer's two descriptors are stored.
static int *keepers[2];

static void close_in_child() {
  for (int *kept : keepers) {
    if (kept == nullptr) continue;
    if (*kept >= 0) close(*kept);
    *kept = -1;
  }
}

static void remember(int *kept) {
  if (keepers[0] == nullptr) pthread_atfork(nullptr, nullptr, close_in_child);
  for (int *&keeper : keepers) {
    if (keeper == nullptr) keeper = kept;
    if (keeper == kept) return;
  }
}

void keep_descriptor(int made, int *kept) {
  remember(kept);
  *kept = -1;
  if (made < 0) return;
  *kept = fcntl(made, F_DUPFD_CLOEXEC, lowest_number);
  close(made);
}

}  // namespace lineedit
