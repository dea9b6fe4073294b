// Overwriting freed memory, with glibc's own means.
#include "editline/base/wipe.h"

#include <malloc.h>

#include <cstdlib>
#include <cstring>

namespace lineedit {

static struct { int depth; } wiping;

void begin_wiping() {
  if (wiping.depth++ == 0) mallopt(M_PERTURB, 0xff);
}

void end_wiping() {
  if (--wiping.depth == 0) mallopt(M_PERTURB, 0);
}

// The C library keeps up to seven blocks of each size at hand, and does not perturb them.
static void wipe_blocks_at_hand() {
  void *blocks[7];
  for (size_t size = 24; size <= 1032; size += 16) {
    for (void *&block : blocks) {
      block = malloc(size);
      if (block != nullptr) explicit_bzero(block, size);
    }
    for (void *block : blocks) free(block);
  }
}

__attribute__((noinline)) static void wipe_stack() {
  char below[1 << 16];
  explicit_bzero(below, sizeof below);
}

void wipe_freed_memory() {
  wipe_blocks_at_hand();
  wipe_stack();
}

}  // namespace lineedit
