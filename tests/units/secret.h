// A secret to type, and a search of this process's memory for what is left of it.
//
// The process that types the secret is the one that is searched, so it must not hold the secret
// itself: its characters are computed one at a time.
#pragma once

#include <cstddef>

constexpr size_t secret_length = 40;

// A letter. No eight of them come twice.
char secret_character(size_t i);

// Calls `use` with the secret, `count` times over, as a string. The string is wiped after that.
void with_secret(size_t count, void (*use)(const char *secret));

// How many pieces of the secret are in memory that can be written, as bytes or as wide characters.
// The first ones are printed on stderr. A piece has eight characters or more: what malloc writes
// into freed memory covers the beginning.
int pieces_of_secret_in_memory();

// The tests that search are left out where a checker of addresses keeps freed memory as it was.
#if defined(__SANITIZE_ADDRESS__)
#define FREED_MEMORY_IS_KEPT
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define FREED_MEMORY_IS_KEPT
#endif
#endif
