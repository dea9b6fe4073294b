// The user's own settings.
#include "editline/commands/settings_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "editline/commands/bindings.h"

namespace lineedit {

// A process with another user's rights reads no file of its caller's.
static FILE *open_settings_file() {
  const char *named = secure_getenv("EDITRC");
  if (named != nullptr) return fopen(named, "re");
  const char *home = secure_getenv("HOME");
  if (home == nullptr) return nullptr;
  char *name = nullptr;
  if (asprintf(&name, "%s/.editrc", home) < 0) return nullptr;
  FILE *file = fopen(name, "re");
  free(name);
  return file;
}

// libedit 3.1-20221030 takes the words of a line into buffers of 1024 characters: a longer word is
// written beyond them, and the process dies.
static constexpr size_t longest_line = 1000;

// Passed over as well: a line that the locale cannot decode.
static bool says_nothing(const char *line) {
  if (strlen(line) > longest_line || mbstowcs(nullptr, line, 0) == static_cast<size_t>(-1))
    return true;
  line += strspn(line, " \t\f\v");
  return *line == '\0' || *line == '#';
}

void read_settings_file() {
  FILE *file = open_settings_file();
  if (file == nullptr) return;
  char *line = nullptr;
  size_t size = 0;
  bool known = true;
  while (known && getline(&line, &size, file) >= 0) {
    line[strcspn(line, "\r\n")] = '\0';
    known = says_nothing(line) || run_editor_command(line) != -1;
  }
  free(line);
  fclose(file);
}

}  // namespace lineedit
