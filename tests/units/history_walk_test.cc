// The history object of the layer: who owns it, what enters it, and that the editor walks it.
#include <clocale>
#include <cstring>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

#define up_key "\020"    // ^P
#define down_key "\016"  // ^N
#define meta_p "\033p"
#define meta_n "\033n"

LAYER_TEST(GetHistory, IsNullBeforeTheLayerIsInitialisedAndDoesNotInitialiseIt) {
  EXPECT_EQ(get_history(), nullptr);
  EXPECT_EQ(get_history(), nullptr);
  EXPECT_EQ(rl_line_buffer, nullptr);
}

LAYER_TEST(GetHistory, StaysTheSameFromInitialisationOn) {
  ASSERT_EQ(rl_initialize(), 0);
  History *const first = get_history();
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(read_line({"abc\n"}), "abc");
  add_history("abc");
  clear_history();
  EXPECT_EQ(get_history(), first);
}

LAYER_TEST(AddHistory, InitialisesAndTheUpKeyBringsTheLineBack) {
  EXPECT_EQ(add_history("first"), 0);
  EXPECT_NE(get_history(), nullptr);
  EXPECT_EQ(read_line({up_key "\n"}), "first");
}

LAYER_TEST(AddHistory, LinesComeBackNewestFirst) {
  add_history("first");
  add_history("second");
  add_history("third");
  EXPECT_EQ(read_line({up_key "\n"}), "third");
  EXPECT_EQ(read_line({up_key up_key up_key "\n"}), "first");
  EXPECT_EQ(read_line({up_key up_key up_key down_key "\n"}), "second");
  EXPECT_EQ(read_line({"draft" up_key down_key "\n"}), "draft");
}

LAYER_TEST(AddHistory, CopiesTheLine) {
  char line[] = "before";
  add_history(line);
  memcpy(line, "after!", sizeof line);
  EXPECT_EQ(read_line({up_key "\n"}), "before");
}

LAYER_TEST(AddHistory, KeepsThousandsOfLines) {
  for (int i = 0; i < 3000; ++i) add_history(("line " + std::to_string(i)).c_str());
  std::string to_the_oldest;
  for (int i = 0; i < 3000; ++i) to_the_oldest += up_key;
  EXPECT_EQ(read_line({to_the_oldest, "\n"}), "line 0");
}

LAYER_TEST(AddHistory, ReadlineItselfRecordsNothing) {
  EXPECT_EQ(read_line({"abc\n"}), "abc");
  EXPECT_EQ(read_line({up_key "|\n"}), "|");
}

LAYER_TEST(ClearHistory, EmptiesIt) {
  add_history("first");
  add_history("second");
  clear_history();
  EXPECT_EQ(read_line({up_key "|\n"}), "|");
  add_history("third");
  EXPECT_EQ(read_line({up_key up_key "\n"}), "third");
}

LAYER_TEST(ClearHistory, InitialisesTheLayer) {
  clear_history();
  EXPECT_NE(get_history(), nullptr);
}

// --- What libedit's own commands lose ------------------------------------------------------------

static void record(const std::vector<std::string> &lines) {
  for (const std::string &line : lines) add_history(line.c_str());
}

LAYER_TEST(WalkingHistory, ALongTypedLineComesBackWhole) {
  record({"recorded"});
  const std::string line = repeated("0123456789", 150) + "end";
  EXPECT_EQ(read_line({line + up_key down_key "\n"}), line);
  EXPECT_EQ(read_line({line + up_key down_key "!\n"}), line + "!");
}

LAYER_TEST(WalkingHistory, GetsPastALineThatTheLocaleCannotDecode) {
  record({"older", "caf\351", "newer"});
  EXPECT_EQ(read_line({up_key up_key up_key "\n"}), "older");
  EXPECT_EQ(read_line({up_key up_key up_key down_key down_key "\n"}), "newer");
  EXPECT_EQ(read_line({"old" meta_p "\n"}), "older");
}

LAYER_TEST(WalkingHistory, EveryByteOfARecalledLineComesBack) {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
  record({bytes, "blanks at the end  ", "a line end\n"});
  EXPECT_EQ(read_line({up_key "|\n"}), "a line end\n|");
  EXPECT_EQ(read_line({up_key up_key "\n"}), "blanks at the end  ");
  EXPECT_EQ(read_line({up_key up_key up_key "\n"}), bytes);
}

LAYER_TEST(WalkingHistory, EveryByteComesBackInTheCLocale) {
  setlocale(LC_ALL, "C");
  record({"caf\303\251", "newer"});
  EXPECT_EQ(read_line({up_key up_key "|\n"}), "caf\303\251|");
}

LAYER_TEST(WalkingHistory, DownInTheTypedLineKeepsIt) {
  record({"recorded"});
  EXPECT_EQ(read_line({"draft" down_key "\n"}), "draft");
  EXPECT_EQ(read_line({"draft" up_key down_key " more" down_key "\n"}), "draft more");
}

LAYER_TEST(WalkingHistory, DownAfterASearchHasComeBackKeepsTheLine) {
  record({"draft one"});
  EXPECT_EQ(read_line({"draft" meta_p meta_n " more" down_key "\n"}), "draft more");
}

LAYER_TEST(WalkingHistory, UpAtTheOldestLineKeepsWhatWasTypedThere) {
  record({"oldest"});
  EXPECT_EQ(read_line({up_key " more" up_key "\n"}), "oldest more");
}

LAYER_TEST(WalkingHistory, WhatWasKilledCanStillBeYanked) {
  record({"recorded"});
  EXPECT_EQ(read_line({"abc\025" up_key down_key "\031\n"}), "abc");
}

LAYER_TEST(WalkingHistory, AnEmptyLineIsRecalledAsSuch) {
  record({"", "newer"});
  EXPECT_EQ(read_line({up_key up_key "\n"}), "");
  EXPECT_EQ(read_line({up_key up_key down_key "\n"}), "newer");
}

LAYER_TEST(WalkingHistory, TakesARepeatCount) {
  record({"one", "two", "three", "four"});
  EXPECT_EQ(read_line({"\0333" up_key "\n"}), "two");
  EXPECT_EQ(read_line({"\0333\033[A\n"}), "two");
  EXPECT_EQ(read_line({"\0333\033OA\0332\033OB\n"}), "four");
  EXPECT_EQ(read_line({"\03310" up_key "\n"}), "one");
  EXPECT_EQ(read_line({"draft\0333" up_key "\0339" down_key "\n"}), "draft");
}

LAYER_TEST(WalkingHistory, ARepeatCountIsForOneKey) {
  record({"one", "two", "three"});
  EXPECT_EQ(read_line({"\0333x\025" up_key "\n"}), "three");
  EXPECT_EQ(read_line({"\0332" up_key up_key "\n"}), "one");
}

LAYER_TEST(WalkingHistory, IsOverAtTheNextLine) {
  record({"one", "two", "three"});
  EXPECT_EQ(read_line({up_key up_key "\n"}), "two");
  EXPECT_EQ(read_line({up_key "\n"}), "three");
  EXPECT_EQ(read_line({"new" down_key "\n"}), "new");
}

// Clearing history leaves the recalled line on the screen, but no line to step to.
LAYER_TEST(WalkingHistory, HistoryThatIsClearedMeanwhile) {
  on_command_key([] { clear_history(); });
  record({"older", "newer"});
  EXPECT_EQ(read_line({up_key up_key command_key up_key "x\n"}), "olderx");
  record({"older", "newer"});
  EXPECT_EQ(read_line({"old" meta_p command_key meta_p "y\n"}), "oldery");
  record({"older", "newer"});
  EXPECT_EQ(read_line({up_key up_key command_key "\022zz\007z\n"}), "olderz");
  EXPECT_EQ(read_line({"next\n"}), "next");
}

// They are bound to the layer's, by whatever line of settings.
LAYER_TEST(WalkingHistory, LibeditsOwnCommandsAreReplaced) {
  record({"older", "caf\351", "newer"});
  EXPECT_EQ(rl_parse_and_bind("bind -v"), 0);
  EXPECT_EQ(rl_parse_and_bind("bind -a x ed-prev-history"), 0);
  EXPECT_EQ(rl_parse_and_bind("bind -a X ed-next-history"), 0);
  EXPECT_EQ(read_line({"\033xxx\n"}), "older");
  EXPECT_EQ(read_line({"\033xxxX\n"}), "caf\351");
}

// vi's underscore appends a word of the newest line, and is libedit's own.
LAYER_TEST(WalkingHistory, LibeditsOwnCommandTakesALineThatItCannotDecode) {
  record({"older", "caf\351"});
  EXPECT_EQ(rl_parse_and_bind("bind -v"), 0);
  EXPECT_EQ(read_line({"\033_\n"}), " caf?");
}

// --- Lines with the text before the cursor -------------------------------------------------------

LAYER_TEST(SearchingForTypedText, GoesFromMatchToMatch) {
  record({"show one", "exit", "show two", "show three"});
  EXPECT_EQ(read_line({"show" meta_p "\n"}), "show three");
  EXPECT_EQ(read_line({"show" meta_p meta_p meta_p "\n"}), "show one");
  EXPECT_EQ(read_line({"show" meta_p meta_p meta_p meta_n "\n"}), "show two");
}

LAYER_TEST(SearchingForTypedText, StaysAtTheLastMatch) {
  record({"show one", "exit"});
  EXPECT_EQ(read_line({"show" meta_p meta_p "|\n"}), "show one|");
  EXPECT_EQ(read_line({"show" meta_p meta_p meta_n "\n"}), "show");
  EXPECT_EQ(read_line({"show" meta_n "|\n"}), "show|");
}

LAYER_TEST(SearchingForTypedText, AChangedLineIsANewPattern) {
  record({"exit", "show two", "show one"});
  EXPECT_EQ(read_line({"show" meta_p "\025"
                       "ex" meta_p "\n"}),
            "exit");
}

LAYER_TEST(SearchingForTypedText, AMovedCursorIsANewPattern) {
  record({"sort", "show one", "shut", "show two"});
  EXPECT_EQ(read_line({"show" meta_p "\001\006" meta_p "\n"}), "shut");
}

LAYER_TEST(SearchingForTypedText, IsForWhatIsBeforeTheCursor) {
  record({"show one"});
  EXPECT_EQ(read_line({"show zzz\033b\002" meta_p "\n"}), "show one");
}

LAYER_TEST(SearchingForTypedText, LinesLikeTheOneShownArePassedOver) {
  record({"show one", "show two", "exit", "show two"});
  EXPECT_EQ(read_line({"show" meta_p meta_p "\n"}), "show one");
}

// --- A store of the application's own ------------------------------------------------------------

// A fixed list, newest first, behind the ten functions of a history store.
static const char *const stored[] = {"newest", "middle", "oldest"};
static constexpr int stored_count = 3;

static struct {
  int at;
  int clears;
  std::string entered;
} store;

// libedit 3.1-20221030 hands on its own object in place of the pointer given with H_FUNC, so the
// functions leave that argument alone.
static int step_to(HistEvent *event, int at) {
  if (at < 0 || at >= stored_count) return -1;
  store.at = at;
  event->num = stored_count - at;
  event->str = stored[at];
  return 0;
}

static int store_first(void *, HistEvent *event) { return step_to(event, 0); }
static int store_next(void *, HistEvent *event) { return step_to(event, store.at + 1); }
static int store_last(void *, HistEvent *event) { return step_to(event, stored_count - 1); }
static int store_previous(void *, HistEvent *event) { return step_to(event, store.at - 1); }
static int store_current(void *, HistEvent *event) { return step_to(event, store.at); }
static int store_set(void *, HistEvent *event, int number) {
  return step_to(event, stored_count - number);
}
static void store_clear(void *, HistEvent *) { ++store.clears; }
static int store_enter(void *, HistEvent *, const char *line) {
  store.entered = line;
  return 1;
}
static int store_add(void *, HistEvent *, const char *) { return -1; }
static int store_delete(void *, HistEvent *, int) { return -1; }

static int plug_in_store() {
  HistEvent event;
  return history(get_history(), &event, H_FUNC, &store, store_first, store_next, store_last,
                 store_previous, store_current, store_set, store_clear, store_enter, store_add,
                 store_delete);
}

LAYER_TEST(PluggedStore, IsWhatTheEditorWalks) {
  add_history("of the layer's own");
  ASSERT_EQ(plug_in_store(), 0);
  EXPECT_EQ(read_line({up_key "\n"}), "newest");
  EXPECT_EQ(read_line({up_key up_key up_key "\n"}), "oldest");
  EXPECT_EQ(read_line({up_key up_key up_key down_key "\n"}), "middle");
}

LAYER_TEST(PluggedStore, IsWhatTheSearchGoesThrough) {
  ASSERT_EQ(rl_initialize(), 0);
  ASSERT_EQ(plug_in_store(), 0);
  EXPECT_EQ(read_line({"\022old\n"}), "oldest");
}

LAYER_TEST(PluggedStore, GetsWhatIsAddedAndCleared) {
  ASSERT_EQ(rl_initialize(), 0);
  ASSERT_EQ(plug_in_store(), 0);
  const int clears = store.clears;
  add_history("a line");
  EXPECT_EQ(store.entered, "a line");
  clear_history();
  EXPECT_EQ(store.clears, clears + 1);
}

LAYER_TEST(PluggedStore, IsGoneFromANewEditor) {
  ASSERT_EQ(rl_initialize(), 0);
  ASSERT_EQ(plug_in_store(), 0);
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(read_line({up_key "|\n"}), "|");
}
