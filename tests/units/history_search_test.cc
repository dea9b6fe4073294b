// The search through history that follows the typing.
#include <cstring>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

#define search_older "\022"  // ^R
#define search_newer "\023"  // ^S
#define next_word "\027"     // ^W
#define give_up "\007"       // ^G
#define escape "\033"
#define quote "\026"

static void record(const std::vector<const char *> &lines) {
  for (const char *line : lines) add_history(line);
}

// What the screen shows at this point of the keys.
static std::string written;
static Step note_what_is_written() {
  return Step([] {
    pty_collect(&terminal);
    written = terminal.shown.substr(terminal.searched);
  });
}

static void expect_written(const std::string &text) {
  EXPECT_NE(written.find(text), std::string::npos) << written;
}

// --- Finding -------------------------------------------------------------------------------------

LAYER_TEST(Search, FindsTheNewestLineWithThePattern) {
  record({"show one", "show two", "exit"});
  EXPECT_EQ(read_line({search_older "show\n"}), "show two");
}

LAYER_TEST(Search, TheKeyOnceMoreFindsTheNextOlderOne) {
  record({"show one", "show two", "exit"});
  EXPECT_EQ(read_line({search_older "show" search_older "\n"}), "show one");
}

LAYER_TEST(Search, TurnsRound) {
  record({"show one", "show two", "show three"});
  EXPECT_EQ(
      read_line({search_older "show" search_older search_older search_newer search_newer "\n"}),
      "show two");
}

LAYER_TEST(Search, PutsTheCursorOnWhatItFound) {
  record({"show one", "exit"});
  EXPECT_EQ(read_line({search_older "one" escape, "|\n"}), "show |one");
}

LAYER_TEST(Search, FindsEachPlaceInALine) {
  record({"a-a-a"});
  EXPECT_EQ(read_line({search_older "a" escape, "|\n"}), "a-a-|a");
  EXPECT_EQ(read_line({search_older "a" search_older escape, "|\n"}), "a-|a-a");
}

LAYER_TEST(Search, GoesThroughTheLineBeingTypedFirst) {
  record({"one two"});
  EXPECT_EQ(read_line({"two one two!" search_older "two" search_older escape, "|\n"}),
            "|two one two!");
}

LAYER_TEST(Search, ALongerPatternStaysWhereItStillFits) {
  record({"show one", "ship", "shop"});
  EXPECT_EQ(read_line({search_older "sh\n"}), "shop");
  EXPECT_EQ(read_line({search_older "sho\n"}), "shop");
  EXPECT_EQ(read_line({search_older "show\n"}), "show one");
}

LAYER_TEST(Search, IsForTheTextAsItStands) {
  record({"10.0.0.1", "10x0x0x1", "a*b", "aab"});
  EXPECT_EQ(read_line({search_older "10.0\n"}), "10.0.0.1");
  EXPECT_EQ(read_line({search_older "a*\n"}), "a*b");
  EXPECT_EQ(read_line({search_older "[\n"}), "");
}

LAYER_TEST(Search, ALineLikeTheOneShownIsNoStepOn) {
  record({"show one", "show two", "other", "show two"});
  EXPECT_EQ(read_line({search_older "show" search_older "\n"}), "show one");
}

LAYER_TEST(Search, GetsPastALineThatTheLocaleCannotDecode) {
  record({"show one", "show \377", "exit"});
  EXPECT_EQ(read_line({search_older "show\n"}), "show \377");
  EXPECT_EQ(read_line({search_older "show" search_older "\n"}), "show one");
}

LAYER_TEST(Search, BeginsInHistoryToo) {
  record({"show one", "show two", "exit", "show three"});
  EXPECT_EQ(read_line({"\020\020" search_older "show\n"}), "show two");
}

LAYER_TEST(Search, TheHistoryKeysGoOnFromThere) {
  record({"first", "second", "third"});
  EXPECT_EQ(read_line({search_older "sec\020\n"}), "first");
  EXPECT_EQ(read_line({search_older "sec\016\n"}), "third");
  EXPECT_EQ(read_line({"draft" search_older "sec\016\016\n"}), "draft");
}

LAYER_TEST(Search, ComesBackFromHistoryToTheTypedLine) {
  record({"show one", "exit"});
  EXPECT_EQ(read_line({"my show\020\020" search_older "show" search_newer search_newer "\n"}),
            "my show");
}

// --- Not finding ---------------------------------------------------------------------------------

LAYER_TEST(Search, KeepsTheLineWhereItFindsNothing) {
  record({"show one"});
  EXPECT_EQ(read_line({"draft" search_older "zzz\n"}), "draft");
  EXPECT_EQ(read_line({"draft" search_older "show zzz\n"}), "show one");
  EXPECT_EQ(read_line({search_older "\n"}), "");
}

LAYER_TEST(Search, TellsThatItFoundNothing) {
  record({"show one"});
  EXPECT_EQ(read_line({search_older "z", note_what_is_written(), "\n"}), "");
  expect_written("?z");
}

LAYER_TEST(Search, BeginsAnewAtTheNewestLine) {
  record({"show one", "show two"});
  EXPECT_EQ(read_line({search_older "show" search_older search_older search_older "\n"}),
            "show two");
}

LAYER_TEST(Search, BeginsAnewAtTheOldestLine) {
  record({"show one", "show two", "exit"});
  EXPECT_EQ(read_line({search_older "show" search_newer search_newer search_newer "\n"}),
            "show one");
}

// It then finds its own position first.
LAYER_TEST(Search, TurnedRoundAfterAFailureItGoesOnFromWhereItIs) {
  record({"show one", "show two", "show three"});
  const std::string to_the_end = search_older "show" search_older search_older search_older;
  EXPECT_EQ(read_line({to_the_end + search_newer "\n"}), "show one");
  EXPECT_EQ(read_line({to_the_end + search_newer search_newer "\n"}), "show two");
}

LAYER_TEST(Search, WithNoPatternYetTheKeyOnceMoreFindsNothing) {
  record({"show one"});
  EXPECT_EQ(read_line({"draft" search_older search_older escape, "|\n"}), "draft|");
}

LAYER_TEST(Search, WhatItFoundNowhereIsNotGoneOnWithByTheNextWord) {
  record({"show one"});
  EXPECT_EQ(read_line({"show" search_older "zz" next_word, note_what_is_written(), "\n"}), "show");
  expect_written("?z");
}

// --- Its keys ------------------------------------------------------------------------------------

LAYER_TEST(Search, ShowsThePatternBelowTheLine) {
  record({"show one"});
  EXPECT_EQ(read_line({search_older "one", note_what_is_written(), "\n"}), "show one");
  expect_written("show one");
  expect_written("bck:");
}

LAYER_TEST(Search, BackspaceTakesTheLastStepBack) {
  record({"show one", "shop", "exit"});
  EXPECT_EQ(read_line({search_older "show\177\n"}), "shop");
  EXPECT_EQ(read_line({search_older "show\177\177\177\177"
                                    "exit\n"}),
            "exit");
  EXPECT_EQ(read_line({search_older "sho" search_older "\b\n"}), "shop");
  EXPECT_EQ(read_line({"draft" search_older "s\177\177\n"}), "draft");
}

LAYER_TEST(Search, ItCanBeGivenUp) {
  record({"show one"});
  EXPECT_EQ(read_line({"draft\002" search_older "show" give_up "|\n"}), "draf|t");
  EXPECT_EQ(read_line({"\020x" search_older "zzz" give_up "|\n"}), "show onex|");
}

LAYER_TEST(Search, TakesTheNextWordIntoThePattern) {
  record({"show two", "show one two", "exit"});
  EXPECT_EQ(read_line({search_older "sh" next_word next_word, note_what_is_written(), "\n"}),
            "show one two");
  expect_written(" one");
  EXPECT_EQ(read_line({search_older "sh" next_word next_word next_word next_word "\n"}),
            "show one two");
}

// libedit's own search reads before the beginning of its buffer there.
LAYER_TEST(Search, TheNextWordCanBeItsFirstKey) {
  record({"show one"});
  EXPECT_EQ(read_line({search_older next_word "\n"}), "");
  EXPECT_EQ(read_line({"a b\001" search_older next_word search_older "\n"}), "a b");
}

LAYER_TEST(Search, AnyOtherKeyEndsItAndDoesWhatItDoes) {
  record({"show one"});
  EXPECT_EQ(read_line({search_older "one\001|\n"}), "|show one");
  EXPECT_EQ(read_line({search_older "one\013\n"}), "show ");
  EXPECT_EQ(read_line({search_older "one\033[C|\n"}), "show o|ne");
  // Escape alone.
  EXPECT_EQ(read_line({search_older "one\033", "[C|\n"}), "show [C|one");
}

LAYER_TEST(Search, TheLatestPatternIsSearchedForAgain) {
  record({"show one", "show two", "exit"});
  EXPECT_EQ(read_line({search_older "show\n"}), "show two");
  EXPECT_EQ(read_line({search_older search_older search_older "\n"}), "show one");
}

LAYER_TEST(Search, ThePatternOfTheSearchBeforeDoesNotStay) {
  record({"show one", "exit"});
  EXPECT_EQ(read_line({search_older "show\n"}), "show one");
  EXPECT_EQ(read_line({search_older "ex\n"}), "exit");
}

LAYER_TEST(Search, TheApplicationCanBindIt) {
  record({"show one"});
  ASSERT_EQ(rl_initialize(), 0);
  record({"show one"});
  EXPECT_EQ(rl_parse_and_bind("bind ^T em-inc-search-prev"), 0);
  EXPECT_EQ(read_line({"\024one" next_word "\n"}), "show one");
}

LAYER_TEST(Search, AKeyThatRunsACommandEndsIt) {
  record({"what? one"});
  EXPECT_EQ(read_line({search_older "what?|\n"}), "what? one");
  EXPECT_EQ(rl_parse_and_bind("bind ? ed-move-to-end"), 0);
  EXPECT_EQ(read_line({search_older "what?|\n"}), "what? one|");
  EXPECT_EQ(rl_bind_key('?', rl_insert), 0);
  EXPECT_EQ(read_line({search_older "what? o" escape, "|\n"}), "|what? one");
}

LAYER_TEST(Search, WhatWasKilledCanStillBeYanked) {
  record({"show one"});
  EXPECT_EQ(read_line({"abc\025" search_older "zz" give_up "\031\n"}), "abc");
}

LAYER_TEST(Search, ASignalWhoseHandlerReturnsEndsIt) {
  record({"show one"});
  set_handler(SIGQUIT, count_signal);
  const auto signal = [] {
    raise(SIGQUIT);
    wait_for_signal();
  };
  EXPECT_EQ(read_line({search_older "one", signal, "|\n"}), "show |one");
  EXPECT_EQ(read_line({search_older, signal, "ab\n"}), "ab");
  EXPECT_EQ(handled[SIGQUIT], 2);
}

LAYER_TEST(Search, TheEndOfInputEndsTheRead) {
  record({"show one"});
  EXPECT_EQ(read_line({search_older "sho"}), std::nullopt);
  EXPECT_EQ(read_line({"abc\n"}), "abc");
}

LAYER_TEST(Search, TheApplicationCanBindTheOneForNewerLines) {
  record({"show one", "show two", "exit"});
  EXPECT_EQ(rl_parse_and_bind("bind ^T rl_inc_search_next"), 0);
  EXPECT_EQ(read_line({"\020\020\020\024two\n"}), "show two");
}

// Ends the search as one key, on a terminal whose arrows begin with Escape and O too. Each prompt
// is another one, so that nothing is typed before it is there.
static void expect_arrow_ends_search(const char *prompt, const char *arrow) {
  SCOPED_TRACE(prompt);
  pty_start_typing(&terminal, {{prompt, search_older "sec"}, {"bck:", std::string(arrow) + "\n"}});
  EXPECT_EQ(read_next_line(prompt), "first");
  EXPECT_TRUE(pty_finish_typing());
}

LAYER_TEST(Search, AnArrowKeyEndsItWhicheverWayItIsSent) {
  record({"first", "second"});
  rl_getc_function = nullptr;
  expect_arrow_ends_search("bracket> ", "\033[A");
  expect_arrow_ends_search("letter> ", "\033OA");
}

// --- Its bounds ----------------------------------------------------------------------------------

// libedit's own search writes such a pattern beyond the end of its buffer.
LAYER_TEST(Search, ALongPatternBelowALongLine) {
  const std::string line = repeated("x", 1000);
  const std::string pattern = repeated("y", 300);
  EXPECT_EQ(read_line({line + search_older + pattern + "\n"}), line);
}

LAYER_TEST(Search, AThousandKeys) {
  record({"show one", "show two"});
  EXPECT_EQ(read_line({search_older "show", repeated(search_older, 2000), "\n"}).value().size(),
            8u);
  EXPECT_EQ(read_line({search_older "show", repeated(search_older "\177", 2000), "\n"}),
            "show two");
}

// No further key changes the pattern or the line found.
LAYER_TEST(Search, AThousandStepsAreItsLast) {
  record({"show two", "other"});
  EXPECT_EQ(read_line({search_older "show", repeated(search_older, 2000), next_word, "x\n"}),
            "show two");
}

LAYER_TEST(Search, AWordThatIsTooLongForThePattern) {
  const std::string word = repeated("w", 300);
  record({("a " + word).c_str(), ("a" + repeated(" ", 300) + "b").c_str()});
  EXPECT_EQ(read_line({search_older "a" next_word next_word escape, "|\n"}),
            "|a" + repeated(" ", 300) + "b");
  EXPECT_EQ(read_line({search_older "a w" next_word next_word escape, "|\n"}), "|a " + word);
}

LAYER_TEST(Search, IsForCharactersOfSeveralBytes) {
  record({"caf\303\251 au lait", "cafe noir"});
  EXPECT_EQ(read_line({search_older "lait" escape, "|\n"}), "caf\303\251 au |lait");
  rl_getc_function = nullptr;
  pty_start_typing(&terminal, {{"> ", search_older "f\303\251\006|\n"}});
  EXPECT_EQ(read_next_line(), "caf|\303\251 au lait");
  EXPECT_TRUE(pty_finish_typing());
}

LAYER_TEST(Search, IsForBytesThatAreNoCharacterToo) {
  record({"one \370 two", "one x two"});
  EXPECT_EQ(read_line({search_older "e \370" escape, "|\n"}), "on|e \370 two");
  EXPECT_EQ(read_line({search_older "\370\177x" escape, "|\n"}), "one |x two");
}

LAYER_TEST(Search, AQuotedCharacterEndsIt) {
  record({"one two"});
  EXPECT_EQ(read_line({search_older "two" quote "é|\n"}), "one é|two");
}
