// The locale of the editor: which it is, and that the application does not notice.
#include <langinfo.h>
#include <pthread.h>
#include <unistd.h>

#include <clocale>
#include <csetjmp>
#include <cstdlib>
#include <cstring>

#include "built_locale.h"
#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

// The application has set no locale, and the environment names this one.
static void set_environment_only(const char *name) {
  setlocale(LC_ALL, "C");
  setenv("LC_ALL", name, 1);
}

static const char utf8[] = "UTF-8";
static const char ascii[] = "ANSI_X3.4-1968";

// The encoding that the calling thread has at this moment.
static std::string codeset() { return nl_langinfo(CODESET); }

// Whether the thread and the process are as they were before the first call.
static void expect_c_locale() {
  EXPECT_EQ(codeset(), ascii);
  EXPECT_STREQ(setlocale(LC_CTYPE, nullptr), "C");
  EXPECT_EQ(uselocale(nullptr), LC_GLOBAL_LOCALE);
}

// Whether the editor's locale has these two letters as characters: one key moves over each.
static bool edits_as_characters(const std::string &two) {
  return read_line({two + "\002\002|\006\177\n"}) == "|" + two.substr(two.size() / 2);
}

// --- Which one -----------------------------------------------------------------------------------

LAYER_TEST(Locale, IsTheEnvironmentsWhereTheApplicationHasSetNone) {
  set_environment_only("C.UTF-8");
  EXPECT_TRUE(edits_as_characters("äö"));
  expect_c_locale();
}

LAYER_TEST(Locale, IsTheApplicationsWhereItHasSetOne) {
  EXPECT_TRUE(edits_as_characters("äö"));
  EXPECT_EQ(codeset(), utf8);
  EXPECT_EQ(uselocale(nullptr), LC_GLOBAL_LOCALE);
}

LAYER_TEST(Locale, IsTheThreadsWhereItHasItsOwn) {
  setlocale(LC_ALL, "C");
  const locale_t own = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  uselocale(own);
  EXPECT_TRUE(edits_as_characters("äö"));
  EXPECT_EQ(uselocale(LC_GLOBAL_LOCALE), own);
  freelocale(own);
}

LAYER_TEST(Locale, IsCWhereTheEnvironmentsIsNotInstalled) {
  set_environment_only("xx_XX.UTF-8");
  testing::internal::CaptureStderr();
  EXPECT_EQ(read_line({"a\026\303\026\244\177|\n"}), "a\303|");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  expect_c_locale();
}

LAYER_TEST(Locale, IsLookedUpAgainByANewSetUp) {
  set_environment_only("C.UTF-8");
  EXPECT_TRUE(edits_as_characters("äö"));
  setenv("LC_ALL", "C", 1);
  EXPECT_TRUE(edits_as_characters("äö"));
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(read_line({"\026\303\026\244\177|\n"}), "\303|");
  setlocale(LC_ALL, "C.UTF-8");
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_TRUE(edits_as_characters("äö"));
}

// The two letters differ in one byte.
static const struct {
  const char *name;
  const char *source;
  const char *charmap;
  const char *letters;
} eight_bit[] = {
    {"ISO-8859-1", "de_DE", "ISO-8859-1", "\344\360"},
    {"ISO-8859-15", "de_DE", "ISO-8859-15", "\244\270"},
    {"KOI8-R", "ru_RU", "KOI8-R", "\320\322"},
};

static int which;

static void edit_in_eight_bits() {
  set_environment_only(built_locale());
  EXPECT_TRUE(edits_as_characters(eight_bit[which].letters));
  std::string all;
  for (int byte = 128; byte < 255; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(read_line({all, "\n"}), all);
  expect_c_locale();
}

TEST(Locale, OfEightBitsIsTheEnvironmentsToo) {
  for (which = 0; which < 3; ++which) {
    SCOPED_TRACE(eight_bit[which].name);
    if (!build_locale(eight_bit[which].source, eight_bit[which].charmap))
      GTEST_SKIP() << "localedef or its sources (Debian: locales) are missing";
    run_in_own_session(edit_in_eight_bits);
    remove_built_locale();
  }
}

// --- Where it is in force ------------------------------------------------------------------------

static struct { std::string seen; } callback;

static void call_of_application() {
  callback.seen += codeset() + ' ';
  rl_parse_and_bind("bind ^X ed-move-to-beg");
  callback.seen += codeset() + ' ';
}

static void apply_result() { callback.seen += codeset(); }

LAYER_TEST(Locale, OfTheApplicationIsInForceInItsCallbacks) {
  set_environment_only("C.UTF-8");
  on_command_key([] { run_callback(call_of_application, apply_result, false); });
  EXPECT_EQ(read_line({"a" command_key "ä\002\177\030|\n"}), "|ä");
  EXPECT_EQ(callback.seen, std::string(ascii) + ' ' + ascii + ' ' + utf8);
  expect_c_locale();
}

static void *see_codeset(void *seen) {
  *static_cast<std::string *>(seen) = codeset();
  return nullptr;
}

LAYER_TEST(Locale, OfOtherThreadsStaysWhileALineIsRead) {
  std::string seen;
  set_environment_only("C.UTF-8");
  const auto ask_thread = [&] {
    pthread_t thread;
    pthread_create(&thread, nullptr, see_codeset, &seen);
    pthread_join(thread, nullptr);
  };
  EXPECT_EQ(read_line({"ä", ask_thread, "\n"}), "ä");
  EXPECT_EQ(seen, ascii);
}

LAYER_TEST(Locale, OfTheThreadIsItsOwnAgainAfterEachCall) {
  set_environment_only("C.UTF-8");
  const locale_t own = newlocale(LC_CTYPE_MASK, "C", nullptr);
  ASSERT_EQ(rl_initialize(), 0);
  expect_c_locale();
  uselocale(own);
  rl_insert_text("ä");
  rl_delete_text(0, 1);
  rl_forced_update_display();
  rl_parse_and_bind("bind -s ^X ä");
  rl_parse_and_bind("no-such-command");
  EXPECT_EQ(read_line({"\030ö\n"}), "äö");
  EXPECT_EQ(read_line({""}), std::nullopt);
  EXPECT_EQ(uselocale(LC_GLOBAL_LOCALE), own);
}

LAYER_TEST(Locale, OfTheEditorIsInForceForText) {
  PublishedLine line = {};
  set_environment_only("C.UTF-8");
  on_command_key([&] {
    rl_insert_text("ä€");
    line = published_line();
  });
  EXPECT_EQ(read_line({"x" command_key "\177\n"}), "xä");
  expect_line(line, "xä€", 3, 3);
}

// --- Ways out ------------------------------------------------------------------------------------

static sigjmp_buf beginning;
static std::string seen_by_handler;

static void jump_out(int) {
  seen_by_handler = codeset();
  siglongjmp(beginning, 1);
}

static void note_codeset(int) { seen_by_handler = codeset(); }

static void send_interrupt() {
  pthread_kill(pthread_self(), SIGINT);
  wait_for_signal();
}

LAYER_TEST(Locale, OfTheApplicationIsInForceAfterAJump) {
  set_environment_only("C.UTF-8");
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  set_handler(SIGINT, jump_out);
  block_signals(&interrupt);
  if (sigsetjmp(beginning, 1) == 0) read_line({"ä", send_interrupt, "\n"});
  EXPECT_EQ(seen_by_handler, ascii);
  expect_c_locale();
  unblock_signals();
  EXPECT_TRUE(edits_as_characters("äö"));
  expect_c_locale();
}

LAYER_TEST(Locale, OfTheApplicationIsInForceInItsHandlers) {
  set_environment_only("C.UTF-8");
  set_handler(SIGINT, note_codeset);
  EXPECT_EQ(read_line({"ä", send_interrupt, "ö\177\n"}), "ä");
  EXPECT_EQ(seen_by_handler, ascii);
  expect_c_locale();
}

// A signal that comes while the line ends is let in after it.
LAYER_TEST(Locale, OfTheApplicationIsInForceInAHandlerAfterTheLine) {
  set_environment_only("C.UTF-8");
  set_handler(SIGUSR1, note_codeset);
  on_command_key([] {
    raise(SIGUSR1);
    rl_done = 1;
  });
  EXPECT_EQ(read_line({"ä" command_key}), std::nullopt);
  EXPECT_EQ(seen_by_handler, ascii);
}
