// Overwriting freed memory, by means of glibc.
#include "editline/base/wipe.h"

#include <malloc.h>

#include <cstdlib>
#include <cstring>

namespace lineedit {

static struct { int depth; } wiping;

void begin_wiping() {
  if (wiping.depth++ == 0) mallopt(M_PERTURB, 0xff);
}

// Restores the setting that the process's environment asks for.
void end_wiping() {
  const char *asked = secure_getenv("MALLOC_PERTURB_");
  if (--wiping.depth == 0) mallopt(M_PERTURB, asked != nullptr ? atoi(asked) : 0);
}

// glibc caches up to seven blocks of each size, and does not apply M_PERTURB to them.
static void wipe_cached_blocks() {
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
  wipe_cached_blocks();
  wipe_stack();
}

}  // namespace lineedit
