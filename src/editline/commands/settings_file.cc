// The user's settings file.
#include "editline/commands/settings_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "editline/commands/bindings.h"

namespace lineedit {

// secure_getenv: a set-user-ID process must not read a file that its caller names.
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

// libedit 3.1-20221030 copies the words of a line into buffers of 1024 characters. A longer word
// overflows them, and the process crashes.
static constexpr size_t longest_line = 1000;

// Blank lines and comments are skipped, and lines that are too long or that the locale cannot
// decode.
static bool is_skipped(const char *line) {
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
    known = is_skipped(line) || run_editor_command(line) != -1;
  }
  free(line);
  fclose(file);
}

}  // namespace lineedit
