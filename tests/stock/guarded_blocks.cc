// malloc and its relatives, in front of the C library's.
#include "guarded_blocks.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

// Whole pages on every machine.
static constexpr size_t margin = size_t{1} << 16;
static constexpr size_t slot_size = size_t{1} << 20;
static constexpr size_t slot_count = 256;
static constexpr size_t smallest = 1024;
static constexpr size_t largest = slot_size - 2 * margin;

// Each block has a slot, which nobody else gets afterwards. There is one thread.
static struct {
  Guard guard;
  char *slots;
  size_t sizes[slot_count];
  size_t count;
} guarded;

void guard_blocks(Guard guard) {
  const int flags = MAP_PRIVATE | MAP_ANONYMOUS;
  // cppcheck-suppress invalidFunctionArg  // -1 is for memory without a file
  void *slots = mmap(nullptr, slot_count * slot_size, PROT_NONE, flags, -1, 0);
  if (slots == MAP_FAILED) _exit(1);
  guarded.slots = static_cast<char *>(slots);
  guarded.guard = guard;
}

static bool wants_guard(size_t size) {
  return guarded.guard != Guard::none && size >= smallest && size <= largest;
}

static bool is_guarded(const void *block) {
  return guarded.slots != nullptr && block >= guarded.slots &&
         block < guarded.slots + slot_count * slot_size;
}

static size_t slot_of(const void *block) {
  return static_cast<size_t>(static_cast<const char *>(block) - guarded.slots) / slot_size;
}

static void *allocate_guarded(size_t size) {
  constexpr size_t unit = alignof(max_align_t);
  if (guarded.count == slot_count) _exit(1);
  char *start = guarded.slots + guarded.count * slot_size + margin;
  const size_t pages = (size + margin - 1) / margin * margin;
  mprotect(start, pages, PROT_READ | PROT_WRITE);
  guarded.sizes[guarded.count++] = size;
  return guarded.guard == Guard::behind ? start + (pages - size) / unit * unit : start;
}

// --- For everybody -------------------------------------------------------------------------------

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void __libc_free(void *block);
}

#define FOR_EVERYBODY extern "C" __attribute__((visibility("default")))

FOR_EVERYBODY void *malloc(size_t size) noexcept {
  return wants_guard(size) ? allocate_guarded(size) : __libc_malloc(size);
}

FOR_EVERYBODY void *calloc(size_t count, size_t size) noexcept {
  return wants_guard(count * size) ? allocate_guarded(count * size) : __libc_calloc(count, size);
}

FOR_EVERYBODY void free(void *block) noexcept {
  if (is_guarded(block))
    mprotect(guarded.slots + slot_of(block) * slot_size, slot_size, PROT_NONE);
  else
    __libc_free(block);
}

// A block that is not guarded stays so.
FOR_EVERYBODY void *realloc(void *block, size_t size) noexcept {
  if (block == nullptr) return malloc(size);
  if (!is_guarded(block)) return __libc_realloc(block, size);
  void *other = malloc(size);
  memcpy(other, block, std::min(size, guarded.sizes[slot_of(block)]));
  free(block);
  return other;
}
