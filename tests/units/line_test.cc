// Changing the line while it is edited: inserting and deleting text, and ending the read from a
// command.
#include <malloc.h>

#include <climits>
#include <iterator>

#include "editline/base/editor.h"
#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

// --- rl_delete_text ------------------------------------------------------------------------------

static const struct {
  const char *name;
  int start;
  int end;
  int returned;
  const char *line;
  int point;
} deletions[] = {
    {"to the end", 5, 12, 7, "abcde", 5},
    {"end beyond the line", 5, 50, 7, "abcde", 5},
    {"start before the line", -3, 4, 4, "efghijkl", 0},
    {"start after end", 8, 3, -5, "abcdefghijkl", 3},
    {"end before the line", 2, -1, -2, "abcdefghijkl", 0},
    {"start beyond the line, end inside", 99, 4, -8, "abcdefghijkl", 4},
    {"all", 0, 12, 12, "", 0},
    {"more than all", INT_MIN, INT_MAX, 12, "", 0},
    {"the first character", 0, 1, 1, "bcdefghijkl", 0},
    {"the last character", 11, 12, 1, "abcdefghijk", 11},
    {"in the middle", 3, 6, 3, "abcghijkl", 3},
    {"nothing at the start", 0, 0, 0, "abcdefghijkl", 0},
    {"nothing in the middle", 6, 6, 0, "abcdefghijkl", 6},
    {"nothing at the end", 12, 12, 0, "abcdefghijkl", 12},
    {"both beyond the line", 40, 50, 0, "abcdefghijkl", 12},
    {"both before the line", -5, -2, 0, "abcdefghijkl", 0},
};

// The bar shows where the editor's own cursor was left.
static std::string with_bar(std::string line, int point) {
  return line.insert(static_cast<size_t>(point), "|");
}

LAYER_TEST(DeleteText, DeletesWhatLiesBetweenTheClampedOffsets) {
  for (const auto &row : deletions) {
    SCOPED_TRACE(row.name);
    int returned = INT_MAX;
    PublishedLine after = {};
    on_command_key([&] {
      returned = rl_delete_text(row.start, row.end);
      after = published_line();
    });
    EXPECT_EQ(read_line({"abcdefghijkl" command_key "|\n"}), with_bar(row.line, row.point));
    EXPECT_EQ(returned, row.returned);
    expect_line(after, row.line, row.point, static_cast<int>(strlen(row.line)));
  }
}

LAYER_TEST(DeleteText, DoesNotDependOnTheCursor) {
  for (const char *cursor_keys : {"", "\001", "\001\006\006"}) {
    int returned = 0;
    on_command_key([&] { returned = rl_delete_text(1, 3); });
    EXPECT_EQ(read_line({"abcdef", cursor_keys, command_key "|\n"}), "a|def");
    EXPECT_EQ(returned, 2);
  }
}

LAYER_TEST(DeleteText, OnAnEmptyLineHasNothingToDelete) {
  int returned = INT_MAX;
  PublishedLine after = {};
  on_command_key([&] {
    returned = rl_delete_text(0, 5);
    after = published_line();
  });
  EXPECT_EQ(read_line({command_key "|\n"}), "|");
  EXPECT_EQ(returned, 0);
  expect_line(after, "", 0, 0);
}

LAYER_TEST(DeleteText, ClampsToTheLengthPublishedLast) {
  int returned = 0;
  PublishedLine after = {};
  on_command_key([&] {
    rl_end = 3;
    returned = rl_delete_text(1, 12);
    after = published_line();
  });
  EXPECT_EQ(read_line({"abcdef" command_key "\n"}), "adef");
  EXPECT_EQ(returned, 2);
  expect_line(after, "adef", 1, 4);
}

LAYER_TEST(DeleteText, CountsCharactersNotBytes) {
  int returned = 0;
  PublishedLine before = {}, after = {};
  on_command_key([&] {
    EXPECT_EQ(rl_insert_text("aäö€b"), 9);
    before = published_line();
    returned = rl_delete_text(1, 3);
    after = published_line();
  });
  EXPECT_EQ(read_line({command_key "|\n"}), "a|€b");
  EXPECT_EQ(returned, 2);
  expect_line(before, "aäö€b", 5, 5);
  expect_line(after, "a€b", 1, 3);
}

LAYER_TEST(DeleteText, TwiceInOneCommandSeesTheShorterLine) {
  int second = 0;
  on_command_key([&] {
    EXPECT_EQ(rl_delete_text(4, 6), 2);
    second = rl_delete_text(2, 6);
  });
  EXPECT_EQ(read_line({"abcdef" command_key "\n"}), "ab");
  EXPECT_EQ(second, 2);
}

LAYER_TEST(DeleteText, InitialisesTheLayer) {
  EXPECT_EQ(rl_delete_text(0, 5), 0);
  EXPECT_NE(get_history(), nullptr);
  expect_line(published_line(), "", 0, 0);
}

// --- rl_insert_text ------------------------------------------------------------------------------

static const struct {
  const char *name;
  const char *cursor_keys;  // ^A start, ^E end, ^F right
  int point;
  const char *line;
  int point_after;
} insertions[] = {
    {"inside, cursor at the end", "", 2, "wxabcyz", 5},
    {"inside, cursor at the start", "\001", 2, "wxabcyz", 5},
    {"at the start, cursor elsewhere", "\001\006\006\006", 0, "abcwxyz", 3},
    {"before the last character", "\001", 3, "wxyabcz", 6},
    {"at the end, cursor at the start", "\001", 4, "wxyzabc", 7},
    {"past the end: at the cursor", "\001\006", 9, "wabcxyz", 4},
    {"just past the end: at the cursor", "\001\006", 5, "wabcxyz", 4},
    {"far past the end, cursor at the end", "", INT_MAX, "wxyzabc", 7},
    {"negative: at the cursor", "\001\006", -1, "wabcxyz", 4},
    {"very negative: at the cursor", "\001\006\006", INT_MIN, "wxabcyz", 5},
};

LAYER_TEST(InsertText, GoesInAtRlPointWhenThatLiesWithinTheLine) {
  for (const auto &row : insertions) {
    SCOPED_TRACE(row.name);
    int returned = INT_MAX;
    PublishedLine after = {};
    on_command_key([&] {
      rl_point = row.point;
      returned = rl_insert_text("abc");
      after = published_line();
    });
    EXPECT_EQ(read_line({"wxyz", row.cursor_keys, command_key "|\n"}),
              with_bar(row.line, row.point_after));
    EXPECT_EQ(returned, 3);
    expect_line(after, row.line, row.point_after, 7);
  }
}

LAYER_TEST(InsertText, NothingInsertsNothingAndInitialisesNothing) {
  EXPECT_EQ(rl_insert_text(nullptr), 0);
  EXPECT_EQ(rl_insert_text(""), 0);
  EXPECT_EQ(get_history(), nullptr);
}

LAYER_TEST(InsertText, NothingLeavesTheLineAndTheCursor) {
  on_command_key([] {
    rl_point = 0;
    EXPECT_EQ(rl_insert_text(nullptr), 0);
    EXPECT_EQ(rl_insert_text(""), 0);
  });
  EXPECT_EQ(read_line({"wxyz" command_key "|\n"}), "wxyz|");
}

LAYER_TEST(InsertText, InitialisesTheLayer) {
  EXPECT_EQ(rl_insert_text("abc"), 3);
  EXPECT_NE(get_history(), nullptr);
  expect_line(published_line(), "abc", 3, 3);
}

LAYER_TEST(InsertText, ReturnsBytesAndPublishesCharacters) {
  int returned = 0;
  PublishedLine after = {};
  on_command_key([&] {
    rl_point = 1;
    returned = rl_insert_text("ä€");
    after = published_line();
  });
  EXPECT_EQ(read_line({"xy" command_key "|\n"}), "xä€|y");
  EXPECT_EQ(returned, 5);
  expect_line(after, "xä€y", 3, 4);
}

LAYER_TEST(InsertText, CountsThePointInCharacters) {
  on_command_key([&] {
    EXPECT_EQ(rl_insert_text("äöü"), 6);
    rl_point = 2;
    EXPECT_EQ(rl_insert_text("-"), 1);
    rl_point = 5;  // past the end in characters, inside in bytes: at the cursor
    EXPECT_EQ(rl_insert_text("+"), 1);
  });
  EXPECT_EQ(read_line({command_key "\n"}), "äö-+ü");
}

LAYER_TEST(InsertText, ByteThatTheLocaleCannotDecodeComesBackAsItIs) {
  int returned = INT_MAX;
  PublishedLine after = {};
  on_command_key([&] {
    returned = rl_insert_text("ab\377");
    after = published_line();
  });
  EXPECT_EQ(read_line({"wxyz" command_key "\n"}), "wxyzab\377");
  EXPECT_EQ(returned, 3);
  expect_line(after, "wxyzab\377", 7, 7);
}

LAYER_TEST(InsertText, LongTextMakesTheLineGrow) {
  const std::string text(5000, 'x');
  PublishedLine after = {};
  on_command_key([&] {
    rl_point = 1;
    EXPECT_EQ(rl_insert_text(text.c_str()), 5000);
    after = published_line();
  });
  EXPECT_EQ(read_line({"ab" command_key "\n"}), "a" + text + "b");
  expect_line(after, "a" + text + "b", 5001, 5002);
}

LAYER_TEST(Insert, RepeatsTheKeyAtRlPoint) {
  on_command_key([] {
    rl_point = 1;
    EXPECT_EQ(rl_insert(3, 'x'), 0);
    EXPECT_EQ(rl_insert(0, 'y'), 0);
    EXPECT_EQ(rl_insert(-1, 'z'), 0);
  });
  EXPECT_EQ(read_line({"ab" command_key "|\n"}), "axxx|b");
}

// --- Commands and the published line -------------------------------------------------------------

static int command_count;
static int command_argument;

static int note_command(int count, int key) {
  command_count = count;
  command_argument = key;
  return 0;
}

LAYER_TEST(Command, IsCalledWithOneAndItsKey) {
  ASSERT_EQ(rl_add_defun("note-command", note_command, 7), 0);
  EXPECT_EQ(read_line({"ab\ac\n"}), "abc");
  EXPECT_EQ(command_count, 1);
  EXPECT_EQ(command_argument, 7);
}

LAYER_TEST(Command, FindsTheLinePublished) {
  PublishedLine line = {};
  on_command_key([&] { line = published_line(); });
  EXPECT_EQ(read_line({"abcd\002" command_key "\n"}), "abcd");
  expect_line(line, "abcd", 3, 4);
}

// The line is published again each time: a pointer from before would be to the shorter line.
LAYER_TEST(Command, FindsALongLinePublishedWhole) {
  std::vector<PublishedLine> lines;
  on_command_key([&] { lines.push_back(published_line()); });
  const std::string first(1000, 'a'), more(1500, 'b');
  EXPECT_EQ(read_line({first, command_key, more, command_key "\n"}), first + more);
  ASSERT_EQ(lines.size(), 2u);
  expect_line(lines[0], first, 1000, 1000);
  expect_line(lines[1], first + more, 2500, 2500);
}

LAYER_TEST(Command, MayEndTheReadAtOnce) {
  on_command_key([] { rl_done = 1; });
  EXPECT_EQ(read_line({"ab" command_key "cd\n"}), std::nullopt);
  EXPECT_EQ(unread_keys(), "cd\n");
  EXPECT_NE(rl_done, 0);
}

LAYER_TEST(Command, ThatEndedAReadDoesNotEndTheNext) {
  bool end_it = true;
  on_command_key([&] { rl_done = end_it ? 1 : 0; });
  EXPECT_EQ(read_line({"ab" command_key "cd\n"}), std::nullopt);
  end_it = false;
  EXPECT_EQ(read_next_line(), "cd");
  EXPECT_EQ(rl_done, 0);
}

LAYER_TEST(Command, RlDoneSetBetweenTwoReadsIsForgotten) {
  on_command_key([] {});
  rl_done = 1;
  EXPECT_EQ(read_line({"ab" command_key "cd\n"}), "abcd");
}

// --- Room in libedit's buffer --------------------------------------------------------------------

// Beyond it, libedit would read when it deletes.
static void expect_half_of_the_buffer_free() {
  const LineInfoW *line = el_wline(editor.el);
  const size_t length = static_cast<size_t>(line->lastchar - line->buffer);
  const size_t room = malloc_usable_size(const_cast<wchar_t *>(line->buffer)) / sizeof(wchar_t);
  EXPECT_GT(length, 0U);
  EXPECT_LE(length * 2, room);
}

LAYER_TEST(LineBuffer, IsNeverMoreThanHalfFull) {
  for (const char *beginning : {"", "\n", "\n/", "\n?", "\n: ", "a\nbck", "a\nfwd"}) {
    SCOPED_TRACE(beginning);
    ASSERT_EQ(rl_initialize(), 0);
    const std::string line = beginning + repeated("w", 700);
    add_history(line.c_str());
    EXPECT_EQ(read_line({"\020", expect_half_of_the_buffer_free, "\001\033d\n"}).has_value(), true);
  }
}
