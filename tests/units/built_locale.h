// A locale that a test builds, where the system has only C and UTF-8.
#pragma once

// Builds the locale with localedef in a new folder, in which the C library looks from now on.
// Returns false where localedef or its sources are missing. The name of a built locale is valid
// until the next one is built.
bool build_locale(const char *source, const char *charmap);
const char *built_locale();
// The C library looks where it did before.
void remove_built_locale();
