// Completion: the "rl_complete" command, its hook, and what it records.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

// What the hook saw at its latest call, and what it does.
static struct {
  int calls;
  std::string word;
  int start;
  int end;
  int key;
  PublishedLine line;
  int over;
  std::function<char **()> answer;
} hook;

static char **completion_hook(const char *word, int start, int end) {
  ++hook.calls;
  hook.word = word;
  hook.start = start;
  hook.end = end;
  hook.key = rl_completion_invoking_key;
  hook.line = published_line();
  rl_attempted_completion_over = hook.over;
  return hook.answer ? hook.answer() : nullptr;
}

static void install_hook() {
  hook.over = 1;
  rl_attempted_completion_function = completion_hook;
}

static void expect_word(const char *word, int start, int end) {
  EXPECT_EQ(hook.word, word);
  EXPECT_EQ(hook.start, start);
  EXPECT_EQ(hook.end, end);
}

LAYER_TEST(Completion, TabCallsTheHookWithTheWordBeforeTheCursor) {
  install_hook();
  EXPECT_EQ(read_line({"show ver\t\n"}), "show ver");
  EXPECT_EQ(hook.calls, 1);
  expect_word("ver", 5, 8);
}

static const struct {
  const char *keys;
  const char *word;
  int start;
  int end;
} words[] = {
    {"", "", 0, 0},
    {"sh", "sh", 0, 2},
    {"sh ", "", 3, 3},
    {"sh ver\002\002", "v", 3, 4},
    {"sh ver\001", "", 0, 0},
    {"a=b;c", "c", 4, 5},
    {"one,two", "one,two", 0, 7},
};

LAYER_TEST(Completion, TheWordEndsAtTheCursorAndStartsAfterABreak) {
  install_hook();
  for (const auto &row : words) {
    SCOPED_TRACE(row.keys);
    ASSERT_TRUE(read_line({row.keys, "\t\n"}).has_value());
    expect_word(row.word, row.start, row.end);
  }
}

LAYER_TEST(Completion, TheOffsetsOfTheWordAreInCharacters) {
  install_hook();
  on_command_key([] { rl_insert_text("äö üx"); });
  EXPECT_EQ(read_line({command_key "\t\n"}), "äö üx");
  expect_word("üx", 3, 5);
}

LAYER_TEST(Completion, TheLineIsPublishedBeforeTheHook) {
  install_hook();
  EXPECT_EQ(read_line({"sh ver\002\002\t\n"}), "sh ver");
  expect_line(hook.line, "sh ver", 4, 6);
}

LAYER_TEST(Completion, RecordsTheKeyBeforeTheHook) {
  install_hook();
  EXPECT_EQ(rl_completion_invoking_key, 0);
  ASSERT_EQ(rl_parse_and_bind("bind ? rl_complete"), 0);
  EXPECT_EQ(read_line({"ab\t\n"}), "ab");
  EXPECT_EQ(hook.key, '\t');
  EXPECT_EQ(read_line({"ab?\n"}), "ab");
  EXPECT_EQ(hook.key, '?');
  EXPECT_EQ(rl_completion_invoking_key, '?');
}

LAYER_TEST(Completion, TheHookEditsTheLine) {
  install_hook();
  hook.answer = [] {
    rl_point = rl_end;
    rl_insert_text("sion");
    return static_cast<char **>(nullptr);
  };
  EXPECT_EQ(read_line({"sh ver\001\t|\n"}), "sh version|");
}

LAYER_TEST(Completion, TheOverFlagIsClearedAfterwards) {
  install_hook();
  EXPECT_EQ(read_line({"ab\t\n"}), "ab");
  EXPECT_EQ(rl_attempted_completion_over, 0);
}

LAYER_TEST(Completion, WithNoWaitingLineInitialisesAndCallsTheHook) {
  install_hook();
  EXPECT_EQ(rl_complete(0, '?'), CC_NORM);
  EXPECT_NE(get_history(), nullptr);
  EXPECT_EQ(hook.calls, 1);
  EXPECT_EQ(hook.key, '?');
  expect_word("", 0, 0);
  expect_line(hook.line, "", 0, 0);
}

// --- The editor's own completion -----------------------------------------------------------------

// Makes a folder with one file, "alphabet", the current one. Returns its path.
static std::string enter_folder_with_a_file() {
  char path[] = "/tmp/layer-completion-XXXXXX";
  EXPECT_NE(mkdtemp(path), nullptr);
  EXPECT_EQ(chdir(path), 0);
  const int file = open("alphabet", O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  EXPECT_GE(file, 0);
  close(file);
  return path;
}

static void remove_folder_with_a_file(const std::string &path) {
  unlink("alphabet");
  rmdir(path.c_str());
}

static std::string completed_file_name() {
  const std::string folder = enter_folder_with_a_file();
  const auto line = read_line({"alph\t\n"});
  remove_folder_with_a_file(folder);
  return line.value_or("(null)").substr(0, 8);
}

LAYER_TEST(Completion, WithoutAHookCompletesFileNames) {
  EXPECT_EQ(completed_file_name(), "alphabet");
}

LAYER_TEST(Completion, TheLineIsDrawnBelowAListOfFileNames) {
  const std::string folder = enter_folder_with_a_file();
  ASSERT_EQ(link("alphabet", "alphanum"), 0);
  EXPECT_EQ(read_line({"alpha\t\t\n"}), "alpha");
  unlink("alphanum");
  remove_folder_with_a_file(folder);
  pty_collect(&terminal);
  const size_t list = terminal.shown.find("alphabet  alphanum");
  ASSERT_NE(list, std::string::npos) << terminal.shown;
  EXPECT_NE(terminal.shown.find("> alpha", list), std::string::npos) << terminal.shown;
}

LAYER_TEST(Completion, FileNamesFollowAHookThatHasNoAnswer) {
  install_hook();
  hook.over = 0;
  EXPECT_EQ(completed_file_name(), "alphabet");
  EXPECT_EQ(hook.calls, 1);
}

LAYER_TEST(Completion, NoFileNamesFollowAHookThatSaysOver) {
  install_hook();
  EXPECT_EQ(completed_file_name(), "alph");
}

LAYER_TEST(Completion, NoFileNamesFollowAHookThatReturnsAList) {
  install_hook();
  hook.over = 0;
  hook.answer = [] {
    auto **list = static_cast<char **>(calloc(3, sizeof(char *)));
    list[0] = strdup("alphabetical");
    list[1] = strdup("alphanumeric");
    return list;
  };
  EXPECT_EQ(completed_file_name(), "alph");
}

// --- Inhibited -----------------------------------------------------------------------------------

LAYER_TEST(Completion, InhibitedInsertsTheKeyAndRecordsNothing) {
  install_hook();
  rl_inhibit_completion = 1;
  EXPECT_EQ(read_line({"ab\tcd\n"}), "ab\tcd");
  EXPECT_EQ(hook.calls, 0);
  EXPECT_EQ(rl_completion_invoking_key, 0);
}

LAYER_TEST(Completion, InhibitedInsertsACharacterOfSeveralBytesToo) {
  rl_inhibit_completion = 1;
  EXPECT_EQ(rl_parse_and_bind("bind \"\\351\" rl_complete"), 0);
  EXPECT_EQ(read_line({"abé|\n"}), "abé|");
}

LAYER_TEST(Completion, InhibitedReturnsTheRefreshStatus) {
  rl_completion_invoking_key = 'k';
  rl_inhibit_completion = 1;
  int returned = -1;
  on_command_key([&] { returned = rl_complete(0, '?'); });
  EXPECT_EQ(read_line({"ab" command_key "|\n"}), "ab?|");
  EXPECT_EQ(returned, 4);
  EXPECT_EQ(rl_completion_invoking_key, 'k');
}

LAYER_TEST(Completion, InhibitedInitialisesToo) {
  rl_inhibit_completion = 1;
  EXPECT_EQ(rl_complete(0, '?'), 4);
  EXPECT_NE(get_history(), nullptr);
}

LAYER_TEST(Completion, AHookThatAnsweredLeavesTheEditorInItsNormalState) {
  install_hook();
  int returned = -1;
  on_command_key([&] { returned = rl_complete(0, 'k'); });
  EXPECT_EQ(read_line({"ab" command_key "\n"}), "ab");
  EXPECT_EQ(returned, CC_NORM);
  EXPECT_EQ(hook.key, 'k');
}

// --- Ending the read -----------------------------------------------------------------------------

LAYER_TEST(Completion, RlDoneInTheHookEndsTheReadAtOnce) {
  install_hook();
  hook.answer = [] {
    rl_done = 1;
    return static_cast<char **>(nullptr);
  };
  EXPECT_EQ(read_line({"ab\tcd\n"}), std::nullopt);
  EXPECT_EQ(unread_keys(), "cd\n");
  EXPECT_EQ(hook.calls, 1);
  EXPECT_EQ(read_next_line(), "cd");
}

LAYER_TEST(Completion, RlDoneDropsTheRestOfABoundText) {
  install_hook();
  hook.answer = [] {
    rl_done = 1;
    return static_cast<char **>(nullptr);
  };
  rl_parse_and_bind("bind -s ^O a\tb");
  EXPECT_EQ(read_line({"\017"}), std::nullopt);
  set_script({"cd\n"});
  EXPECT_EQ(read_next_line(), "cd");
}

LAYER_TEST(Completion, RlDoneEndsTheReadAlsoWhenInhibited) {
  rl_inhibit_completion = 1;
  EXPECT_EQ(read_line({"ab", [] { rl_done = 1; }, "\tcd\n"}), std::nullopt);
  EXPECT_EQ(unread_keys(), "cd\n");
}

LAYER_TEST(Completion, TheTerminalHasItsSettingsBackAfterAReadThatRlDoneEnded) {
  install_hook();
  hook.answer = [] {
    rl_done = 1;
    return static_cast<char **>(nullptr);
  };
  const struct termios before = pty_settings(&terminal);
  EXPECT_EQ(read_line({"ab\t"}), std::nullopt);
  EXPECT_EQ(difference(before, pty_settings(&terminal)), "");
}
