// Descriptors that the layer keeps open from line to line.
#include "kept_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

namespace lineedit {

static constexpr int lowest_number = 10;

int keep_descriptor(int made) {
  if (made < 0) return -1;
  const int kept = fcntl(made, F_DUPFD_CLOEXEC, lowest_number);
  close(made);
  return kept;
}

}  // namespace lineedit
