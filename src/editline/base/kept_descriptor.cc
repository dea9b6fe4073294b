// Descriptors that the layer keeps open from line to line.
#include "editline/base/kept_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace lineedit {

// What is behind a descriptor, as the kernel names it: "anon_inode:inotify". Empty if it does not
// tell.
struct FileName {
  char text[64];
};

// Where the layer's descriptors are stored, and what they were when they were made.
static struct Keeper {
  int *kept;
  FileName made;
} keepers[2];

static FileName name_behind(int descriptor) {
  char link[32];
  FileName name = {};
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  if (readlink(link, name.text, sizeof name.text - 1) < 0) name.text[0] = '\0';
  return name;
}

static bool is_still_ours(const Keeper *keeper) {
  const FileName name = name_behind(*keeper->kept);
  return name.text[0] != '\0' && strcmp(name.text, keeper->made.text) == 0;
}

// The process may have closed the descriptor and opened a file of its own under the number.
void close_kept_descriptors() {
  for (const Keeper &keeper : keepers) {
    if (keeper.kept == nullptr) continue;
    if (*keeper.kept >= 0 && is_still_ours(&keeper)) close(*keeper.kept);
    *keeper.kept = -1;
  }
}

static void remember(int *kept) {
  for (Keeper &keeper : keepers) {
    if (keeper.kept == nullptr) keeper.kept = kept;
    if (keeper.kept != kept) continue;
    keeper.made = name_behind(*kept);
    return;
  }
}

int move_descriptor(int made, int lowest) {
  if (made < 0 || made >= lowest) return made;
  const int moved = fcntl(made, F_DUPFD_CLOEXEC, lowest);
  close(made);
  return moved;
}

void keep_descriptor(int made, int *kept) {
  *kept = move_descriptor(made, 10);
  remember(kept);
}

}  // namespace lineedit
