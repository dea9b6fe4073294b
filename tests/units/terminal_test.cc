// The terminal's settings, around set-up and lines.
#include "editline/base/terminal.h"

#include <linux/seccomp.h>
#include <unistd.h>

#include <cstdlib>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

// --- The terminal's settings ---------------------------------------------------------------------

static const struct {
  const char *name;
  void (*change)(struct termios *settings);
} terminals[] = {
    {"ordinary", [](struct termios *) {}},
    {"no echo", [](struct termios *s) { s->c_lflag &= ~static_cast<tcflag_t>(ECHO); }},
    {"no echoctl", [](struct termios *s) { s->c_lflag &= ~static_cast<tcflag_t>(ECHOCTL); }},
    {"no echoe, no echok",
     [](struct termios *s) { s->c_lflag &= ~static_cast<tcflag_t>(ECHOE | ECHOK | ECHOKE); }},
    {"echonl", [](struct termios *s) { s->c_lflag |= ECHONL; }},
    {"noflsh", [](struct termios *s) { s->c_lflag |= NOFLSH; }},
    {"tostop", [](struct termios *s) { s->c_lflag |= TOSTOP; }},
    {"no isig", [](struct termios *s) { s->c_lflag &= ~static_cast<tcflag_t>(ISIG); }},
    {"no iexten", [](struct termios *s) { s->c_lflag &= ~static_cast<tcflag_t>(IEXTEN); }},
    {"no icanon", [](struct termios *s) { s->c_lflag &= ~static_cast<tcflag_t>(ICANON); }},
    {"no icrnl", [](struct termios *s) { s->c_iflag &= ~static_cast<tcflag_t>(ICRNL); }},
    {"igncr", [](struct termios *s) { s->c_iflag |= IGNCR; }},
    {"inlcr", [](struct termios *s) { s->c_iflag |= INLCR; }},
    {"istrip, ixoff", [](struct termios *s) { s->c_iflag |= ISTRIP | IXOFF; }},
    {"no ixon, imaxbel, iutf8",
     [](struct termios *s) {
       s->c_iflag &= ~static_cast<tcflag_t>(IXON);
       s->c_iflag |= IMAXBEL | IUTF8;
     }},
    {"no opost", [](struct termios *s) { s->c_oflag &= ~static_cast<tcflag_t>(OPOST); }},
    {"no onlcr", [](struct termios *s) { s->c_oflag &= ~static_cast<tcflag_t>(ONLCR); }},
    {"onlret, ocrnl", [](struct termios *s) { s->c_oflag |= ONLRET | OCRNL; }},
    {"erase ^H, kill ^X",
     [](struct termios *s) {
       s->c_cc[VERASE] = 8;
       s->c_cc[VKILL] = 24;
     }},
    {"intr ^G, quit ^T, susp ^Y",
     [](struct termios *s) {
       s->c_cc[VINTR] = 7;
       s->c_cc[VQUIT] = 20;
       s->c_cc[VSUSP] = 25;
     }},
    {"no susp", [](struct termios *s) { s->c_cc[VSUSP] = _POSIX_VDISABLE; }},
    {"no intr", [](struct termios *s) { s->c_cc[VINTR] = _POSIX_VDISABLE; }},
    {"no quit, eof, erase, werase, kill, reprint, lnext, start, stop",
     [](struct termios *s) {
       for (const int which :
            {VQUIT, VEOF, VERASE, VWERASE, VKILL, VREPRINT, VLNEXT, VSTART, VSTOP, VDISCARD})
         s->c_cc[which] = _POSIX_VDISABLE;
     }},
    {"eol, eol2",
     [](struct termios *s) {
       s->c_cc[VEOL] = ';';
       s->c_cc[VEOL2] = '!';
     }},
    {"min 5, time 7",
     [](struct termios *s) {
       s->c_cc[VMIN] = 5;
       s->c_cc[VTIME] = 7;
     }},
    {"9600 baud", [](struct termios *s) { cfsetspeed(s, B9600); }},
    {"raw", cfmakeraw},
};

static void read_several_lines_unchanged(const struct termios &found) {
  EXPECT_EQ(read_line({"one\n"}), "one");
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "") << "after a line";
  EXPECT_EQ(read_line({"two\n"}), "two");
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "") << "after a second line";
  EXPECT_EQ(read_line({""}), std::nullopt);
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "") << "after the end of input";
}

LAYER_TEST(TerminalSettings, AreLeftAsTheyWereFound) {
  const struct termios first = pty_settings(&terminal);
  for (const auto &row : terminals) {
    SCOPED_TRACE(row.name);
    struct termios wanted = first;
    row.change(&wanted);
    tcsetattr(terminal.slave, TCSANOW, &wanted);
    const struct termios found = pty_settings(&terminal);
    ASSERT_EQ(rl_initialize(), 0);
    EXPECT_EQ(difference(found, pty_settings(&terminal)), "") << "after rl_initialize";
    read_several_lines_unchanged(found);
    ASSERT_EQ(rl_initialize(), 0);
    EXPECT_EQ(difference(found, pty_settings(&terminal)), "") << "after a second rl_initialize";
    read_several_lines_unchanged(found);
  }
}

// Not even for a moment: a key that arrives in it would be taken wrongly.
LAYER_TEST(TerminalSettings, AreNotTouchedWhereTheOutputIsNoTerminal) {
  rl_outstream = tmpfile();
  on_change_of_settings(SECCOMP_RET_KILL_PROCESS);
  rl_initialize();
  EXPECT_EQ(read_line({"abc\n"}), "abc");
  rl_initialize();
}

LAYER_TEST(TerminalSettings, ChangedBetweenTwoLinesStayChanged) {
  const struct termios first = pty_settings(&terminal);
  ASSERT_EQ(rl_initialize(), 0);
  for (const auto &row : terminals) {
    SCOPED_TRACE(row.name);
    struct termios wanted = first;
    row.change(&wanted);
    tcsetattr(terminal.slave, TCSANOW, &wanted);
    const struct termios found = pty_settings(&terminal);
    read_several_lines_unchanged(found);
  }
}

LAYER_TEST(TerminalSettings, AreRawAndUnechoedWhileALineIsEdited) {
  bool raw = false;
  EXPECT_EQ(read_line({"a", [&] { raw = pty_is_raw(&terminal); }, "b\n"}), "ab");
  EXPECT_TRUE(raw);
  EXPECT_FALSE(pty_is_raw(&terminal));
}

// Lets the terminal show things again as soon as it is raw, and types a line.
static void *resume_output_when_raw(void *) {
  while (!pty_is_raw(&terminal)) sched_yield();
  tcflow(terminal.slave, TCOON);
  pty_type(&terminal, "abc\n");
  return nullptr;
}

// With its output stopped, the terminal holds the reader up where the prompt is written.
LAYER_TEST(TerminalSettings, AreRawBeforeThePromptIsShown) {
  alarm(20);  // it is held up for good if the terminal is not raw by then
  rl_getc_function = nullptr;
  ASSERT_EQ(rl_initialize(), 0);
  ASSERT_EQ(tcflow(terminal.slave, TCOOFF), 0);
  pthread_t keyboard;
  ASSERT_EQ(pthread_create(&keyboard, nullptr, resume_output_when_raw, nullptr), 0);
  EXPECT_EQ(read_next_line(), "abc");
  pthread_join(keyboard, nullptr);
  EXPECT_TRUE(pty_wait_for(&terminal, "> "));
}

LAYER_TEST(TerminalSettings, AreUntouchedByCallsBetweenLines) {
  const struct termios found = pty_settings(&terminal);
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(rl_parse_and_bind("bind ^W ed-delete-prev-word"), 0);
  EXPECT_EQ(rl_bind_key(9, rl_insert), 0);
  add_history("line");
  clear_history();
  rl_set_screen_size(30, 100);
  rl_insert_text("text");
  rl_delete_text(0, 2);
  rl_forced_update_display();
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
}

// --- A terminal without echo ---------------------------------------------------------------------

static void switch_echo_off() {
  struct termios settings = pty_settings(&terminal);
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  tcsetattr(terminal.slave, TCSANOW, &settings);
}

LAYER_TEST(WithoutEcho, KeysAreReadAsTheyAre) {
  switch_echo_off();
  EXPECT_EQ(read_line({"ab\001\tc\n"}), "ab\001\tc");
  EXPECT_EQ(read_line({"\004\n"}), "\004");
}

LAYER_TEST(WithoutEcho, TheTerminalKeepsEditingTheLineItself) {
  switch_echo_off();
  rl_getc_function = nullptr;
  pty_start_typing(&terminal, {{"secret> ", "ab\177c\n"}});
  EXPECT_EQ(read_next_line("secret> "), "ac");
  EXPECT_TRUE(pty_finish_typing());
  EXPECT_EQ(terminal.shown.find('a', terminal.searched), std::string::npos) << "the line was shown";
}

LAYER_TEST(WithoutEcho, ANewEditorOnATerminalThatEchoesAgainEdits) {
  const struct termios echoing = pty_settings(&terminal);
  switch_echo_off();
  EXPECT_EQ(read_line({"ab\001c\n"}), "ab\001c");
  tcsetattr(terminal.slave, TCSANOW, &echoing);
  ASSERT_EQ(rl_initialize(), 0);
  EXPECT_EQ(read_line({"ab\001c\n"}), "cab");
}
