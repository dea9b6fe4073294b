// A secret to type, and a search of this process's memory for what is left of it.
#include "secret.h"

#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static constexpr size_t piece_length = 8;

// The mappings of the process, as text. Not on the heap, which must not change while it is
// searched.
static char mappings[1 << 18];

char secret_character(size_t i) {
  uint32_t mixed = (static_cast<uint32_t>(i % secret_length) + 1) * 2654435761U;
  mixed = (mixed ^ (mixed >> 15U)) % 52;
  return static_cast<char>(mixed < 26 ? 'a' + mixed : 'A' + (mixed - 26));
}

void with_secret(size_t count, void (*use)(const char *secret)) {
  const size_t length = count * secret_length;
  char *secret = static_cast<char *>(malloc(length + 1));
  for (size_t i = 0; i < length; ++i) secret[i] = secret_character(i);
  secret[length] = '\0';
  use(secret);
  explicit_bzero(secret, length);
  free(secret);
}

// --- Searching -----------------------------------------------------------------------------------

template <typename Character>
static bool has_piece_from(const Character *at, size_t from) {
  size_t length = 0;
  while (length < piece_length && from + length < secret_length &&
         at[length] == static_cast<Character>(secret_character(from + length)))
    ++length;
  return length == piece_length;
}

template <typename Character>
static bool has_piece(const Character *at) {
  if (at[0] < 'A' || at[0] > 'z') return false;
  for (size_t from = 0; from + piece_length <= secret_length; ++from)
    if (has_piece_from(at, from)) return true;
  return false;
}

template <typename Character>
static int count_pieces(uintptr_t begin, uintptr_t end, const char *kind, const char *mapping) {
  const Character *const stop = reinterpret_cast<const Character *>(end) - piece_length;
  int count = 0;
  for (const Character *at = reinterpret_cast<const Character *>(begin); at <= stop; ++at) {
    if (!has_piece(at)) continue;
    if (++count <= 3)
      fprintf(stderr, "  %s of the secret at %p: %s\n", kind, static_cast<const void *>(at),
              mapping);
    at += piece_length - 1;
  }
  return count;
}

static int count_pieces_in(const char *mapping) {
  uintptr_t begin = 0;
  uintptr_t end = 0;
  char rights[5] = "";
  if (sscanf(mapping, "%lx-%lx %4s", &begin, &end, rights) != 3) return 0;
  if (strncmp(rights, "rw", 2) != 0) return 0;
  return count_pieces<char>(begin, end, "bytes", mapping) +
         count_pieces<wchar_t>(begin, end, "characters", mapping);
}

static void read_mappings() {
  const int fd = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  size_t size = 0;
  ssize_t got = 0;
  while ((got = read(fd, mappings + size, sizeof mappings - 1 - size)) > 0)
    size += static_cast<size_t>(got);
  mappings[size] = '\0';
  close(fd);
}

int pieces_of_secret_in_memory() {
  int count = 0;
  char *rest = nullptr;
  read_mappings();
  for (const char *mapping = strtok_r(mappings, "\n", &rest); mapping != nullptr;
       mapping = strtok_r(nullptr, "\n", &rest))
    count += count_pieces_in(mapping);
  return count;
}
