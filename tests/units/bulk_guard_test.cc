// The bulk-input guard: its setters and getters, the marks, plain reading with an echo, and the
// switch of the terminal at the start of each line.
#include "editline/input/bulk_guard.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstring>

#include "editline/base/editor.h"
#include "editline/base/terminal.h"
#include "editline/input/line_reading.h"
#include "editline/readline.h"
#include "editline/screen/display.h"
#include "layer_harness.h"

using namespace lineedit;

static int waiting() {
  int count = -1;
  EXPECT_EQ(ioctl(terminal.slave, FIONREAD, &count), 0);
  return count;
}

// Leaves exactly `count` bytes in the queue of the terminal, which must be raw. The keys of these
// tests come from the script, so nothing else empties the queue.
static void have_waiting(int count) {
  char thrown_away[4096];
  while (waiting() > count) {
    const size_t surplus = static_cast<size_t>(waiting() - count);
    ASSERT_GT(read(terminal.slave, thrown_away, std::min(surplus, sizeof thrown_away)), 0);
  }
  pty_type(&terminal, std::string(static_cast<size_t>(count - waiting()), 'q'));
  while (waiting() < count) pty_wait_for_input(&terminal);
  ASSERT_EQ(waiting(), count);
}

// What the terminal has shown since the latest call.
static std::string newly_shown() {
  static size_t before = 0;
  fflush(terminal.out);
  pty_collect(&terminal);
  std::string shown = terminal.shown.substr(before);
  before = terminal.shown.size();
  return shown;
}

static void arm() {
  rl_initialize();
  ASSERT_EQ(lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 1), 0);
}

// Reads a line at whose end `count` bytes wait.
static std::optional<std::string> read_with_waiting(const char *line, int count,
                                                    const char *end = "\n") {
  return read_line({line, [count] { have_waiting(count); }, end});
}

// Armed, and reading plainly.
static void arm_in_bulk() {
  arm();
  EXPECT_EQ(read_with_waiting("edited", 2000), "edited");
  ASSERT_FALSE(editing_is_on());
  newly_shown();
}

// --- Enter ---------------------------------------------------------------------------------------

LAYER_TEST(BulkEnter, CarriageReturnIsCheckedToo) {
  arm();
  EXPECT_EQ(read_with_waiting("edited", 2000, "\r"), "edited");
  EXPECT_FALSE(editing_is_on());
}

// The line goes on, and is edited.
LAYER_TEST(BulkEnter, TakenIntoTheLineItEndsNothing) {
  arm();
  EXPECT_EQ(read_line({"a\026", "\n", "b\001c", "\r"}), "ca\nb");
  EXPECT_TRUE(editing_is_on());
}

// --- Setters and getters -------------------------------------------------------------------------

LAYER_TEST(BulkGuard, OnlyTheReaderIsAFunctionToSet) {
  arm();
  el_rfunc_t reader = nullptr;
  EXPECT_EQ(lineedit::engine::el_get(editor.el, EL_GETCFN, &reader), 0);
  const el_rfunc_t before = reader;
  EXPECT_EQ(lineedit::engine::el_set(editor.el, EL_SIGNAL, reader), -1);
  EXPECT_EQ(lineedit::engine::el_get(editor.el, EL_SIGNAL, &reader), -1);
  EXPECT_EQ(reader, before);
  EXPECT_EQ(read_line({"line\n"}), "line");
}

LAYER_TEST(BulkGuard, TheOperationIs25) { EXPECT_EQ(EL_TTY_OVERFLOW_FIX, 25); }

LAYER_TEST(BulkGuard, TheWideSetterArmsAndDisarms) {
  rl_initialize();
  EXPECT_FALSE(bulk_guard_is_armed(editor.el));
  for (const int on : {1, 0, 7, 0, -1, -1, 0, 0}) {
    EXPECT_EQ(lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, on), 0);
    EXPECT_EQ(bulk_guard_is_armed(editor.el), on != 0);
    EXPECT_TRUE(editing_is_on());
  }
}

LAYER_TEST(BulkGuard, TheNarrowSetterKnowsNoSuchOperation) {
  rl_initialize();
  EXPECT_EQ(lineedit::engine::el_set(editor.el, EL_TTY_OVERFLOW_FIX, 1), -1);
  EXPECT_FALSE(bulk_guard_is_armed(editor.el));
  lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 1);
  EXPECT_EQ(lineedit::engine::el_set(editor.el, EL_TTY_OVERFLOW_FIX, 0), -1);
  EXPECT_TRUE(bulk_guard_is_armed(editor.el));
  for (const int operation : {26, 27, 100}) {
    EXPECT_EQ(lineedit::engine::el_set(editor.el, operation, 1), -1);
    EXPECT_EQ(lineedit::engine::el_wset(editor.el, operation, 1), -1);
  }
}

LAYER_TEST(BulkGuard, TheOperationTakesAnIntAndNothingElse) {
  rl_initialize();
  EXPECT_EQ(lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, nullptr), -1);
  EXPECT_EQ(lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, "1"), -1);
  EXPECT_FALSE(bulk_guard_is_armed(editor.el));
}

LAYER_TEST(BulkGuard, ArmedTwiceItReadsOnAsOnce) {
  arm();
  arm();
  lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 1);
  EXPECT_EQ(read_with_waiting("abc", 2000), "abc");
  EXPECT_EQ(read_with_waiting("abc", 2000), "abc");
}

LAYER_TEST(BulkGuard, WithoutAnEditorTheSettersRefuse) {
  const el_rfunc_t reader = [](EditLine *, wchar_t *) { return 0; };
  EXPECT_EQ(lineedit::engine::el_wset(nullptr, EL_TTY_OVERFLOW_FIX, 1), -1);
  EXPECT_EQ(lineedit::engine::el_wset(nullptr, EL_GETCFN, reader), -1);
  EXPECT_EQ(lineedit::engine::el_set(nullptr, EL_GETCFN, reader), -1);
}

static int reads_of_reader;
static int reader_of_one_line(EditLine *, wchar_t *character) {
  if (reads_of_reader == 1) have_waiting(2000);
  *character = L"x\n"[reads_of_reader++];
  return 1;
}

static int set_wide(el_rfunc_t reader) {
  return lineedit::engine::el_wset(editor.el, EL_GETCFN, reader);
}
static int set_wide_in_other_words(el_rfunc_t) {
  return lineedit::engine::el_wset(editor.el, EL_GETCFN, [](EditLine *el, wchar_t *character) {
    return reader_of_one_line(el, character);
  });
}
static int set_narrow(el_rfunc_t reader) {
  return lineedit::engine::el_set(editor.el, EL_GETCFN, reader);
}

LAYER_TEST(BulkGuard, KeepsWatchOverAReaderSetWhileItIsArmed) {
  for (const auto set : {set_wide, set_wide_in_other_words, set_narrow}) {
    arm();
    reads_of_reader = 0;
    EXPECT_EQ(set(reader_of_one_line), 0);
    EXPECT_EQ(read_next_line(), "x");
    EXPECT_EQ(reads_of_reader, 2);
    EXPECT_FALSE(editing_is_on());
    have_waiting(0);
  }
}

LAYER_TEST(BulkGuard, KeepsWatchOverTheBuiltInReader) {
  arm();
  EXPECT_EQ(lineedit::engine::el_wset(editor.el, EL_GETCFN, EL_BUILTIN_GETCFN), 0);
  EXPECT_EQ(lineedit::engine::el_set(editor.el, EL_GETCFN, nullptr), 0);
  EXPECT_EQ(lineedit::engine::el_wset(editor.el, EL_GETCFN, 1), -1);
  ASSERT_TRUE(make_terminal_raw());
  pty_type(&terminal, "ab\n" + std::string(2000, 'q') + "\n");
  while (waiting() < 2004) pty_wait_for_input(&terminal);
  EXPECT_EQ(read_next_line(), "ab");
  EXPECT_FALSE(editing_is_on());
  EXPECT_EQ(read_next_line().value_or("").substr(0, 2000), std::string(2000, 'q'));
  EXPECT_TRUE(editing_is_on());
}

// The reader is the application's to set and to ask for, armed or not.
LAYER_TEST(BulkGuard, AReaderThatIsSetLaterIsEchoedToo) {
  arm_in_bulk();
  el_rfunc_t before = nullptr, after = nullptr;
  EXPECT_EQ(lineedit::engine::el_get(editor.el, EL_GETCFN, &before), 0);
  const el_rfunc_t reader = [](EditLine *, wchar_t *character) {
    *character = L'\n';
    return 1;
  };
  EXPECT_EQ(lineedit::engine::el_set(editor.el, EL_GETCFN, reader), 0);
  EXPECT_EQ(lineedit::engine::el_get(editor.el, EL_GETCFN, &after), 0);
  EXPECT_EQ(after, reader);
  EXPECT_EQ(read_next_line(""), "");
  EXPECT_EQ(newly_shown(), "\r\n");
  lineedit::engine::el_set(editor.el, EL_GETCFN, before);
  lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 0);
  EXPECT_EQ(lineedit::engine::el_get(editor.el, EL_GETCFN, &after), 0);
  EXPECT_EQ(after, before);
}

LAYER_TEST(BulkGuard, BothSettersPassOnWhatIsTheEditorsOwn) {
  rl_initialize();
  EXPECT_EQ(lineedit::engine::el_set(editor.el, EL_EDITMODE, 0), 0);
  EXPECT_FALSE(editing_is_on());
  EXPECT_EQ(lineedit::engine::el_wset(editor.el, EL_EDITMODE, 1), 0);
  EXPECT_TRUE(editing_is_on());
  EXPECT_EQ(lineedit::engine::el_set(editor.el, EL_BIND, "^A", "ed-insert", nullptr), 0);
  EXPECT_EQ(read_line({"a\001b\n"}), "a\001b");
}

LAYER_TEST(BulkGuard, BothGettersEndAt22) {
  rl_initialize();
  for (const int operation : {23, 24, 25, 26, 100}) {
    int value = 1234;
    EXPECT_EQ(lineedit::engine::el_get(editor.el, operation, &value), -1) << operation;
    EXPECT_EQ(lineedit::engine::el_wget(editor.el, operation, &value), -1) << operation;
    EXPECT_EQ(value, 1234);
  }
  int editing = 0;
  EXPECT_EQ(lineedit::engine::el_wget(editor.el, EL_EDITMODE, &editing), 0);
  EXPECT_EQ(editing, 1);
}

LAYER_TEST(BulkGuard, TheFixLeavesItUnarmed) {
  rl_initialize();
  rl_tty_overflow_fix(1);
  EXPECT_FALSE(bulk_guard_is_armed(editor.el));
  EXPECT_EQ(read_with_waiting("abc", 4000), "abc");
  EXPECT_TRUE(editing_is_on());
  lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 1);
  rl_tty_overflow_fix(0);
  EXPECT_TRUE(bulk_guard_is_armed(editor.el));
}

LAYER_TEST(BulkGuard, TheFixDoesNothingWhereEditingIsOff) {
  rl_initialize();
  lineedit::engine::el_set(editor.el, EL_EDITMODE, 0);
  rl_tty_overflow_fix(1);
  EXPECT_FALSE(bulk_guard_is_armed(editor.el));
  EXPECT_FALSE(editing_is_on());
}

LAYER_TEST(BulkGuard, ANewEditorsIsNotArmed) {
  arm();
  rl_initialize();
  EXPECT_FALSE(bulk_guard_is_armed(editor.el));
  EXPECT_EQ(read_with_waiting("abc", 4000), "abc");
  EXPECT_TRUE(editing_is_on());
}

// --- The marks -----------------------------------------------------------------------------------

LAYER_TEST(BulkGuard, TheMarks) {
  rl_initialize();
  make_terminal_raw();
  static const struct {
    int waiting;
    bool after_editing;
    bool after_bulk;
  } rows[] = {{0, true, true},      {1, true, true},      {1000, true, true},
              {1001, true, false},  {1500, true, false},  {1999, true, false},
              {2000, false, false}, {2001, false, false}, {4000, false, false}};
  for (const auto &row : rows) {
    SCOPED_TRACE(row.waiting);
    have_waiting(row.waiting);
    EXPECT_EQ(bulk_guard_check(terminal.slave, true), row.after_editing);
    EXPECT_EQ(bulk_guard_check(terminal.slave, false), row.after_bulk);
  }
}

LAYER_TEST(BulkGuard, WhatCannotBeAskedHasNothingWaiting) {
  EXPECT_TRUE(bulk_guard_check(-1, true));
  EXPECT_TRUE(bulk_guard_check(-1, false));
}

LAYER_TEST(BulkGuard, EditingStaysOnAt1999) {
  arm();
  const struct termios found = pty_settings(&terminal);
  EXPECT_EQ(read_with_waiting("abc", 1999), "abc");
  EXPECT_TRUE(editing_is_on());
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
  EXPECT_EQ(read_line({"bc\001a\n"}), "abc");
}

LAYER_TEST(BulkGuard, EditingGoesOffAt2000ForTheNextLine) {
  arm();
  EXPECT_EQ(read_line({"bc\001a", [] { have_waiting(2000); }, "\n"}), "abc");
  EXPECT_FALSE(editing_is_on());
  EXPECT_EQ(read_line({"bc\001a\n"}), "bc\001a");
}

LAYER_TEST(BulkGuard, BulkGoesOnAt1001) {
  arm_in_bulk();
  EXPECT_EQ(read_with_waiting("abc", 1001), "abc");
  EXPECT_FALSE(editing_is_on());
}

LAYER_TEST(BulkGuard, EditingIsBackAt1000ForTheNextLine) {
  arm_in_bulk();
  EXPECT_EQ(read_line({"bc\001a", [] { have_waiting(1000); }, "\n"}), "bc\001a");
  EXPECT_TRUE(editing_is_on());
  EXPECT_EQ(read_line({"bc\001a\n"}), "abc");
}

LAYER_TEST(BulkGuard, BetweenTheMarksNothingChanges) {
  arm();
  for (const int count : {1999, 1001, 1500}) {
    EXPECT_EQ(read_with_waiting("abc", count), "abc");
    EXPECT_TRUE(editing_is_on()) << count;
  }
  EXPECT_EQ(read_with_waiting("abc", 2000), "abc");
  for (const int count : {1999, 1001, 1500}) {
    EXPECT_EQ(read_with_waiting("abc", count), "abc");
    EXPECT_FALSE(editing_is_on()) << count;
  }
}

LAYER_TEST(BulkGuard, TheCheckIsMadeAtTheEndOfALineOnly) {
  arm();
  const auto flood_and_drain = [] {
    have_waiting(3000);
    have_waiting(10);
  };
  EXPECT_EQ(read_line({"bc", flood_and_drain, "\001a\n"}), "abc");
  EXPECT_TRUE(editing_is_on());
  EXPECT_EQ(read_with_waiting("", 2000), "");
  EXPECT_EQ(read_line({"abc", [] { have_waiting(0); }, "def", [] { have_waiting(1500); }, "\n"}),
            "abcdef");
  EXPECT_FALSE(editing_is_on());
}

// The line break is quoted, so the line goes on after it and is edited to its end.
LAYER_TEST(BulkGuard, ALineBreakThatEndsNoLineChangesNothing) {
  arm();
  EXPECT_EQ(read_line({"b", [] { have_waiting(2000); }, "\026\n\001a\n"}), "ab\n");
  EXPECT_FALSE(editing_is_on());
  EXPECT_TRUE(pty_is_raw(&terminal));
  EXPECT_EQ(read_with_waiting("", 0), "");
  EXPECT_EQ(
      read_line({"b", [] { have_waiting(2000); }, "\026\n\001a", [] { have_waiting(0); }, "\n"}),
      "ab\n");
  EXPECT_TRUE(editing_is_on());
}

LAYER_TEST(BulkGuard, UnarmedNothingIsChecked) {
  rl_initialize();
  EXPECT_EQ(read_with_waiting("abc", 4000), "abc");
  EXPECT_TRUE(editing_is_on());
  lineedit::engine::el_set(editor.el, EL_EDITMODE, 0);
  make_terminal_raw();
  EXPECT_EQ(read_line({"abc\n"}), "abc");
  EXPECT_FALSE(editing_is_on());
}

// --- The echo ------------------------------------------------------------------------------------

LAYER_TEST(BulkEcho, ShowsEachByteOnceBehindThePrompt) {
  arm_in_bulk();
  set_script({"abc\001\177\033[A", "\n"});
  EXPECT_EQ(read_next_line("bulk> "), "abc\001\177\033[A");
  EXPECT_EQ(newly_shown(), "bulk> abc\001\177\033[A\r\n");
}

LAYER_TEST(BulkEcho, ACarriageReturnEndsTheLineAndStaysInIt) {
  arm_in_bulk();
  set_script({"abc\rdef\n"});
  EXPECT_EQ(read_next_line(""), "abc\r");
  EXPECT_EQ(newly_shown(), "abc\r");
  EXPECT_EQ(read_next_line(""), "def");
}

LAYER_TEST(BulkEcho, GoesToTheInput) {
  arm_in_bulk();
  const int other = open("/dev/null", O_WRONLY);
  const int kept = dup(terminal.slave);
  dup2(other, fileno(terminal.out));
  set_script({"abc\n"});
  EXPECT_EQ(read_next_line("unseen> "), "abc");
  dup2(kept, fileno(terminal.out));
  EXPECT_EQ(newly_shown(), "abc\r\n");
}

LAYER_TEST(BulkEcho, UnarmedOrWhileEditingThereIsNone) {
  arm_in_bulk();
  lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 0);
  EXPECT_FALSE(editing_is_on());
  set_script({"abc\n"});
  EXPECT_EQ(read_next_line(""), "abc");
  EXPECT_EQ(newly_shown(), "");
  EXPECT_FALSE(editing_is_on());
}

LAYER_TEST(BulkEcho, NobodyElseEchoes) {
  arm();
  EXPECT_EQ(read_line({"a", [] { have_waiting(2000); }, "\n"}), "a");
  newly_shown();
  EXPECT_TRUE(pty_is_raw(&terminal));
  pty_type(&terminal, "zzz\n");
  while (waiting() < 2004) pty_wait_for_input(&terminal);
  EXPECT_EQ(newly_shown(), "");
}

// Typed at the terminal, for the layer's own reader, which decodes characters: a line that is
// edited, a flood in bulk mode, and a last line.
static void read_typed_characters(const std::string &line) {
  rl_getc_function = nullptr;
  rl_initialize();
  lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 1);
  make_terminal_raw();
  // In raw mode the driver makes line breaks of carriage returns, which terminals send.
  pty_type(&terminal, "edited\r" + line + "\r" + std::string(2100, 'x') + "\r");
  while (waiting() < 2100) pty_wait_for_input(&terminal);
  EXPECT_EQ(read_next_line(), "edited");
  EXPECT_FALSE(editing_is_on());
  newly_shown();
}

LAYER_TEST(BulkEcho, IsTheLowOrderByteOfACharacter) {
  read_typed_characters("a\u00e9\u3042\u0141b");
  EXPECT_EQ(read_next_line(""), "a\u00e9\u3042\u0141b");
  EXPECT_EQ(newly_shown(),
            "a\xe9\x42\x41"
            "b\r\n");
}

// Such an editor reads every line without editing.
LAYER_TEST(BulkEcho, ComesWithoutATerminalToo) {
  rl_outstream = tmpfile();
  arm();
  EXPECT_EQ(read_line({"abc\n"}), "abc");
  EXPECT_EQ(newly_shown(), "abc\r\n");
}

LAYER_TEST(BulkEcho, AFailingEchoIsIgnored) {
  arm_in_bulk();
  const int readable = open(ttyname(terminal.slave), O_RDONLY | O_NOCTTY);
  const int kept = dup(terminal.slave);
  dup2(readable, fileno(terminal.in));
  set_script({"abc\n"});
  EXPECT_EQ(read_next_line(""), "abc");
  dup2(kept, fileno(terminal.in));
  EXPECT_EQ(newly_shown(), "");
}

// --- Ends of a line ------------------------------------------------------------------------------

static int reader_result, reader_errno;
static int failing_reader(EditLine *, wchar_t *character) {
  static const char keys[] = "ab";
  static int next = 0;
  if (next < 2) {
    *character = keys[next++];
    return 1;
  }
  next = 0;
  errno = reader_errno;
  return reader_result;
}

struct Reading {
  const wchar_t *line;
  int count;
  int error;
};

// In bulk mode, with `waiting` bytes in the queue: reads a, b, and then what failing_reader says.
static Reading read_failing(int result, int error, int count) {
  rl_initialize();
  el_set(editor.el, EL_GETCFN, failing_reader);
  lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 1);
  make_terminal_raw();
  have_waiting(count);
  lineedit::engine::el_set(editor.el, EL_EDITMODE, 0);
  reader_result = result;
  reader_errno = error;
  Reading reading = {nullptr, 1234, 0};
  reading.line = lineedit::engine::el_wgets(editor.el, &reading.count);
  reading.error = errno;
  return reading;
}

LAYER_TEST(BulkEnd, AnInterruptedReadGivesNoLineAndIsChecked) {
  for (const int count : {1000, 1001}) {
    const Reading reading = read_failing(-1, EINTR, count);
    EXPECT_EQ(reading.line, nullptr);
    EXPECT_EQ(reading.count, 0);
    EXPECT_EQ(reading.error, EINTR);
    EXPECT_EQ(editing_is_on(), count == 1000);
  }
}

LAYER_TEST(BulkEnd, EndOfFileAndErrorsGiveWhatWasReadAndAreChecked) {
  for (const int result : {0, -1}) {
    for (const int count : {1000, 1001}) {
      const Reading reading = read_failing(result, EIO, count);
      ASSERT_NE(reading.line, nullptr);
      EXPECT_EQ(std::wstring(reading.line), L"ab");
      EXPECT_EQ(reading.count, 2);
      EXPECT_EQ(editing_is_on(), count == 1000);
    }
  }
}

LAYER_TEST(BulkEnd, AnEditedLineThatEndsByItsEndOfFileKeyIsChecked) {
  arm();
  EXPECT_EQ(read_line({[] { have_waiting(2000); }, "\004"}), std::nullopt);
  EXPECT_FALSE(editing_is_on());
  EXPECT_TRUE(pty_is_raw(&terminal));
  EXPECT_EQ(read_with_waiting("", 0), "");
  EXPECT_EQ(read_line({[] { have_waiting(1999); }, "\004"}), std::nullopt);
  EXPECT_TRUE(editing_is_on());
  EXPECT_FALSE(pty_is_raw(&terminal));
}

LAYER_TEST(BulkEnd, AnEditedLineThatEndsByAnErrorIsChecked) {
  rl_initialize();
  el_set(editor.el, EL_GETCFN, failing_reader);
  lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 1);
  make_terminal_raw();
  have_waiting(2000);
  reader_result = -1;
  reader_errno = EIO;
  int count = 1234;
  EXPECT_EQ(lineedit::engine::el_wgets(editor.el, &count), nullptr);
  EXPECT_EQ(count, -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_FALSE(editing_is_on());
}

LAYER_TEST(BulkEnd, UnbufferedEachCharacterIsOne) {
  arm();
  EXPECT_EQ(lineedit::engine::el_set(editor.el, EL_UNBUFFERED, 1), 0);
  set_script({"a", [] { have_waiting(2000); }, "b", "c", [] { have_waiting(1000); }, "d", "e\n"});
  static const struct {
    std::wstring line;
    bool editing;
    const char *shown;
  } rows[] = {{L"a", true, nullptr},
              {L"ab", false, nullptr},
              {L"abc", false, "c"},
              {L"abcd", true, "d"},
              {L"abcde", true, nullptr}};
  for (const auto &row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.line));
    newly_shown();
    int count = 0;
    const wchar_t *line = lineedit::engine::el_wgets(editor.el, &count);
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(std::wstring(line, static_cast<size_t>(count)), row.line);
    EXPECT_EQ(editing_is_on(), row.editing);
    EXPECT_TRUE(pty_is_raw(&terminal));
    if (row.shown != nullptr) {
      EXPECT_EQ(newly_shown(), row.shown);
    }
  }
}

// --- States --------------------------------------------------------------------------------------

LAYER_TEST(BulkState, DisarmedInBulkItStaysPlain) {
  arm_in_bulk();
  EXPECT_EQ(lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 0), 0);
  EXPECT_FALSE(editing_is_on());
  EXPECT_EQ(read_with_waiting("b\001a", 0), "b\001a");
  EXPECT_FALSE(editing_is_on());
}

LAYER_TEST(BulkState, ArmingInBulkChangesNoEditing) {
  rl_initialize();
  lineedit::engine::el_set(editor.el, EL_EDITMODE, 0);
  EXPECT_EQ(lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 1), 0);
  EXPECT_FALSE(editing_is_on());
  EXPECT_EQ(read_with_waiting("abc", 1001), "abc");
  EXPECT_FALSE(editing_is_on());
}

LAYER_TEST(BulkState, SwitchingEditingMovesBetweenTheTwo) {
  arm();
  const struct termios found = pty_settings(&terminal);
  lineedit::engine::el_set(editor.el, EL_EDITMODE, 0);
  newly_shown();
  set_script({"b\001a", [] { have_waiting(1500); }, "\n"});
  EXPECT_EQ(read_next_line(""), "b\001a");
  EXPECT_EQ(newly_shown(), "b\001a\r\n");
  EXPECT_TRUE(pty_is_raw(&terminal));
  lineedit::engine::el_set(editor.el, EL_EDITMODE, 1);
  EXPECT_EQ(read_line({"b\001a\n"}), "ab");
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
}

// --- The terminal --------------------------------------------------------------------------------

LAYER_TEST(BulkTerminal, StaysRawAndUnechoedUntilTheFloodIsOver) {
  arm();
  const struct termios found = pty_settings(&terminal);
  for (const int count : {2000, 4000, 1500, 1001}) {
    EXPECT_EQ(read_with_waiting("abc", count), "abc");
    EXPECT_TRUE(pty_is_raw(&terminal)) << count;
  }
  EXPECT_EQ(read_with_waiting("abc", 1000), "abc");
  EXPECT_TRUE(pty_is_raw(&terminal));
  EXPECT_EQ(read_line({"abc\n"}), "abc");
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
}

LAYER_TEST(BulkTerminal, IsGivenBackWhenAnotherEditorIsMade) {
  const struct termios found = pty_settings(&terminal);
  arm_in_bulk();
  EXPECT_TRUE(pty_is_raw(&terminal));
  rl_initialize();
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
}

static sigjmp_buf back;
static void jump_back(int) { siglongjmp(back, 1); }

static void raise_interrupt() {
  raise(SIGINT);
  wait_for_signal();
}

// Reads a line that a jump out of a signal handler ends.
static void read_until_jump(std::vector<Step> steps) {
  steps.push_back(raise_interrupt);
  set_script(std::move(steps));
  set_handler(SIGINT, jump_back);
  block_signals(nullptr);
  if (sigsetjmp(back, 1) == 0) {
    read_next_line("");
    ADD_FAILURE() << "no jump";
  }
  unblock_signals();
}

LAYER_TEST(BulkTerminal, IsGivenBackForAJumpAndTakenAgain) {
  const struct termios found = pty_settings(&terminal);
  arm_in_bulk();
  read_until_jump({"abc"});
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
  EXPECT_FALSE(editing_is_on());
  EXPECT_EQ(read_line({"abc", [] { EXPECT_TRUE(pty_is_raw(&terminal)); }, "\n"}), "abc");
}

LAYER_TEST(BulkTerminal, DisarmedInBulkItIsGivenBackAllTheSame) {
  const struct termios found = pty_settings(&terminal);
  arm_in_bulk();
  lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 0);
  read_until_jump({"abc"});
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
  lineedit::engine::el_set(editor.el, EL_EDITMODE, 1);
  arm_in_bulk();
  lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 0);
  rl_initialize();
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
  EXPECT_TRUE(editing_is_on());
}

LAYER_TEST(BulkTerminal, UnbufferedItIsGivenBackWhenAnotherEditorIsMade) {
  const struct termios found = pty_settings(&terminal);
  rl_initialize();
  lineedit::engine::el_set(editor.el, EL_UNBUFFERED, 1);
  set_script({"a"});
  int count = 0;
  lineedit::engine::el_wgets(editor.el, &count);
  EXPECT_TRUE(pty_is_raw(&terminal));
  rl_initialize();
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
  EXPECT_TRUE(editing_is_on());
}

LAYER_TEST(BulkTerminal, ArmedInTheMiddleOfAPlainLineTheRestIsEchoed) {
  rl_initialize();
  lineedit::engine::el_set(editor.el, EL_EDITMODE, 0);
  const auto arm_now = [] { lineedit::engine::el_wset(editor.el, EL_TTY_OVERFLOW_FIX, 1); };
  set_script({"a", arm_now, "bc", "\n"});
  EXPECT_EQ(read_next_line(""), "abc");
  EXPECT_EQ(newly_shown(), "c\r\n");
  EXPECT_TRUE(editing_is_on());
}

// A message beside such a line comes where the cursor is, and what has been typed stays.
LAYER_TEST(BulkTerminal, OutputBesideAPlainLineMovesNothing) {
  arm_in_bulk();
  pty_set_size(&terminal, 24, 20);
  set_script({std::string(50, 'x'),
              [] {
                newly_shown();
                begin_output();
                rl_forced_update_display();
                end_output();
                EXPECT_EQ(newly_shown(), "");
              },
              "\n"});
  EXPECT_EQ(read_next_line(""), std::string(50, 'x'));
}

static struct termios seen_by_handler;

LAYER_TEST(BulkTerminal, IsGivenBackForASignal) {
  const struct termios found = pty_settings(&terminal);
  set_handler(SIGTERM, [](int signo) {
    seen_by_handler = pty_settings(&terminal);
    count_signal(signo);
  });
  arm_in_bulk();
  const auto terminate = [] {
    raise(SIGTERM);
    wait_for_signal();
  };
  EXPECT_EQ(read_line({"a", terminate, "b", [] { EXPECT_TRUE(pty_is_raw(&terminal)); }, "\n"}),
            "ab");
  EXPECT_EQ(handled[SIGTERM], 1);
  EXPECT_EQ(difference(found, seen_by_handler), "");
  EXPECT_TRUE(pty_is_raw(&terminal));
}

// A flood typed by someone: every line comes whole and in order, and is shown once.
LAYER_TEST(BulkTerminal, AFloodArrivesWholeAndInOrder) {
  rl_getc_function = nullptr;
  arm();
  std::string typed;
  std::vector<std::string> lines;
  for (int i = 0; i < 2000; ++i) {
    lines.push_back("line " + std::to_string(i) + ':' + std::string(60, 'x'));
    typed += lines.back() + "\r";
  }
  pty_start_typing(&terminal, {{"> ", typed}});
  int plain = 0;
  for (const std::string &line : lines) {
    plain += editing_is_on() ? 0 : 1;
    ASSERT_EQ(read_next_line(), line);
  }
  EXPECT_TRUE(pty_finish_typing());
  EXPECT_GT(plain, 1000);
  EXPECT_TRUE(editing_is_on());
  size_t at = 0;
  for (const std::string &line : lines) {
    at = terminal.shown.find(line, at);
    ASSERT_NE(at, std::string::npos) << line;
    EXPECT_EQ(terminal.shown.find(line, at + 1), std::string::npos) << line;
  }
}

// --- The switch at the start of a line -----------------------------------------------------------

// The standard error, where the editor's messages go, from now on.
static FILE *new_error_file() {
  FILE *errors = tmpfile();
  dup2(fileno(errors), STDERR_FILENO);
  return errors;
}

static std::string contents(FILE *file) {
  char text[256] = "";
  rewind(file);
  return std::string(text, fread(text, 1, sizeof text, file));
}

static const char message[] = "Could not set rawmode.\n";

LAYER_TEST(RawSwitch, TheMessageHas23Bytes) { EXPECT_EQ(strlen(message), 23U); }

LAYER_TEST(RawSwitch, RefusedWithNothingToReadThereIsNoLineAndNoMessage) {
  rl_getc_function = nullptr;
  rl_initialize();
  FILE *errors = new_error_file();
  on_change_of_settings(SECCOMP_RET_ERRNO | EPERM);
  newly_shown();
  int count = 1234;
  errno = ENOENT;
  EXPECT_EQ(lineedit::engine::el_wgets(editor.el, &count), nullptr);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(errno, 0);
  EXPECT_EQ(read_next_line("unseen> "), std::nullopt);
  EXPECT_EQ(contents(errors), "");
  EXPECT_EQ(newly_shown(), "");
}

LAYER_TEST(RawSwitch, RefusedWithInputWaitingThereIsAMessageAndTheLineIsRead) {
  rl_getc_function = nullptr;
  rl_initialize();
  FILE *errors = new_error_file();
  pty_type(&terminal, "first\nsecond\n");
  ASSERT_TRUE(pty_wait_for_input(&terminal));
  on_change_of_settings(SECCOMP_RET_ERRNO | EPERM);
  EXPECT_EQ(read_next_line(), "first");
  EXPECT_EQ(contents(errors), message);
  EXPECT_TRUE(editing_is_on());
  EXPECT_EQ(read_next_line(), "second");
  EXPECT_EQ(contents(errors), std::string(message) + message);
  EXPECT_EQ(read_next_line(), std::nullopt);
}

LAYER_TEST(RawSwitch, RefusedWhileArmedNothingIsEchoedTwice) {
  rl_getc_function = nullptr;
  arm();
  FILE *errors = new_error_file();
  pty_type(&terminal, "first\n");
  ASSERT_TRUE(pty_wait_for(&terminal, "first"));
  on_change_of_settings(SECCOMP_RET_ERRNO | EPERM);
  newly_shown();
  EXPECT_EQ(read_next_line("> "), "first");
  EXPECT_EQ(contents(errors), message);
  EXPECT_EQ(newly_shown(), "> ");
}

LAYER_TEST(RawSwitch, RefusedInBulkItStaysBulk) {
  arm_in_bulk();
  read_until_jump({"abc", [] { have_waiting(1500); }});
  FILE *errors = new_error_file();
  on_change_of_settings(SECCOMP_RET_ERRNO | EPERM);
  EXPECT_EQ(read_line({"abc\n"}), "abc");
  EXPECT_EQ(contents(errors), message);
  EXPECT_EQ(editing_is_on(), waiting() < 1001);
}

LAYER_TEST(RawSwitch, RefusedAndJumpedOutOfTheNextLineIsEdited) {
  rl_initialize();
  new_error_file();
  pty_type(&terminal, "x\n");
  ASSERT_TRUE(pty_wait_for_input(&terminal));
  on_change_of_settings(SECCOMP_RET_ERRNO | EPERM);
  read_until_jump({"abc"});
  EXPECT_EQ(read_line({"abc\n"}), "abc");
  EXPECT_TRUE(editing_is_on());
}

LAYER_TEST(RawSwitch, RefusedOnATerminalWithoutLineModeThereIsAMessageToo) {
  struct termios settings = pty_settings(&terminal);
  settings.c_lflag &= ~static_cast<tcflag_t>(ICANON);
  tcsetattr(terminal.slave, TCSANOW, &settings);
  rl_getc_function = nullptr;
  rl_initialize();
  FILE *errors = new_error_file();
  pty_type(&terminal, "first\r");
  ASSERT_TRUE(pty_wait_for(&terminal, "first"));
  on_change_of_settings(SECCOMP_RET_ERRNO | EPERM);
  EXPECT_EQ(read_next_line(), "first");
  EXPECT_EQ(contents(errors), message);
}

LAYER_TEST(RawSwitch, OneByteIsInputWaiting) {
  rl_getc_function = nullptr;
  rl_initialize();
  FILE *errors = new_error_file();
  pty_type(&terminal, "\n");
  ASSERT_TRUE(pty_wait_for_input(&terminal));
  on_change_of_settings(SECCOMP_RET_ERRNO | EPERM);
  EXPECT_EQ(read_next_line(), "");
  EXPECT_EQ(contents(errors), message);
}

LAYER_TEST(RawSwitch, TheCountMayBeLeftOut) {
  rl_initialize();
  set_script({"abc\n"});
  const wchar_t *line = lineedit::engine::el_wgets(editor.el, nullptr);
  ASSERT_NE(line, nullptr);
  EXPECT_EQ(std::wstring(line, 3), L"abc");
}

LAYER_TEST(RawSwitch, IsMadeWhenInputIsWaitingToo) {
  pty_type(&terminal, "waiting");
  bool raw = false;
  EXPECT_EQ(read_line({"a", [&] { raw = pty_is_raw(&terminal); }, "\n"}), "a");
  EXPECT_TRUE(raw);
}

LAYER_TEST(RawSwitch, IsMadeWhenAMacroIsPending) {
  rl_initialize();
  const struct termios found = pty_settings(&terminal);
  el_push(editor.el, "macro");
  bool raw = false;
  EXPECT_EQ(read_line({[&] { raw = pty_is_raw(&terminal); }, "\n"}), "macro");
  EXPECT_TRUE(raw);
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
}

LAYER_TEST(RawSwitch, OnAHungUpTerminalThereIsNoLineAndNoMessage) {
  rl_getc_function = nullptr;
  rl_initialize();
  signal(SIGHUP, SIG_IGN);
  FILE *errors = new_error_file();
  close(terminal.master);
  int count = 1234;
  EXPECT_EQ(lineedit::engine::el_wgets(editor.el, &count), nullptr);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(errno, 0);
  EXPECT_EQ(contents(errors), "");
}

LAYER_TEST(RawSwitch, WithTheOutputClosedTheLineIsStillRead) {
  rl_getc_function = nullptr;
  rl_initialize();
  FILE *errors = new_error_file();
  close(fileno(terminal.out));
  pty_type(&terminal, "abc\n");
  EXPECT_EQ(read_next_line(), "abc");
  EXPECT_EQ(contents(errors), "");
}

// Reads a line in a process group in the background of which nobody is left who could bring it to
// the foreground: such a group is not stopped but refused. Returns what went to the error stream,
// and then "line" or "null".
static std::string read_in_orphaned_group() {
  rl_getc_function = nullptr;
  rl_initialize();
  int ends[2];
  if (pipe(ends) != 0) return "no pipe";
  const pid_t child = fork();
  if (child == 0) {
    setpgid(0, 0);
    const pid_t parent = getpid();
    if (fork() != 0) _exit(0);
    while (getppid() == parent) usleep(1000);
    FILE *errors = new_error_file();
    int count = 1234;
    const char *line = lineedit::engine::el_wgets(editor.el, &count) != nullptr ? "line" : "null";
    const std::string report = contents(errors) + line;
    _exit(write(ends[1], report.data(), report.size()) < 0 ? 1 : 0);
  }
  close(ends[1]);
  waitpid(child, nullptr, 0);
  std::string report;
  char byte;
  while (read(ends[0], &byte, 1) == 1) report += byte;
  return report;
}

LAYER_TEST(RawSwitch, InTheBackgroundWithNothingToReadThereIsNoLineAndNoMessage) {
  EXPECT_EQ(read_in_orphaned_group(), "null");
}

LAYER_TEST(RawSwitch, InTheBackgroundWithInputWaitingThereIsAMessageAndReadingFailsByItself) {
  pty_type(&terminal, "abc\n");
  ASSERT_TRUE(pty_wait_for_input(&terminal));
  EXPECT_EQ(read_in_orphaned_group(), std::string(message) + "null");
}
