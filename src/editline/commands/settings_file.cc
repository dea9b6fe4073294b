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

static bool says_nothing(const char *line) {
  line += strspn(line, " \t\r\f\v");
  return *line == '\0' || *line == '#';
}

void read_settings_file() {
  FILE *file = open_settings_file();
  if (file == nullptr) return;
  char *line = nullptr;
  size_t size = 0;
  bool known = true;
  while (known && getline(&line, &size, file) >= 0) {
    line[strcspn(line, "\n")] = '\0';
    known = says_nothing(line) || run_editor_command(line) != -1;
  }
  free(line);
  fclose(file);
}

}  // namespace lineedit
