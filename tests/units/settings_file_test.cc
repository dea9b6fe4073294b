// The user's own settings file.
#include "editline/commands/settings_file.h"

#include <unistd.h>

#include <clocale>
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

// --- What it holds -------------------------------------------------------------------------------

static void use_settings(const std::string &text) {
  char name[] = "/tmp/layer-settings-XXXXXX";
  const int file = mkstemp(name);
  EXPECT_EQ(write(file, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  close(file);
  setenv("EDITRC", name, 1);
  EXPECT_EQ(rl_initialize(), 0);
  unlink(name);
}

static const struct {
  const char *name;
  const char *settings;
} other_lines[] = {
    {"none", ""},
    {"a comment", "# bind ^G ed-delete-prev-char\n"},
    {"a comment behind blanks", "  \t# ?\n"},
    {"a line that the locale cannot decode", "bind -s ^O caf\351\n"},
    {"an unfinished quote", "don't\n"},
    {"a list of commands", "bind -l -e\n"},
    {"another program's keys", "another:bind -e\n"},
    {"a refused command", "bind ^G no-such-command\n"},
};

LAYER_TEST(UserSettings, OtherLinesLeaveABindingAlone) {
  for (const auto &row : other_lines) {
    SCOPED_TRACE(row.name);
    use_settings("bind ^P ed-move-to-beg\n" + std::string(row.settings) +
                 "bind ^G ed-move-to-beg\r\n");
    EXPECT_EQ(read_line({"b\020a\n"}), "ab");
    EXPECT_EQ(read_line({"b\aa\n"}), "ab");
  }
}

LAYER_TEST(UserSettings, ALineTooLongForTheEditorIsPassedOver) {
  use_settings("bind -s ^X " + std::string(5000, 'x') + "\nbind ^G ed-move-to-beg");
  EXPECT_EQ(read_line({"b\aa\n"}), "ab");
}

LAYER_TEST(UserSettings, AnUnknownCommandEndsThem) {
  use_settings("no-such-command\nbind ^P ed-move-to-beg\n");
  add_history("a line");
  EXPECT_EQ(read_line({"b\020\n"}), "a line");
}

LAYER_TEST(UserSettings, CanBeMissing) {
  unsetenv("EDITRC");
  for (const char *home : {"/no/such/folder", static_cast<const char *>(nullptr)}) {
    if (home != nullptr)
      setenv("HOME", home, 1);
    else
      unsetenv("HOME");
    EXPECT_EQ(rl_initialize(), 0);
    EXPECT_EQ(read_line({"line\n"}), "line");
  }
}

LAYER_TEST(UserSettings, ADigitThatTheUserHasBoundBeginsNoCount) {
  use_settings("bind ^[2 ed-move-to-beg\n");
  for (const char *line : {"first", "second"}) add_history(line);
  EXPECT_EQ(read_line({"\0332\020\n"}), "second");
  EXPECT_EQ(read_line({"ab\0332123456\n"}), "123456ab");
  EXPECT_EQ(read_line({"\0331\0332x\n"}), repeated("x", 12));
  EXPECT_EQ(read_line({"ab\0332c\n"}), "cab");
}

LAYER_TEST(UserSettings, ACountLeavesWhatTheUserHasBoundToADigit) {
  setlocale(LC_ALL, "C");  // where a digit's byte begins a count, too
  use_settings("bind ^[5 ed-move-to-beg\n");
  EXPECT_EQ(read_line({"\265x\n"}), "xxxxx");
  EXPECT_EQ(read_line({"abc\0335Z\n"}), "Zabc");
  use_settings("bind -r ^[5\n");
  EXPECT_EQ(read_line({"\265x\n"}), "xxxxx");
  EXPECT_EQ(read_line({"\0335x\n"}), "x");
  use_settings("bind -v\nbind -a ^[5 ed-move-to-beg\n");
  EXPECT_EQ(read_line({"abcdefgh\0330l5x\n"}), "agh");
}

LAYER_TEST(UserSettings, AKeyThatInsertsAgainIsPartOfAPattern) {
  use_settings("bind x ed-move-to-beg\nbind -e\n");
  add_history("exit");
  EXPECT_EQ(read_line({"\022ex\n"}), "exit");
}

// --- Commands that no key may run ----------------------------------------------------------------

// What is typed is "ab", the keys, and "c": the line goes on if they run nothing.
static const struct {
  const char *settings;
  const char *keys;
} closed_ways[] = {
    {"bind -v\n", "\033va"},
    {"bind -v\nbind -a v vi-histedit\n", "\033va"},
    {"bind -v\nbind -a : ed-command\n", "\033:a"},
    {"bind -z -v\n", "\033va"},
    {"bind - -v\n", "\033va"},
    {"testshell:bind -v\n", "\033va"},
    {"bind ^G vi-histedit\n", "\a"},
    {"bind ^G ed-command\n", "\a"},
    {"bind \"^G\" \"ed-comm\"and\n", "\a"},
    {"test*:bind ^G vi-histedit\n", "\a"},
    {"bind ^Xv vi-histedit\n", "\030v"},
    {"bind ^[x ed-command\n", "\033x"},
    {"bind -k up vi-histedit\n", "\033[A"},
    {"bind ^Xv vi-histedit\nbind -s ^G ^Xv\n", "\a"},
};

LAYER_TEST(UserSettings, MakeNoKeyRunAnotherProgramOrAnEditorCommand) {
  setenv("EDITOR", "true", 1);
  rl_readline_name = "testshell";
  for (const auto &row : closed_ways) {
    SCOPED_TRACE(row.settings);
    use_settings(row.settings);
    EXPECT_EQ(read_line({std::string("ab") + row.keys + "c\n"}).value_or("").substr(0, 2), "ab");
    EXPECT_EQ(unread_keys(), "");
  }
}

LAYER_TEST(UserSettings, ARefusedCommandLeavesTheKeyAsItWas) {
  use_settings("bind ^G ed-move-to-beg\n");
  for (const char *command : {"vi-histedit", "ed-command", "em-copy-prev-word"})
    EXPECT_EQ(rl_parse_and_bind((std::string("bind ^G ") + command).c_str()), 1) << command;
  EXPECT_EQ(read_line({"b\aa\n"}), "ab");
}

LAYER_TEST(UserSettings, ATextMayBeTheNameOfACommand) {
  use_settings("bind -s ^G ed-command\n");
  EXPECT_EQ(read_line({"\a\n"}), "ed-command");
}

// --- Keys that make a line grow ------------------------------------------------------------------

// Without a limit each of these makes a line of more than 10000 characters.
static const struct {
  const char *name;
  const char *settings;
  const char *before;
  const char *key;
  int times;
} growing_keys[] = {
    {"a count", "", "", "\0339999x", 3},
    {"a line killed and yanked twice", "", "", "x\025\031\031", 14},
    {"counts and yanks", "", "\0339999x", "\025\0339999\031\0339999\031", 2},
    {"vi's P", "bind -v\n", "ab\033", "0DPP", 14},
    {"a macro", "bind -s ^G 1234567890123456789012345678901234567890\n", "", "\a", 300},
    {"a count times four", "bind ^G em-universal-argument\n", "", "\a\a\a\a\a\a\ax", 1},
};

LAYER_TEST(GrowingKeys, BeepWhereTheLineWouldBecomeTooLong) {
  for (const auto &row : growing_keys) {
    SCOPED_TRACE(row.name);
    use_settings(row.settings);
    const std::string keys = row.before + repeated(row.key, row.times);
    EXPECT_LE(read_line({keys, "\n"}).value_or("").size(), 10000U);
    EXPECT_EQ(unread_keys(), "");
    pty_collect(&terminal);
    EXPECT_NE(terminal.shown.find('\a'), std::string::npos);
    terminal.shown.clear();
  }
}

LAYER_TEST(GrowingKeys, LeaveTheLineAndItsCursor) {
  EXPECT_EQ(read_line({"\0339999xab\002\0339999y|\n"}), repeated("x", 9999) + "a|b");
}

// Typed, pasted, recalled or completed, a line has any length.
LAYER_TEST(GrowingKeys, AreTheOnlyOnesWithALimit) {
  const std::string typed = repeated("x", 12000);
  const std::string recalled = repeated("y", 20000);
  add_history(recalled.c_str());
  EXPECT_EQ(read_line({typed + "\n"}), typed);
  EXPECT_EQ(read_line({"\020z\n"}), recalled + "z");
  on_command_key([&] { rl_insert_text(typed.c_str()); });
  EXPECT_EQ(read_line({typed + command_key "\n"}), typed + typed);
  EXPECT_EQ(read_line({typed + " /dev/nul\t\n"}), typed + " /dev/null ");
}

LAYER_TEST(GrowingKeys, BringBackAKilledLineOfAnyLengthOnce) {
  const std::string typed = repeated("x", 12000);
  EXPECT_EQ(read_line({typed + "\025\031\031\n"}), typed);
  EXPECT_EQ(read_line({"\031\n"}), typed);
}

// --- vi's keys -----------------------------------------------------------------------------------

static const struct {
  const char *name;
  const char *keys;
  const char *line;
} vi_lines[] = {
    {"minus goes on from where k went", "\033k-\n", "second"},
    {"plus comes back", "\033kk+\n", "third"},
    {"the end of an empty line, then a search", "\033$K\n", "third"},
    {"the end of an empty line, then text", "\033$iabc\n", "abc"},
    {"a search", "\022fir\n", "first"},
    {"a count", "\0332k\n", "second"},
    {"a count after a command", "\033k2k\n", "first"},
    {"a count after another", "\0331k2k\n", "first"},
    {"a count of two digits",
     "abcdefghijklmno\0330"
     "12xi|\n",
     "|mno"},
    {"a count for an operator", "one two three\0330d2wi|\n", "|three"},
    {"a count of an operator", "one two three\03302dwi|\n", "|three"},
    {"what was deleted is put after an empty line", "abc\0330Dkjp\n", "abc"},
    {"a search", "\033/fi\r\n", "first"},
    {"a search, and on", "\033/s\rn\n", "first"},
    {"a search, on, and back", "\033/s\rnN\n", "second"},
    {"a search for newer lines", "\033G?i\r\n", "third"},
    {"no next line", "\033/ec\rn\n", "second"},
    // libedit took it for a regular expression: some keep it busy for minutes.
    {"a search for text", "\033/f.*t\raabc\n", "abc"},
    {"a search for what is slow", "\033/\\(e*\\)*\\(e*\\)*\\1x\rnnnnaabc\n", "abc"},
    {"a search that is given up", "\033/fi\a\n", ""},
    {"the oldest line", "\033G\n", "first"},
    {"a line by its number", "\0332G\n", "second"},
    {"a line by its number, and on", "\0332Gj\n", "third"},
    {"no line of that number", "\033k9G\n", "third"},
    {"bytes with the eighth bit", "gr\303\266\303\237e\n", "gr\303\266\303\237e"},
};

LAYER_TEST(ViKeys, DoAsTheyDoElsewhere) {
  testing::internal::CaptureStderr();
  use_settings("bind -v\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  for (const char *line : {"first", "second", "third"}) add_history(line);
  for (const auto &row : vi_lines) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(read_line({row.keys}), row.line);
  }
}
