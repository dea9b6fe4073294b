// Signals and a line being edited: held back, let in only while the editor waits, acted on there
// with the terminal given back, and every disposition returned as it was found.

#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csetjmp>
#include <cstdlib>

#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

static constexpr int line_signals[] = {SIGINT,  SIGTSTP, SIGQUIT, SIGHUP,
                                       SIGTERM, SIGCONT, SIGWINCH};

static sigset_t set_of(int signo) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signo);
  return set;
}

static bool is_blocked(int signo) {
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  return sigismember(&mask, signo) == 1;
}

static bool is_pending(int signo) {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, signo) == 1;
}

// One pass of the wait with something to read, so that no signal is needed to end it.
static int wait_with_input() {
  static WaitSet ready;
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  EXPECT_EQ(write(ends[1], "x", 1), 1);
  wait_set_clear(&ready);
  wait_set_add(&ready, ends[0]);
  const int count = wait_for_input(ends[0] + 1, &ready);
  close(ends[0]);
  close(ends[1]);
  return count;
}

// --- The hold ------------------------------------------------------------------------------------

// Nor those with which the terminal stops a process in the background, where they are not blocked.
LAYER_TEST(Hold, KeepsEverySignalBackButReportsOfFaults) {
  ASSERT_TRUE(block_signals(nullptr));
  for (const int signo : line_signals) EXPECT_TRUE(is_blocked(signo)) << signo;
  for (const int signo : {SIGUSR1, SIGUSR2, SIGALRM, SIGCHLD, SIGPIPE, SIGIO})
    EXPECT_TRUE(is_blocked(signo)) << signo;
  for (const int signo :
       {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP, SIGTTIN, SIGTTOU})
    EXPECT_FALSE(is_blocked(signo)) << signo;
  unblock_signals();
}

LAYER_TEST(Hold, OnceIsEnough) {
  EXPECT_TRUE(block_signals(nullptr));
  EXPECT_FALSE(block_signals(nullptr));
  unblock_signals();
  EXPECT_FALSE(is_blocked(SIGINT));
  EXPECT_TRUE(block_signals(nullptr));
  unblock_signals();
}

LAYER_TEST(Hold, ReleaseWithoutAHoldChangesNothing) {
  const sigset_t set = set_of(SIGINT);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  const SignalState before = signal_state();
  unblock_signals();
  EXPECT_EQ(difference(before, signal_state()), "");
}

LAYER_TEST(Hold, ReleaseGoesBackToTheMaskBefore) {
  const sigset_t set = set_of(SIGQUIT);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  const SignalState before = signal_state();
  ASSERT_TRUE(block_signals(nullptr));
  unblock_signals();
  EXPECT_EQ(difference(before, signal_state()), "");
}

LAYER_TEST(Hold, ReleaseLetsInWhatArrived) {
  set_handler(SIGINT, count_signal);
  ASSERT_TRUE(block_signals(nullptr));
  raise(SIGINT);
  EXPECT_EQ(handled[SIGINT], 0);
  unblock_signals();
  EXPECT_EQ(handled[SIGINT], 1);
}

LAYER_TEST(Hold, OutsideALineTheWaitRunsTheHandlerInForce) {
  set_handler(SIGINT, count_signal);
  ASSERT_TRUE(block_signals(nullptr));
  raise(SIGINT);
  EXPECT_EQ(handled[SIGINT], 0);
  wait_for_signal();
  EXPECT_EQ(handled[SIGINT], 1);
  EXPECT_TRUE(is_blocked(SIGINT));
  unblock_signals();
}

LAYER_TEST(Hold, ASignalBlockedBeforeIsNotLetInByTheWait) {
  set_handler(SIGINT, count_signal);
  const sigset_t set = set_of(SIGINT);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  ASSERT_TRUE(block_signals(nullptr));
  raise(SIGINT);
  EXPECT_EQ(wait_with_input(), 1);
  unblock_signals();
  EXPECT_EQ(handled[SIGINT], 0);
  EXPECT_TRUE(is_pending(SIGINT));
  EXPECT_TRUE(is_blocked(SIGINT));
}

LAYER_TEST(Hold, AnAdmittedSignalIsLetInThoughItWasBlockedBefore) {
  set_handler(SIGINT, count_signal);
  set_handler(SIGQUIT, count_signal);
  sigset_t set = set_of(SIGINT);
  sigaddset(&set, SIGQUIT);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  const sigset_t admitted = set_of(SIGINT);
  ASSERT_TRUE(block_signals(&admitted));
  raise(SIGINT);
  EXPECT_EQ(handled[SIGINT], 0);
  wait_for_signal();
  EXPECT_EQ(handled[SIGINT], 1);
  unblock_signals();
  EXPECT_FALSE(is_blocked(SIGINT));
  EXPECT_TRUE(is_blocked(SIGQUIT));
}

// --- A line, with and without signals ------------------------------------------------------------

LAYER_TEST(Line, LeavesDispositionsAndMaskAsTheyWere) {
  set_handler(SIGINT, count_signal);
  set_handler(SIGTERM, SIG_IGN);
  struct sigaction special = {};
  special.sa_handler = count_signal;
  special.sa_flags = SA_RESTART | SA_NODEFER;
  special.sa_mask = set_of(SIGUSR2);
  sigaction(SIGWINCH, &special, nullptr);
  const sigset_t set = set_of(SIGQUIT);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  const SignalState before = signal_state();
  EXPECT_EQ(read_line({"abc\n"}), "abc");
  EXPECT_EQ(difference(before, signal_state()), "") << "after a line";
  EXPECT_EQ(read_line({"abc"}), std::nullopt);
  EXPECT_EQ(difference(before, signal_state()), "") << "after the end of input";
  on_command_key([] { rl_done = 1; });
  EXPECT_EQ(read_line({"abc" command_key}), std::nullopt);
  EXPECT_EQ(difference(before, signal_state()), "") << "after a read that was ended";
}

LAYER_TEST(Line, LeavesTheHoldToTheCallerThatHasIt) {
  ASSERT_TRUE(block_signals(nullptr));
  const SignalState before = signal_state();
  EXPECT_EQ(read_line({"abc\n"}), "abc");
  EXPECT_EQ(difference(before, signal_state()), "");
  EXPECT_TRUE(is_blocked(SIGINT));
  unblock_signals();
}

LAYER_TEST(Line, HoldsTheSignalsItselfWhereTheCallerDoesNot) {
  bool blocked = false;
  EXPECT_EQ(read_line({"a", [&] { blocked = is_blocked(SIGINT) && is_blocked(SIGTERM); }, "\n"}),
            "a");
  EXPECT_TRUE(blocked);
  EXPECT_FALSE(is_blocked(SIGINT));
}

LAYER_TEST(Line, LetsASignalInOnlyInTheWait) {
  set_handler(SIGINT, count_signal);
  int before_the_wait = -1;
  EXPECT_EQ(read_line({"ab",
                       [&] {
                         raise(SIGINT);
                         before_the_wait = handled[SIGINT];
                         wait_for_signal();
                       },
                       "c\n"}),
            "abc");
  EXPECT_EQ(before_the_wait, 0);
  EXPECT_EQ(handled[SIGINT], 1);
}

// Signals that do not concern a line run their handlers as usual, but only during the wait.
LAYER_TEST(Line, LetsOtherSignalsInOnlyInTheWaitToo) {
  for (const int signo : {SIGUSR1, SIGALRM, SIGCHLD}) {
    SCOPED_TRACE(signo);
    set_handler(signo, count_signal);
    int before_the_wait = -1;
    const auto send = [&] {
      raise(signo);
      before_the_wait = handled[signo];
      wait_for_signal();
      EXPECT_EQ(handled[signo], 1);
      EXPECT_TRUE(pty_is_raw(&terminal));
    };
    EXPECT_EQ(read_line({"ab", send, "c\n"}), "abc");
    EXPECT_EQ(before_the_wait, 0);
  }
}

LAYER_TEST(Line, ASignalNotLetInReachesItsHandlerWhenTheLineEnds) {
  for (const int signo : line_signals) {
    SCOPED_TRACE(signo);
    set_handler(signo, count_signal);
    EXPECT_EQ(read_line({"ab", [&] { raise(signo); }, "c\n"}), "abc");
    EXPECT_EQ(handled[signo], 1);
  }
}

// The state of the terminal in a handler.
static struct termios seen_by_handler;
static SignalState state_in_handler;

static void record_terminal_state(int signo) {
  count_signal(signo);
  seen_by_handler = pty_settings(&terminal);
  state_in_handler = signal_state();
}

LAYER_TEST(Line, GoesOnAfterAHandlerThatReturns) {
  for (const int signo : {SIGINT, SIGTSTP, SIGQUIT, SIGHUP, SIGTERM}) {
    SCOPED_TRACE(signo);
    set_handler(signo, record_terminal_state);
    const struct termios found = pty_settings(&terminal);
    const SignalState before = signal_state();
    bool raw_again = false;
    EXPECT_EQ(read_line({"ab",
                         [&] {
                           raise(signo);
                           wait_for_signal();
                           raw_again = pty_is_raw(&terminal);
                         },
                         "\001c\n"}),
              "cab");
    EXPECT_EQ(handled[signo], 1);
    EXPECT_EQ(difference(found, seen_by_handler), "") << "in the handler";
    state_in_handler.mask = before.mask;  // which a handler's own signal is part of
    EXPECT_EQ(difference(before, state_in_handler), "") << "in the handler";
    EXPECT_TRUE(raw_again);
    EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
    EXPECT_EQ(difference(before, signal_state()), "");
  }
}

LAYER_TEST(Line, TakesTheSameSignalAsOftenAsItComes) {
  set_handler(SIGINT, count_signal);
  const auto interrupt = [] {
    raise(SIGINT);
    wait_for_signal();
  };
  EXPECT_EQ(read_line({"a", interrupt, interrupt, "b", interrupt, "c\n"}), "abc");
  EXPECT_EQ(handled[SIGINT], 3);
  EXPECT_EQ(read_line({"d", interrupt, "\n"}), "d");
  EXPECT_EQ(handled[SIGINT], 4);
}

LAYER_TEST(Line, TakesSeveralSignalsThatCameTogether) {
  for (const int signo : {SIGINT, SIGQUIT, SIGTERM}) set_handler(signo, count_signal);
  EXPECT_EQ(read_line({"ab",
                       [] {
                         raise(SIGINT);
                         raise(SIGTERM);
                         raise(SIGQUIT);
                         while (handled[SIGINT] + handled[SIGTERM] + handled[SIGQUIT] < 3)
                           wait_for_signal();
                       },
                       "c\n"}),
            "abc");
  for (const int signo : {SIGINT, SIGQUIT, SIGTERM}) EXPECT_EQ(handled[signo], 1) << signo;
}

LAYER_TEST(Line, LeavesAnIgnoredSignalIgnored) {
  for (const int signo : {SIGINT, SIGTSTP, SIGQUIT, SIGHUP, SIGTERM}) {
    SCOPED_TRACE(signo);
    set_handler(signo, SIG_IGN);
    bool ignored = false;
    EXPECT_EQ(read_line({"ab",
                         [&] {
                           struct sigaction during = {};
                           sigaction(signo, nullptr, &during);
                           ignored = during.sa_handler == SIG_IGN;
                           raise(signo);
                           EXPECT_EQ(wait_with_input(), 1);
                         },
                         "c\n"}),
              "abc");
    EXPECT_TRUE(ignored);
    struct sigaction after = {};
    sigaction(signo, nullptr, &after);
    EXPECT_EQ(after.sa_handler, SIG_IGN);
  }
}

// A command that leaves other handlers behind, as a completion hook does.
LAYER_TEST(Line, MakesGoodForHandlersThatACompletionLeftBehind) {
  set_handler(SIGINT, record_terminal_state);
  set_handler(SIGTSTP, record_terminal_state);
  const struct termios found = pty_settings(&terminal);
  rl_attempted_completion_function = [](const char *, int, int) {
    signal(SIGINT, count_signal);
    signal(SIGTSTP, count_signal);
    rl_attempted_completion_over = 1;
    return static_cast<char **>(nullptr);
  };
  for (const int signo : {SIGINT, SIGTSTP}) {
    SCOPED_TRACE(signo);
    seen_by_handler = {};
    EXPECT_EQ(read_line({"a\tb",
                         [&] {
                           raise(signo);
                           wait_for_signal();
                         },
                         "c\n"}),
              "abc");
    EXPECT_EQ(handled[signo], 1);
    EXPECT_EQ(difference(found, seen_by_handler), "");
  }
}

// --- Handlers that jump out of the read ----------------------------------------------------------

static sigjmp_buf way_out;

static void jump_out(int signo) {
  count_signal(signo);
  siglongjmp(way_out, 1);
}

// Reads with signals held, as a caller that jumps does. Returns true when the jump came.
static bool read_until_jump() {
  if (sigsetjmp(way_out, 1) != 0) return true;
  free(readline("> "));
  return false;
}

static void expect_jump(int signo) {
  const struct termios found = pty_settings(&terminal);
  const SignalState before = signal_state();
  set_script({"ab",
              [signo] {
                raise(signo);
                wait_for_signal();
              },
              "never read\n"});
  block_signals(nullptr);
  EXPECT_TRUE(read_until_jump());
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
  unblock_signals();
  EXPECT_EQ(difference(before, signal_state()), "");
}

LAYER_TEST(Jump, LeavesTerminalDispositionsAndMaskAsTheyWere) {
  for (const int signo : {SIGINT, SIGTSTP, SIGQUIT, SIGHUP, SIGTERM}) {
    SCOPED_TRACE(signo);
    set_handler(signo, jump_out);
    expect_jump(signo);
    EXPECT_EQ(handled[signo], 1);
    EXPECT_EQ(read_line({"next\001>\n"}), ">next");
  }
}

LAYER_TEST(Jump, TheNextLineTakesSignalsAgain) {
  set_handler(SIGINT, jump_out);
  for (int i = 1; i <= 5; ++i) {
    expect_jump(SIGINT);
    EXPECT_EQ(handled[SIGINT], i);
  }
  EXPECT_EQ(read_line({"next\n"}), "next");
}

LAYER_TEST(Jump, OutOfALongLineLeavesNothingOfItBehind) {
  set_handler(SIGINT, jump_out);
  set_script({std::string(3000, 'x'), [] {
                raise(SIGINT);
                wait_for_signal();
              }});
  block_signals(nullptr);
  EXPECT_TRUE(read_until_jump());
  unblock_signals();
  EXPECT_EQ(read_line({"next\n"}), "next");
}

// --- Size changes and continuing -----------------------------------------------------------------

static std::pair<int, int> screen_size() {
  int rows = -1, columns = -1;
  rl_get_screen_size(&rows, &columns);
  return {rows, columns};
}

using Size = std::pair<int, int>;

// The terminal itself sends the signal when its size changes.
static void change_size(int rows, int columns) {
  pty_set_size(&terminal, rows, columns);
  wait_for_signal();
  wait_with_input();
}

LAYER_TEST(SizeChange, IsTakenInMidLineAsOftenAsItComes) {
  Size first, second, third;
  const auto change = [](int rows, int columns, Size *size) {
    change_size(rows, columns);
    *size = screen_size();
  };
  const std::string line(100, 'x');
  EXPECT_EQ(
      read_line({line, [&] { change(30, 20, &first); }, line, [&] { change(40, 120, &second); },
                 line, [&] { change(5, 10, &third); }, line, "\n"}),
      line + line + line + line);
  EXPECT_EQ(first, Size(30, 20));
  EXPECT_EQ(second, Size(40, 120));
  EXPECT_EQ(third, Size(5, 10));
}

LAYER_TEST(SizeChange, ReachesAHandlerOfTheApplicationsToo) {
  set_handler(SIGWINCH, count_signal);
  EXPECT_EQ(read_line({"ab", [] { change_size(30, 40); }, "c", [] { change_size(40, 50); }, "d\n"}),
            "abcd");
  EXPECT_EQ(handled[SIGWINCH], 2);
}

LAYER_TEST(SizeChange, IsTakenThoughTheApplicationIgnoresIt) {
  set_handler(SIGWINCH, SIG_IGN);
  const SignalState before = signal_state();
  Size size;
  EXPECT_EQ(read_line({"ab",
                       [&] {
                         change_size(30, 40);
                         size = screen_size();
                       },
                       "c\n"}),
            "abc");
  EXPECT_EQ(size, Size(30, 40));
  EXPECT_EQ(difference(before, signal_state()), "");
}

LAYER_TEST(SizeChange, KeepsTheTerminalRaw) {
  bool raw = false;
  EXPECT_EQ(read_line({"ab",
                       [&] {
                         change_size(30, 40);
                         raw = pty_is_raw(&terminal);
                       },
                       "c\n"}),
            "abc");
  EXPECT_TRUE(raw);
}

LAYER_TEST(Continue, MakesTheTerminalRawAgainAndDrawsTheLine) {
  bool raw = false;
  size_t shown_before = 0;
  set_script({"abc",
              [&] {
                struct termios cooked = pty_settings(&terminal);
                cooked.c_lflag |= ICANON | ECHO;
                tcsetattr(terminal.slave, TCSANOW, &cooked);
                pty_collect(&terminal);
                shown_before = terminal.shown.size();
                raise(SIGCONT);
                wait_for_signal();
                raw = pty_is_raw(&terminal);
              },
              "d\n"});
  EXPECT_EQ(read_next_line("shell> "), "abcd");
  EXPECT_TRUE(raw);
  pty_collect(&terminal);
  EXPECT_NE(terminal.shown.find("shell> abc", shown_before), std::string::npos);
}

// --- Signals that end or stop the process --------------------------------------------------------

static void read_one_line_with_own_reader() {
  rl_getc_function = nullptr;
  EXPECT_EQ(read_next_line("shell> "), "abcd");
}

static void expect_death_with_settings_restored(int signo) {
  const struct termios found = pty_settings(&terminal);
  const pid_t child = start_foreground_child(read_one_line_with_own_reader);
  ASSERT_TRUE(pty_wait_for(&terminal, "shell> "));
  pty_type(&terminal, "ab");
  ASSERT_TRUE(pty_wait_for(&terminal, "ab"));
  EXPECT_TRUE(pty_is_raw(&terminal));
  kill(child, signo);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), signo);
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
}

LAYER_TEST(Death, FindsTheTerminalRestored) {
  struct rlimit no_core = {0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  for (const int signo : {SIGTERM, SIGHUP, SIGQUIT, SIGINT}) {
    SCOPED_TRACE(signo);
    expect_death_with_settings_restored(signo);
  }
}

LAYER_TEST(Death, ByAKeyOfTheTerminalFindsItRestored) {
  const struct termios found = pty_settings(&terminal);
  const pid_t child = start_foreground_child(read_one_line_with_own_reader);
  ASSERT_TRUE(pty_wait_for(&terminal, "shell> "));
  pty_type(&terminal, "\003");
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGINT);
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
}

// Stopped by the signal or by the key. The shell that started the program may change the terminal
// meanwhile.
static void expect_stop_and_continue(const char *key, int signo) {
  const struct termios found = pty_settings(&terminal);
  const pid_t child = start_foreground_child(read_one_line_with_own_reader);
  ASSERT_TRUE(pty_wait_for(&terminal, "shell> "));
  pty_type(&terminal, "abc");
  ASSERT_TRUE(pty_wait_for(&terminal, "abc"));
  pty_type(&terminal, key);
  if (signo != 0) kill(child, signo);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, WUNTRACED), child);
  ASSERT_TRUE(WIFSTOPPED(status));
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
  pty_collect(&terminal);
  terminal.searched = terminal.shown.size();
  kill(child, SIGCONT);
  ASSERT_TRUE(pty_wait_for(&terminal, "shell> abc"));
  pty_type(&terminal, "d\n");
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
}

LAYER_TEST(Stop, BySignalFindsTheTerminalRestoredAndTheLineGoesOn) {
  expect_stop_and_continue("", SIGTSTP);
}

LAYER_TEST(Stop, ByKeyFindsTheTerminalRestoredAndTheLineGoesOn) {
  expect_stop_and_continue("\032", 0);
}

LAYER_TEST(Stop, ThatCannotBeCaughtGoesOnToo) {
  const pid_t child = start_foreground_child(read_one_line_with_own_reader);
  ASSERT_TRUE(pty_wait_for(&terminal, "shell> "));
  pty_type(&terminal, "abc");
  ASSERT_TRUE(pty_wait_for(&terminal, "abc"));
  kill(child, SIGSTOP);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, WUNTRACED), child);
  ASSERT_TRUE(WIFSTOPPED(status));
  kill(child, SIGCONT);
  ASSERT_TRUE(pty_wait_for(&terminal, "shell> abc"));
  EXPECT_TRUE(pty_is_raw(&terminal));
  pty_type(&terminal, "d\n");
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

LAYER_TEST(Stop, InTheBackgroundLastsUntilItIsTheReadersTurn) {
  const struct termios found = pty_settings(&terminal);
  const pid_t child = start_background_child(read_one_line_with_own_reader);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, WUNTRACED), child);
  ASSERT_TRUE(WIFSTOPPED(status));
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
  ASSERT_EQ(tcsetpgrp(terminal.slave, child), 0);
  kill(-child, SIGCONT);
  ASSERT_TRUE(pty_wait_for(&terminal, "shell> "));
  pty_type(&terminal, "abcd\n");
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
}

// --- Callbacks -----------------------------------------------------------------------------------

static void (*in_callback)();

static void nothing() {}

static char **callback(const char *, int, int) {
  rl_attempted_completion_over = 1;
  run_callback(in_callback, nothing, false);
  return nullptr;
}

static void in_completion(void (*what)()) {
  in_callback = what;
  rl_attempted_completion_function = callback;
}

LAYER_TEST(Callback, LetsTheCallersOwnHandlerRunAtOnce) {
  in_completion([] {
    set_handler(SIGINT, count_signal);
    raise(SIGINT);
    EXPECT_EQ(handled[SIGINT], 1);
  });
  bool blocked = false;
  EXPECT_EQ(read_line({"a\t", [&] { blocked = is_blocked(SIGINT); }, "b\n"}), "ab");
  EXPECT_TRUE(blocked);
}

LAYER_TEST(Callback, LetsInWhatArrivedBeforeIt) {
  set_handler(SIGINT, SIG_IGN);
  in_completion([] {});
  rl_attempted_completion_function = [](const char *word, int start, int end) {
    set_handler(SIGINT, count_signal);
    raise(SIGINT);
    EXPECT_EQ(handled[SIGINT], 0);
    char **list = callback(word, start, end);
    EXPECT_EQ(handled[SIGINT], 1);
    return list;
  };
  EXPECT_EQ(read_line({"a\tb\n"}), "ab");
}

LAYER_TEST(Callback, GivesTheTerminalBackForSignalsThatEndTheProcess) {
  for (const int signo : {SIGTERM, SIGHUP, SIGQUIT}) {
    SCOPED_TRACE(signo);
    static int sent;
    sent = signo;
    set_handler(signo, record_terminal_state);
    in_completion([] {
      raise(sent);
      EXPECT_EQ(handled[sent], 1);
    });
    const struct termios found = pty_settings(&terminal);
    const SignalState before = signal_state();
    EXPECT_EQ(read_line({"a\t", [] { EXPECT_EQ(wait_with_input(), 1); }, "b\001c\n"}), "cab");
    EXPECT_EQ(handled[signo], 1);
    EXPECT_EQ(difference(found, seen_by_handler), "");
    EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
    EXPECT_EQ(difference(before, signal_state()), "");
  }
}

LAYER_TEST(Callback, TheTerminalIsRawAgainAfterASignalWhoseHandlerReturned) {
  set_handler(SIGTERM, count_signal);
  in_completion([] { raise(SIGTERM); });
  bool raw = false;
  EXPECT_EQ(read_line({"a\t",
                       [&] {
                         EXPECT_EQ(wait_with_input(), 1);
                         raw = pty_is_raw(&terminal);
                       },
                       "b\n"}),
            "ab");
  EXPECT_TRUE(raw);
  EXPECT_EQ(handled[SIGTERM], 1);
}

LAYER_TEST(Callback, ASignalPassedOnThereIsNotPassedOnAgainWhenTheLineEnds) {
  set_handler(SIGTERM, count_signal);
  in_completion([] {
    raise(SIGTERM);
    rl_done = 1;
  });
  const struct termios found = pty_settings(&terminal);
  const SignalState before = signal_state();
  EXPECT_EQ(read_line({"a\t"}), std::nullopt);
  EXPECT_EQ(handled[SIGTERM], 1);
  EXPECT_EQ(difference(found, pty_settings(&terminal)), "");
  EXPECT_EQ(difference(before, signal_state()), "");
}

LAYER_TEST(Callback, ASignalTakenAfterTheCallbackReachesItsHandlerAgain) {
  set_handler(SIGTERM, record_terminal_state);
  in_completion([] { raise(SIGTERM); });
  const struct termios found = pty_settings(&terminal);
  const SignalState before = signal_state();
  const auto terminate = [] {
    EXPECT_EQ(wait_with_input(), 1);
    seen_by_handler = {};
    raise(SIGTERM);
    wait_for_signal();
    EXPECT_EQ(handled[SIGTERM], 2);
  };
  EXPECT_EQ(read_line({"a\t", terminate, "b\n"}), "ab");
  EXPECT_EQ(difference(found, seen_by_handler), "");
  state_in_handler.mask = before.mask;
  EXPECT_EQ(difference(before, state_in_handler), "");
}

LAYER_TEST(Callback, ASizeChangeWaitsForTheNextWait) {
  set_handler(SIGWINCH, count_signal);
  in_completion([] {
    pty_set_size(&terminal, 30, 40);
    EXPECT_EQ(handled[SIGWINCH], 0);
    EXPECT_EQ(screen_size(), Size(24, 80));
  });
  Size size;
  EXPECT_EQ(read_line({"a\t",
                       [&] {
                         EXPECT_EQ(wait_with_input(), 1);
                         size = screen_size();
                       },
                       "b\n"}),
            "ab");
  EXPECT_EQ(size, Size(30, 40));
  EXPECT_EQ(handled[SIGWINCH], 1);
}

LAYER_TEST(Callback, WhatIsNotActedOnBeforeTheLineEndsGoesToTheHandlerThatComesBack) {
  set_handler(SIGWINCH, count_signal);
  set_handler(SIGCONT, count_signal);
  in_completion([] {
    raise(SIGWINCH);
    raise(SIGCONT);
    rl_done = 1;
  });
  EXPECT_EQ(read_line({"a\t"}), std::nullopt);
  EXPECT_EQ(handled[SIGWINCH], 1);
  EXPECT_EQ(handled[SIGCONT], 1);
}

static SignalState before_callback;

LAYER_TEST(Callback, OutsideALineChangesNothing) {
  const sigset_t set = set_of(SIGINT);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  before_callback = signal_state();
  run_callback([] { EXPECT_EQ(difference(before_callback, signal_state()), ""); }, nothing, true);
  EXPECT_EQ(difference(before_callback, signal_state()), "");
}

// --- Other threads -------------------------------------------------------------------------------

// A thread that does nothing but take signals.
static struct {
  pthread_t thread;
  int stop[2];
} bystander;

static void *run_bystander(void *) {
  char byte;
  while (read(bystander.stop[0], &byte, 1) < 0) continue;
  return nullptr;
}

static void start_bystander() {
  ASSERT_EQ(pipe(bystander.stop), 0);
  ASSERT_EQ(pthread_create(&bystander.thread, nullptr, run_bystander, nullptr), 0);
}

static void stop_bystander() {
  close(bystander.stop[1]);
  pthread_join(bystander.thread, nullptr);
}

static pthread_t handler_thread;

static void note_thread(int signo) {
  handler_thread = pthread_self();
  count_signal(signo);
}

LAYER_TEST(OtherThread, WhatArrivesThereIsForwardedToTheReader) {
  start_bystander();
  for (const int signo : line_signals) {
    SCOPED_TRACE(signo);
    set_handler(signo, note_thread);
    EXPECT_EQ(read_line({"ab",
                         [signo] {
                           pthread_kill(bystander.thread, signo);
                           wait_for_signal();
                         },
                         "c\n"}),
              "abc");
    EXPECT_EQ(handled[signo], 1);
    EXPECT_TRUE(pthread_equal(handler_thread, pthread_self()));
  }
  stop_bystander();
}

// While the reader blocks a signal to the process, the kernel gives it to the other thread. The
// reader's wait may end before that thread has forwarded it.
LAYER_TEST(OtherThread, ASignalForTheProcessReachesTheReader) {
  start_bystander();
  set_handler(SIGINT, note_thread);
  EXPECT_EQ(read_line({"ab",
                       [] {
                         kill(getpid(), SIGINT);
                         while (handled[SIGINT] == 0) wait_for_signal();
                       },
                       "c\n"}),
            "abc");
  EXPECT_EQ(handled[SIGINT], 1);
  EXPECT_TRUE(pthread_equal(handler_thread, pthread_self()));
  stop_bystander();
}

// The reader on a thread of its own, with the main thread free to take signals.
static pthread_t main_thread;

static void *read_beside_main_thread(void *signo) {
  const int sent = static_cast<int>(reinterpret_cast<intptr_t>(signo));
  EXPECT_EQ(read_line({"ab",
                       [sent] {
                         pthread_kill(main_thread, sent);
                         if (sent != SIGINT && sent != SIGTSTP) wait_for_signal();
                         while (handled[sent] == 0) sched_yield();
                       },
                       "c\n"}),
            "abc");
  return nullptr;
}

static void read_on_another_thread(int signo) {
  main_thread = pthread_self();
  set_handler(signo, note_thread);
  pthread_t reader;
  pthread_create(&reader, nullptr, read_beside_main_thread,
                 reinterpret_cast<void *>(static_cast<intptr_t>(signo)));
  pthread_join(reader, nullptr);
  EXPECT_EQ(handled[signo], 1);
  const bool on_main = pthread_equal(handler_thread, main_thread) != 0;
  EXPECT_EQ(on_main, signo == SIGINT || signo == SIGTSTP);
}

LAYER_TEST(OtherThread, CtrlCAndCtrlZOfTheMainThreadStayThere) {
  for (const int signo : {SIGINT, SIGTSTP}) {
    SCOPED_TRACE(signo);
    read_on_another_thread(signo);
  }
}

LAYER_TEST(OtherThread, EverythingElseGoesFromTheMainThreadToTheReader) {
  for (const int signo : {SIGQUIT, SIGHUP, SIGTERM, SIGCONT, SIGWINCH}) {
    SCOPED_TRACE(signo);
    read_on_another_thread(signo);
  }
}

// --- Between two lines ---------------------------------------------------------------------------

LAYER_TEST(BetweenLines, ACallbackChangesNothing) {
  EXPECT_EQ(read_line({"first\n"}), "first");
  const SignalState before = signal_state();
  run_callback(nothing, nothing, true);
  EXPECT_EQ(difference(before, signal_state()), "");
  EXPECT_EQ(read_line({"second\n"}), "second");
}

// --- Forked children -----------------------------------------------------------------------------

static int child_status;

static void end_child() { raise(SIGINT); }

static void fork_child() {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  waitpid(child, &child_status, 0);
  EXPECT_FALSE(is_blocked(SIGINT));
}

static int read_with_a_fork(FILE *) {
  run_callback(fork_child, nothing, false);
  return -1;
}

LAYER_TEST(ForkedChild, GetsASignalThatComesBeforeItIsReleased) {
  pthread_atfork(nullptr, nullptr, end_child);
  ASSERT_EQ(rl_initialize(), 0);
  rl_getc_function = read_with_a_fork;
  EXPECT_EQ(readline("> "), nullptr);
  ASSERT_TRUE(WIFSIGNALED(child_status));
  EXPECT_EQ(WTERMSIG(child_status), SIGINT);
}
