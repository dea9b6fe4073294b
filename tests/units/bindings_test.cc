// Keys: those that every line has, and the calls that bind keys.
#include <fcntl.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

// --- The keys that every line has ----------------------------------------------------------------

static const struct {
  const char *name;
  const char *before;
  const char *key;
  const char *after;
  const char *line;
} default_keys[] = {
    {"Home, 1~", "one two", "\033[1~", "|", "|one two"},
    {"Home, 7~", "one two", "\033[7~", "|", "|one two"},
    {"Home, H", "one two", "\033[H", "|", "|one two"},
    {"End, 4~", "one two\001", "\033[4~", "|", "one two|"},
    {"End, 8~", "one two\001", "\033[8~", "|", "one two|"},
    {"End, F", "one two\001", "\033[F", "|", "one two|"},
    {"Delete", "one two\001", "\033[3~", "|", "|ne two"},
    {"Insert quotes a key", "one", "\033[2~", "\001|", "one\001|"},
    {"Ctrl-Right, 1;5C", "one two\001", "\033[1;5C", "|", "one| two"},
    {"Ctrl-Right, 5C", "one two\001", "\033[5C", "|", "one| two"},
    {"Ctrl-Right, escape", "one two\001", "\033\033[C", "|", "one| two"},
    {"Ctrl-Left, 1;5D", "one two", "\033[1;5D", "|", "one |two"},
    {"Ctrl-Left, 5D", "one two", "\033[5D", "|", "one |two"},
    {"Ctrl-Left, escape", "one two", "\033\033[D", "|", "one |two"},
    {"Ctrl-R", "", "\022", "eed", "needle"},
    // Of the editor's emacs set.
    {"Right", "one two\001", "\033[C", "|", "o|ne two"},
    {"Left", "one two", "\033[D", "|", "one tw|o"},
    {"Up", "one", "\033[A", "|", "needle|"},
    {"Ctrl-A", "one", "\001", "|", "|one"},
    {"Ctrl-K", "one two\001\006\006", "\013", "|", "on|"},
};

LAYER_TEST(Keys, ThatEveryLineHas) {
  add_history("needle");
  for (const auto &row : default_keys) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(read_line({row.before, row.key, row.after, "\n"}), row.line);
  }
}

LAYER_TEST(Keys, CarriageReturnEndsTheLineToo) { EXPECT_EQ(read_line({"one\r"}), "one"); }

LAYER_TEST(Keys, CtrlDOnAnEmptyLineIsTheEndOfInput) {
  EXPECT_EQ(read_line({"\004one\n"}), std::nullopt);
  EXPECT_EQ(read_next_line(), "one");
}

LAYER_TEST(Keys, CtrlZSendsTheSuspendSignalToTheProcessGroup) {
  set_handler(SIGTSTP, count_signal);
  EXPECT_EQ(read_line({"a\032", wait_for_signal, "b\n"}), "ab");
  EXPECT_EQ(handled[SIGTSTP], 1);
}

// --- rl_bind_key ---------------------------------------------------------------------------------

LAYER_TEST(BindKey, MakesTabInsertItself) {
  EXPECT_EQ(rl_bind_key('\t', rl_insert), 0);
  EXPECT_NE(get_history(), nullptr);
  EXPECT_EQ(read_line({"a\tb\n"}), "a\tb");
}

LAYER_TEST(BindKey, MakesAnyKeyInsertItself) {
  for (const int key : {'\001', '\004', '\027', '?', '\\', '^', '"', ' ', '\177'}) {
    SCOPED_TRACE(key);
    const std::string text(1, static_cast<char>(key));
    EXPECT_EQ(rl_bind_key(key, rl_insert), 0);
    EXPECT_EQ(read_line({"a", text, "b\n"}), "a" + text + "b");
  }
}

LAYER_TEST(BindKey, TakesTheFirstAndTheLastKey) {
  EXPECT_EQ(rl_bind_key(0, rl_insert), 0);
  EXPECT_EQ(rl_bind_key(255, rl_insert), 0);
}

static int never_called(int, int) {
  ADD_FAILURE() << "called";
  return 0;
}

LAYER_TEST(BindKey, RefusesWhatIsNoKey) {
  for (const int key : {-1, 256, -256, 1 << 30}) EXPECT_EQ(rl_bind_key(key, rl_insert), -1) << key;
  EXPECT_EQ(get_history(), nullptr);
}

LAYER_TEST(BindKey, RefusesEveryOtherFunction) {
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(rl_bind_key('a', never_called), -1);
  EXPECT_EQ(rl_bind_key(1, never_called), -1);
  EXPECT_EQ(rl_bind_key(1, nullptr), -1);
  EXPECT_EQ(read_line({"ba\001c\n"}), "cba");
}

LAYER_TEST(BindKey, LastsUntilTheEditorIsMadeAnew) {
  EXPECT_EQ(rl_bind_key(1, rl_insert), 0);
  EXPECT_EQ(read_line({"a\001b\n"}), "a\001b");
  EXPECT_EQ(read_line({"a\001b\n"}), "a\001b");
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(read_line({"a\001b\n"}), "ba");
}

// --- rl_add_defun --------------------------------------------------------------------------------

LAYER_TEST(AddDefun, RefusesWhatIsNoKeyAndAddsNoCommand) {
  for (const int key : {-1, 256, -255, 1 << 30})
    EXPECT_EQ(rl_add_defun("never-added", never_called, key), -1) << key;
  EXPECT_EQ(get_history(), nullptr);
  EXPECT_EQ(rl_parse_and_bind("bind ^G never-added"), 1);
  EXPECT_EQ(read_line({"a\ab\n"}), "ab");
}

static int calls[256];

static int note_key(int, int key) {
  ++calls[key & 0xff];
  return 0;
}

LAYER_TEST(AddDefun, CallsTheFunctionForEachKeyThatItIsBoundTo) {
  EXPECT_EQ(rl_add_defun("note-7", note_key, 7), 0);
  EXPECT_EQ(rl_add_defun("note-q", note_key, 'q'), 0);
  EXPECT_EQ(read_line({"a\aqb\a\n"}), "ab");
  EXPECT_EQ(calls[7], 2);
  EXPECT_EQ(calls[static_cast<int>('q')], 1);
}

LAYER_TEST(AddDefun, TheNameIsACommandOfTheEditor) {
  EXPECT_EQ(rl_add_defun("note-7", note_key, 7), 0);
  EXPECT_EQ(rl_parse_and_bind("bind ^G ed-move-to-beg"), 0);
  EXPECT_EQ(rl_parse_and_bind("bind ^G note-7"), 0);
  EXPECT_EQ(read_line({"a\ab\n"}), "ab");
  EXPECT_EQ(calls[7], 1);
}

// --- rl_parse_and_bind ---------------------------------------------------------------------------

static const struct {
  const char *line;
  int returned;
} bind_lines[] = {
    {"bind ^G ed-move-to-beg", 0},
    {"  bind   ^G\ted-move-to-beg  ", 0},
    {"bind \"^G\" ed-move-to-beg", 0},
    {"bind ^I rl_complete", 0},
    {"bind ? rl_complete", 0},
    {"bind ^R em-inc-search-prev", 0},
    {"bind ^W ed-delete-prev-word", 0},
    {"bind ^Z rl_tstp", 0},
    {"settc li 20", 0},
    {"bind ^G no-such-command", 1},
    {"no-such-word", 1},
    {"", 1},
    {"   ", 1},
    {"bind ^G \"ed-move-to-beg", 1},
};

LAYER_TEST(ParseAndBind, SaysWhetherTheEditorTookTheLine) {
  for (const auto &row : bind_lines)
    EXPECT_EQ(rl_parse_and_bind(row.line), row.returned) << row.line;
}

LAYER_TEST(ParseAndBind, InitialisesAndBinds) {
  EXPECT_EQ(rl_parse_and_bind("bind ^G ed-move-to-beg"), 0);
  EXPECT_NE(get_history(), nullptr);
  EXPECT_EQ(read_line({"ab\ac\n"}), "cab");
}

LAYER_TEST(ParseAndBind, ARefusedLineLeavesTheKeyAsItWas) {
  EXPECT_EQ(rl_parse_and_bind("bind ^G ed-move-to-beg"), 0);
  EXPECT_EQ(rl_parse_and_bind("bind ^G no-such-command"), 1);
  EXPECT_EQ(rl_parse_and_bind(""), 1);
  EXPECT_EQ(read_line({"ab\ac\n"}), "cab");
}

LAYER_TEST(ParseAndBind, CtrlWCanDeleteTheWordBeforeTheCursor) {
  EXPECT_EQ(rl_parse_and_bind("bind ^W ed-delete-prev-word"), 0);
  EXPECT_EQ(read_line({"one two\027|\n"}), "one |");
}

// --- The calls for editors that bind through keymaps ---------------------------------------------

static void call_all_for_keymaps(const char *text, rl_command_func_t *function, Keymap map) {
  EXPECT_EQ(rl_named_function(text), nullptr);
  EXPECT_EQ(rl_invoking_keyseqs_in_map(function, map), nullptr);
  EXPECT_EQ(rl_bind_keyseq_in_map(text, function, map), 0);
  EXPECT_EQ(rl_bind_key_in_map(9, function, map), 0);
}

LAYER_TEST(KeymapCalls, AnswerThatThereIsNothing) {
  KeymapEntry map[256] = {};
  map[9] = {1, rl_insert};
  call_all_for_keymaps("beginning-of-history", rl_insert, map);
  call_all_for_keymaps("rl_complete", never_called, map);
  call_all_for_keymaps("", never_called, map);
  call_all_for_keymaps(nullptr, nullptr, nullptr);
  call_all_for_keymaps("\\C-p", nullptr, map);
}

LAYER_TEST(KeymapCalls, InitialiseNothingAndChangeNoMap) {
  KeymapEntry map[256] = {}, before[256] = {};
  map[9] = before[9] = {1, rl_insert};
  call_all_for_keymaps("\t", never_called, map);
  EXPECT_EQ(memcmp(map, before, sizeof map), 0);
  EXPECT_EQ(get_history(), nullptr);
}

LAYER_TEST(KeymapCalls, BindNoKeyOfTheEditor) {
  KeymapEntry map[256] = {};
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(rl_bind_keyseq_in_map("a", never_called, map), 0);
  EXPECT_EQ(rl_bind_key_in_map('a', never_called, map), 0);
  EXPECT_EQ(rl_bind_key_in_map('a', nullptr, map), 0);
  EXPECT_EQ(read_line({"a\n"}), "a");
}

// --- Keys that would end the process -------------------------------------------------------------

// Each of them beeps, and the line goes on.
static const struct {
  const char *name;
  std::string keys;
  std::string line;
} harmless_keys[] = {
    {"Meta-x", "\033x\"\n", "\""},
    {"Meta-X", "\033X\"\n", "\""},
    {"Meta-Ctrl-underscore", repeated("ab \033\037", 2000) + "\n", repeated("ab ", 2000)},
};

LAYER_TEST(HarmlessKeys, LeaveTheLineAsItIs) {
  for (const auto &row : harmless_keys) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(read_line({row.keys}), row.line);
  }
}

// --- Bytes above 127 -----------------------------------------------------------------------------

// In the C locale they are Meta keys.
static const struct {
  const char *name;
  std::string keys;
  std::string line;
} meta_bytes[] = {
    {"Meta-b", "one two\342|\n", "one |two"},
    {"Meta-p", "nee\360|\n", "needle|"},
    {"Meta-P", "nee\320|\n", "needle|"},
    {"Meta-n", "nee\360\356|\n", "nee|"},
    {"Meta-N", "nee\360\316|\n", "nee|"},
    {"Meta-3", "\263x\n", "xxx"},
    {"Meta-x", "\370\"\n", "\""},
    {"Meta-X", "\330\"\n", "\""},
    {"Meta-Ctrl-underscore", repeated("ab \237", 2000) + "\n", repeated("ab ", 2000)},
};

LAYER_TEST(HighBytes, AreMetaKeysInTheCLocale) {
  setlocale(LC_ALL, "C");
  add_history("needle");
  for (const auto &row : meta_bytes) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(read_line({row.keys}), row.line);
  }
}

static std::string encoded(wchar_t first, wchar_t last) {
  std::string all;
  for (wchar_t character = first; character <= last; ++character) {
    char bytes[16] = {};
    mbstate_t shift = {};
    all.append(bytes, wcrtomb(bytes, character, &shift));
  }
  return all;
}

static void use_settings_line(const char *line) { EXPECT_EQ(rl_parse_and_bind(line), 0); }

// The characters whose codes libedit looks up in its key map, and the bytes that are no character,
// which it looks up too.
LAYER_TEST(HighBytes, InsertThemselvesInEveryOtherLocale) {
  const std::string characters = encoded(0x80, 0x17f);
  std::string bytes;
  for (int byte = 0x80; byte < 0xff; ++byte) bytes += static_cast<char>(byte) + std::string("-");
  for (const char *settings : {"settc li 24", "bind -e", "bind -v", "bind -e"}) {
    SCOPED_TRACE(settings);
    use_settings_line(settings);
    EXPECT_EQ(read_line({characters, "\n"}), characters);
    EXPECT_EQ(read_line({bytes, "\n"}), bytes);
  }
}

LAYER_TEST(HighBytes, ThatTheUserHasBoundStayBound) {
  use_settings_line("bind \"\\344\" ed-move-to-beg");
  EXPECT_EQ(read_line({"baä|\n"}), "|ba");
}

// libedit would bind the key that has their low byte: this one, Ctrl-A.
LAYER_TEST(HighBytes, NoKeyIsBoundInPlaceOfACharacter) {
  for (const char *line : {"bind ā ed-move-to-end", "bind -s ā text", "bind āx ed-move-to-end",
                           "bind -r ā", "bind -a ā ed-move-to-end"})
    EXPECT_EQ(rl_parse_and_bind(line), 1) << line;
  EXPECT_EQ(read_line({"ab\001|ā\n"}), "|āab");
}

// They have the low byte of a key that runs a command of the application.
LAYER_TEST(HighBytes, OfACharacterRunNothing) {
  EXPECT_EQ(rl_add_defun("note-7", note_key, 7), 0);
  use_settings_line("bind \"\\eć\" note-7");
  EXPECT_EQ(read_line({"a\033ćb\n"}), "ab");
  EXPECT_EQ(calls[7], 0);
}
