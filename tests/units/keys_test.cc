// Reading keys: from the input hook and with the layer's own reader.
#include "editline/input/keys.h"

#include <poll.h>
#include <unistd.h>

#include <clocale>
#include <csetjmp>

#include "editline/base/editor.h"
#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

static std::optional<std::string> type_at_prompt(const std::string &bytes) {
  rl_getc_function = nullptr;
  pty_start_typing(&terminal, {{"> ", bytes}});
  auto line = read_next_line();
  EXPECT_TRUE(pty_finish_typing());
  return line;
}

LAYER_TEST(OwnReader, DecodesCharacters) {
  EXPECT_EQ(type_at_prompt("aä€\U0001F600b\n"), "aä€\U0001F600b");
}

LAYER_TEST(OwnReader, EditsByCharacters) { EXPECT_EQ(type_at_prompt("äöü\177\002\002|\n"), "|äö"); }

LAYER_TEST(OwnReader, TakesTheKeysOfTheEditor) {
  rl_getc_function = nullptr;
  add_history("from history");
  EXPECT_EQ(type_at_prompt("x\033[A!\n"), "from history!");
}

// --- Bytes that are no characters ----------------------------------------------------------------

// The bytes of a line, which comes back as it was typed.
static const struct {
  const char *name;
  const char *typed;
} odd_lines[] = {
    {"whole characters", "aä€\U0001F600b"},
    {"a byte that never occurs", "a\376b"},
    {"a byte that only continues", "a\200b"},
    {"a start before another character", "a\303(b"},
    {"a start before a whole character", "a\303äb"},
    {"two of three bytes before a whole character", "a\342\202äb"},
    {"a start before the end of the line", "ab\303"},
    {"two of three bytes before the end of the line", "ab\342\202"},
    {"an overlong form", "a\300\257b"},
    {"half of a surrogate pair", "a\355\240\200b"},
    {"beyond the last character", "a\364\220\200\200b"},
    {"the longest form", "a\374\204\200\200\200\200b"},
};

LAYER_TEST(Hook, EveryByteComesBack) {
  for (const auto &row : odd_lines) {
    SCOPED_TRACE(row.name);
    // The second line shows up in the first when that one's Enter is swallowed.
    EXPECT_EQ(read_line({row.typed, "\nswallowed\n"}), row.typed);
  }
}

LAYER_TEST(OwnReader, EveryByteComesBack) {
  for (const auto &row : odd_lines) {
    SCOPED_TRACE(row.name);
    rl_getc_function = nullptr;
    pty_start_typing(&terminal, {{"> ", std::string(row.typed) + "\nswallowed\n"}});
    EXPECT_EQ(read_next_line(), row.typed);
    EXPECT_TRUE(pty_finish_typing());
    tcflush(terminal.slave, TCIFLUSH);
  }
}

LAYER_TEST(OwnReader, InTheCLocaleEveryByteComesBackThatIsQuoted) {
  setlocale(LC_ALL, "C");
  EXPECT_EQ(type_at_prompt("a\026\303\026\377b\n"), "a\303\377b");
}

// --- Single keys ---------------------------------------------------------------------------------

// The keys that the editor gets from `bytes` until the end of input.
static std::vector<wchar_t> keys_from(const std::string &bytes) {
  std::vector<wchar_t> keys;
  wchar_t key;
  set_script({bytes});
  while (key_reader()(editor.el, &key) == 1) keys.push_back(key);
  return keys;
}

using Keys = std::vector<wchar_t>;

LAYER_TEST(Keys, AreCharacters) {
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(keys_from("aä€\U0001F600b"), (Keys{L'a', L'ä', L'€', L'\U0001F600', L'b'}));
}

LAYER_TEST(Keys, AfterHalfACharacterAreDecodedAfresh) {
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(keys_from("\303A"), (Keys{-61, L'A'}));
  EXPECT_EQ(keys_from("\342\202\303\251"), (Keys{-30, -126, L'é'}));
  EXPECT_EQ(keys_from(std::string("\342\202\0a", 4)), (Keys{-30, -126, L'\0', L'a'}));
}

LAYER_TEST(Keys, OfHalfACharacterComeBeforeTheEndOfInput) {
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(keys_from("a\342\202"), (Keys{L'a', -30, -126}));
  // The byte 255 is the end of input; what follows it is the next line's.
  set_script({"\342\202\377z"});
  wchar_t key;
  for (const wchar_t expected : {-30, -126}) {
    EXPECT_EQ(key_reader()(editor.el, &key), 1);
    EXPECT_EQ(key, expected);
  }
  EXPECT_EQ(key_reader()(editor.el, &key), 0);
  EXPECT_EQ(unread_keys(), "z");
}

LAYER_TEST(Keys, OfAnEditorInTheCLocaleAreBytesAndComeAtOnce) {
  setlocale(LC_ALL, "C");
  ASSERT_EQ(rl_initialize(), 0);
  set_script({"\303\244"});
  wchar_t key;
  EXPECT_EQ(key_reader()(editor.el, &key), 1);
  EXPECT_EQ(key, -61);
  EXPECT_EQ(unread_keys(), "\244");
}

LAYER_TEST(Keys, AreBytesWhileEditingIsOff) {
  ASSERT_EQ(rl_initialize(), 0);
  set_editing(false);
  EXPECT_EQ(keys_from("\303\244"), (Keys{-61, -92}));
}

// The C library decodes them.
LAYER_TEST(Keys, AreNotCharactersThatUnicodeLacks) {
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(keys_from("\364\220\200\200"), (Keys{-12, -112, -128, -128}));
}

static sigjmp_buf beginning;

LAYER_TEST(Keys, OfHalfACharacterAreGoneInTheNextLine) {
  wchar_t key;
  ASSERT_EQ(rl_initialize(), 0);
  set_script({"\342\202", [] { siglongjmp(beginning, 1); }});
  if (sigsetjmp(beginning, 1) == 0) key_reader()(editor.el, &key);
  reset_keys();
  EXPECT_EQ(keys_from("\254"), (Keys{-84}));
  set_script({"\342\202"});
  EXPECT_EQ(key_reader()(editor.el, &key), 1);
  reset_keys();
  EXPECT_EQ(keys_from("a"), (Keys{L'a'}));
}

LAYER_TEST(Keys, OfHalfACharacterAreGoneAfterAJumpOutOfTheRead) {
  if (sigsetjmp(beginning, 1) == 0) read_line({"a\303", [] { siglongjmp(beginning, 1); }});
  EXPECT_EQ(read_line({"\251b\n"}), "\251b");
}

// --- Escape sequences and pastes -----------------------------------------------------------------

// The terminal tests have the table of them. Here the parts of a key come with a pause in between.
LAYER_TEST(Sequences, MayComeInParts) {
  EXPECT_EQ(read_line({"ab\033", "[D|\n"}), "a|b");
  EXPECT_EQ(read_line({"ab\033[", "15", "~|\n"}), "ab|");
}

LAYER_TEST(Sequences, OfAnyLengthEnd) {
  EXPECT_EQ(read_line({"ab\033[" + repeated("1;", 10000) + "C|\n"}), "ab|");
  EXPECT_EQ(read_line({"ab" + repeated("\033", 10000) + "[D|\n"}), "|ab");
  EXPECT_EQ(read_line({"ab" + repeated("\033[1", 10000) + "|\n"}), "ab");
}

LAYER_TEST(Sequences, TheEndOfInputInOne) {
  for (const char *keys : {"ab\033[1", "ab\033[", "ab\033O", "ab\033", "ab\033\033"})
    EXPECT_EQ(read_line({keys}), std::nullopt);
  EXPECT_EQ(read_line({"[Dx\n"}), "[Dx");
}

LAYER_TEST(Paste, EndsWithAPauseIfItsMarkIsLost) {
  EXPECT_EQ(read_line({"a\033[200~b\177\n"}), "ab");
  EXPECT_EQ(read_line({"c\177", [] { poll(nullptr, 0, 1100); }, "d\177e\n"}), "ce");
}

LAYER_TEST(Paste, ItsEndMayComeInParts) {
  EXPECT_EQ(read_line({"\033[200~a?\033", "[201~b\177\n"}), "a?");
}

// The bulk-input guard can switch editing off between two lines of a paste.
LAYER_TEST(Paste, IsReadAsItIsWhileEditingIsOff) {
  ASSERT_EQ(rl_initialize(), 0);
  set_editing(false);
  editor.terminal_is_raw = editor.pasting = true;
  EXPECT_EQ(keys_from("a\t\033[201~"), (Keys{L'a', L'\t', L'\033', L'[', L'2', L'0', L'1', L'~'}));
}

// Here no key is a Meta key, and what is typed otherwise needs Ctrl-V.
LAYER_TEST(Paste, IsTextInTheCLocale) {
  setlocale(LC_ALL, "C");
  EXPECT_EQ(read_line({"\033[200~ä\370\033[201~\n"}), "ä\370");
}

// --- The end of input ----------------------------------------------------------------------------

LAYER_TEST(OwnReader, CtrlDIsTheEndOfInput) { EXPECT_EQ(type_at_prompt("\004"), std::nullopt); }

LAYER_TEST(OwnReader, ATerminalThatIsHungUpIsAtItsEnd) {
  set_handler(SIGHUP, SIG_IGN);
  rl_getc_function = nullptr;
  pty_type(&terminal, "before\n");
  EXPECT_EQ(read_next_line(), "before");
  close(terminal.master);
  EXPECT_EQ(read_next_line(), std::nullopt);
  EXPECT_EQ(read_next_line(), std::nullopt);
}
