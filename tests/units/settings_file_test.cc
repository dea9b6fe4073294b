// The user's own settings file.
#include "editline/commands/settings_file.h"

#include <unistd.h>

#include <cstdlib>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

// Writes "NAME:bind ^G ed-move-to-beg" to a file of that name in a new folder. Returns the folder.
static std::string write_settings(const std::string &application, const char *file_name) {
  char folder[] = "/tmp/layer-settings-XXXXXX";
  EXPECT_NE(mkdtemp(folder), nullptr);
  const std::string path = std::string(folder) + '/' + file_name;
  FILE *file = fopen(path.c_str(), "w");
  fprintf(file, "%s:bind ^G ed-move-to-beg\n", application.c_str());
  fclose(file);
  return folder;
}

static void remove_settings(const std::string &folder, const char *file_name) {
  unlink((folder + '/' + file_name).c_str());
  rmdir(folder.c_str());
}

static std::string line_of_a_new_editor() {
  EXPECT_EQ(rl_initialize(), 0);
  return read_line({"ab\ac\n"}).value_or("(null)");
}

LAYER_TEST(UserSettings, AreReadFromTheHomeFolder) {
  const std::string folder = write_settings("testshell", ".editrc");
  setenv("HOME", folder.c_str(), 1);
  rl_readline_name = "testshell";
  EXPECT_EQ(line_of_a_new_editor(), "cab");
  remove_settings(folder, ".editrc");
}

LAYER_TEST(UserSettings, AreReadFromTheFileThatTheEnvironmentNames) {
  const std::string folder = write_settings("testshell", "settings");
  setenv("EDITRC", (folder + "/settings").c_str(), 1);
  rl_readline_name = "testshell";
  EXPECT_EQ(line_of_a_new_editor(), "cab");
  remove_settings(folder, "settings");
}

LAYER_TEST(UserSettings, AreForTheNameThatTheEditorWasMadeUnder) {
  const std::string folder = write_settings("testshell", ".editrc");
  setenv("HOME", folder.c_str(), 1);
  EXPECT_EQ(line_of_a_new_editor(), "abc");
  rl_readline_name = "testshell";  // too late for this editor
  EXPECT_EQ(read_line({"ab\ac\n"}), "abc");
  EXPECT_EQ(line_of_a_new_editor(), "cab");
  rl_readline_name = "othershell";
  EXPECT_EQ(line_of_a_new_editor(), "abc");
  remove_settings(folder, ".editrc");
}
