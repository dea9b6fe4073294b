// A locale that a test builds.
#include "built_locale.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

static struct {
  std::string folder;
  std::string name;
} built;

bool build_locale(const char *source, const char *charmap) {
  char folder[] = "/tmp/locale-XXXXXX";
  if (mkdtemp(folder) == nullptr) return false;
  built.folder = folder;
  built.name = std::string(source) + '.' + charmap;
  setenv("LOCPATH", folder, 1);
  const std::string command = std::string("localedef -i ") + source + " -f " + charmap + ' ' +
                              folder + '/' + built.name + " > " + folder + "/log 2>&1";
  const bool made = system(command.c_str()) == 0;
  if (!made) remove_built_locale();
  return made;
}

const char *built_locale() { return built.name.c_str(); }

void remove_built_locale() {
  unsetenv("LOCPATH");
  std::error_code ignored;
  std::filesystem::remove_all(built.folder, ignored);
}
