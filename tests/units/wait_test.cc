// Waiting on descriptors: the set, which has no largest descriptor, and the wait itself.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "editline/base/wait_set.h"
#include "editline/readline.h"
#include "layer_harness.h"

using namespace lineedit;

static constexpr int edges[] = {0, 1, 63, 64, 1022, 1023, 1024, 1025, 2047, 2048, 5000};

TEST(WaitSet, AZeroedOneIsEmpty) {
  const WaitSet set = {};
  for (const int descriptor : edges) EXPECT_FALSE(wait_set_has(&set, descriptor));
}

TEST(WaitSet, HoldsDescriptorsOfAnySize) {
  for (const int added : edges) {
    SCOPED_TRACE(added);
    WaitSet set = {};
    wait_set_clear(&set);
    wait_set_add(&set, added);
    for (const int descriptor : edges)
      EXPECT_EQ(wait_set_has(&set, descriptor), descriptor == added) << descriptor;
    free(set.words);
  }
}

TEST(WaitSet, KeepsWhatItHoldsWhenItGrows) {
  WaitSet set = {};
  for (const int descriptor : edges) wait_set_add(&set, descriptor);
  for (const int descriptor : edges) EXPECT_TRUE(wait_set_has(&set, descriptor)) << descriptor;
  for (const int descriptor : {2, 1021, 1026, 4999}) EXPECT_FALSE(wait_set_has(&set, descriptor));
  free(set.words);
}

TEST(WaitSet, RemovesOneAndClearsAll) {
  WaitSet set = {};
  for (const int descriptor : edges) wait_set_add(&set, descriptor);
  wait_set_remove(&set, 1023);
  wait_set_remove(&set, 2048);
  wait_set_remove(&set, 100000);
  for (const int descriptor : edges)
    EXPECT_EQ(wait_set_has(&set, descriptor), descriptor != 1023 && descriptor != 2048);
  wait_set_clear(&set);
  for (const int descriptor : edges) EXPECT_FALSE(wait_set_has(&set, descriptor));
  wait_set_add(&set, 1024);
  EXPECT_TRUE(wait_set_has(&set, 1024));
  free(set.words);
}

TEST(WaitSet, RemovingWhatItDoesNotHoldChangesNothing) {
  WaitSet set = {};
  wait_set_remove(&set, 3);
  wait_set_add(&set, 4);
  wait_set_remove(&set, 3);
  EXPECT_TRUE(wait_set_has(&set, 4));
  EXPECT_FALSE(wait_set_has(&set, 3));
  free(set.words);
}

// --- wait_for_input
// -------------------------------------------------------------------------------------

struct Pipe {
  int in;
  int out;
};

static Pipe make_pipe() {
  int ends[2] = {-1, -1};
  EXPECT_EQ(pipe(ends), 0);
  return {ends[0], ends[1]};
}

static Pipe make_full_pipe() {
  const Pipe full = make_pipe();
  EXPECT_EQ(write(full.out, "x", 1), 1);
  return full;
}

// The same pipe end under a number of at least `lowest`.
static int move_up(int descriptor, int lowest) {
  struct rlimit limit = {};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t wanted = static_cast<rlim_t>(lowest) + 16;
  if (limit.rlim_cur < wanted) {
    limit.rlim_cur = wanted;
    limit.rlim_max = std::max(limit.rlim_max, wanted);
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  const int moved = fcntl(descriptor, F_DUPFD, lowest);
  EXPECT_GE(moved, lowest) << "this process may not have that many descriptors open";
  close(descriptor);
  return moved;
}

static int wait_for(WaitSet *set, std::initializer_list<int> descriptors) {
  wait_set_clear(set);
  for (const int descriptor : descriptors) wait_set_add(set, descriptor);
  return wait_for_input(std::max(descriptors) + 1, set);
}

LAYER_TEST(Wait, TellsWhatIsReadable) {
  static WaitSet set;
  const Pipe empty = make_pipe(), full = make_full_pipe();
  EXPECT_EQ(wait_for(&set, {empty.in, full.in}), 1);
  EXPECT_FALSE(wait_set_has(&set, empty.in));
  EXPECT_TRUE(wait_set_has(&set, full.in));
}

LAYER_TEST(Wait, ReachesDescriptorsBeyondThoseOfAnFdSet) {
  static WaitSet set;
  for (const int lowest : {1023, 1024, 1500, 2048, 4000}) {
    SCOPED_TRACE(lowest);
    const int full = move_up(make_full_pipe().in, lowest);
    const int empty = move_up(make_pipe().in, lowest);
    EXPECT_EQ(wait_for(&set, {empty, full}), 1);
    EXPECT_FALSE(wait_set_has(&set, empty));
    EXPECT_TRUE(wait_set_has(&set, full));
    close(full);
    close(empty);
  }
}

LAYER_TEST(Wait, TheEndOfAPipeIsReadable) {
  static WaitSet set;
  const Pipe ended = make_pipe();
  close(ended.out);
  EXPECT_EQ(wait_for(&set, {ended.in}), 1);
  EXPECT_TRUE(wait_set_has(&set, ended.in));
}

LAYER_TEST(Wait, AClosedDescriptorIsReadable) {
  static WaitSet set;
  const int closed = move_up(make_pipe().in, 300), high = move_up(make_pipe().in, 1500);
  close(closed);
  close(high);
  EXPECT_EQ(wait_for(&set, {closed}), 1);
  EXPECT_TRUE(wait_set_has(&set, closed));
  EXPECT_EQ(wait_for(&set, {closed, high}), 2);
  EXPECT_TRUE(wait_set_has(&set, closed));
  EXPECT_TRUE(wait_set_has(&set, high));
}

LAYER_TEST(Wait, BesideAClosedDescriptorOnlyWhatIsReadableCounts) {
  static WaitSet set;
  const Pipe empty = make_pipe(), full = make_full_pipe();
  const int closed = move_up(make_pipe().in, 300);
  close(closed);
  EXPECT_EQ(wait_for(&set, {empty.in, closed, full.in}), 2);
  EXPECT_FALSE(wait_set_has(&set, empty.in));
  EXPECT_TRUE(wait_set_has(&set, full.in));
  EXPECT_TRUE(wait_set_has(&set, closed));
}

LAYER_TEST(Wait, LeavesTheSetToBeFilledAgain) {
  static WaitSet set;
  const Pipe empty = make_pipe(), full = make_full_pipe();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(wait_for(&set, {empty.in, full.in}), 1);
    EXPECT_TRUE(wait_set_has(&set, full.in));
  }
}

LAYER_TEST(Wait, GoesBackToTheMaskFromBeforeTheHold) {
  set_handler(SIGUSR1, count_signal);
  ASSERT_TRUE(block_signals(nullptr));
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  raise(SIGUSR1);
  EXPECT_EQ(handled[SIGUSR1], 0);
  wait_for_signal();
  EXPECT_EQ(handled[SIGUSR1], 1);
}

// --- A signal and something to read at once ------------------------------------------------------

LAYER_TEST(Wait, ASignalIsLetInThoughSomethingIsReadable) {
  static WaitSet set;
  set_handler(SIGUSR1, count_signal);
  const Pipe full = make_full_pipe();
  ASSERT_TRUE(block_signals(nullptr));
  for (int times = 1; times <= 3; ++times) {
    raise(SIGUSR1);
    EXPECT_EQ(wait_for(&set, {full.in}), 1);
    EXPECT_TRUE(wait_set_has(&set, full.in));
    EXPECT_EQ(handled[SIGUSR1], times);
  }
  unblock_signals();
}

LAYER_TEST(Wait, ASignalThatWasBlockedBeforeTheHoldIsNot) {
  static WaitSet set;
  set_handler(SIGUSR1, count_signal);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  const Pipe full = make_full_pipe();
  ASSERT_TRUE(block_signals(nullptr));
  raise(SIGUSR1);
  EXPECT_EQ(wait_for(&set, {full.in}), 1);
  EXPECT_EQ(handled[SIGUSR1], 0);
  unblock_signals();
}

LAYER_TEST(Wait, AnAdmittedSignalIsLetInThoughSomethingIsReadable) {
  static WaitSet set;
  set_handler(SIGINT, count_signal);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGINT);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  const Pipe full = make_full_pipe();
  ASSERT_TRUE(block_signals(&blocked));
  raise(SIGINT);
  EXPECT_EQ(wait_for(&set, {full.in}), 1);
  EXPECT_EQ(handled[SIGINT], 1);
  unblock_signals();
}

LAYER_TEST(Wait, WorksOnAfterTheApplicationClosedItsDescriptors) {
  static WaitSet set;
  set_handler(SIGUSR1, count_signal);
  ASSERT_TRUE(block_signals(nullptr));
  unblock_signals();
  const Pipe full = make_full_pipe();
  close_range(static_cast<unsigned>(std::max(full.in, full.out)) + 1, ~0U, 0);
  const int taken = move_up(make_pipe().in, 10);  // where the closed one may have been
  ASSERT_TRUE(block_signals(nullptr));
  raise(SIGUSR1);
  EXPECT_EQ(wait_for(&set, {full.in, taken}), 1);
  EXPECT_EQ(handled[SIGUSR1], 1);
  unblock_signals();
  EXPECT_EQ(fcntl(taken, F_GETFD) & FD_CLOEXEC, 0);
}

LAYER_TEST(Wait, TakesNoStandardDescriptorThatIsClosed) {
  for (int descriptor = 0; descriptor < 3; ++descriptor) {
    const int kept = dup(descriptor);
    close(descriptor);
    ASSERT_TRUE(block_signals(nullptr));
    unblock_signals();
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1) << descriptor;
    dup2(kept, descriptor);
    close(kept);
  }
}

LAYER_TEST(Wait, SignalsGetInAfterTheApplicationClosedItsDescriptorsMeanwhile) {
  static WaitSet set;
  set_handler(SIGUSR1, count_signal);
  const Pipe full = make_full_pipe();
  ASSERT_TRUE(block_signals(nullptr));
  close_range(static_cast<unsigned>(std::max(full.in, full.out)) + 1, ~0U, 0);
  raise(SIGUSR1);
  while (wait_for(&set, {full.in}) != 1) continue;
  EXPECT_EQ(wait_for(&set, {full.in}), 1);
  EXPECT_EQ(handled[SIGUSR1], 1);
  // The wait is one again: nothing but a signal ends it.
  const Pipe empty = make_pipe();
  raise(SIGUSR1);
  EXPECT_EQ(wait_for(&set, {empty.in}), -1);
  EXPECT_EQ(handled[SIGUSR1], 2);
  unblock_signals();
}

LAYER_TEST(Wait, AForkedChildChangesNothingForItsParent) {
  static WaitSet set;
  set_handler(SIGUSR1, count_signal);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  ASSERT_TRUE(block_signals(nullptr));
  const pid_t child = fork();
  if (child == 0) {
    unblock_signals();
    pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
    block_signals(nullptr);
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  raise(SIGUSR1);  // which stays blocked, and must not end the wait
  const Pipe full = make_full_pipe();
  EXPECT_EQ(wait_for(&set, {full.in}), 1);
  EXPECT_EQ(handled[SIGUSR1], 0);
  unblock_signals();
}

// --- A read of input that has gone meanwhile -----------------------------------------------------

// What happens at the next read of the layer's, once. The linker wraps the call.
static void (*before_read)();

extern "C" {
ssize_t __real_read(int descriptor, void *bytes, size_t size);

ssize_t __wrap_read(int descriptor, void *bytes, size_t size) {
  void (*const action)() = before_read;
  before_read = nullptr;
  if (action != nullptr) action();
  return __real_read(descriptor, bytes, size);
}
}

static int input_end;

static void type_a_line(int signo) {
  count_signal(signo);
  EXPECT_EQ(write(input_end, "line\n", 5), 5);
}

static void take_input_away() {
  const int input = fileno(rl_instream);
  const int flags = fcntl(input, F_GETFL);
  char bytes[64];
  if (tcflush(input, TCIFLUSH) == 0) return;
  fcntl(input, F_SETFL, flags | O_NONBLOCK);
  while (__real_read(input, bytes, sizeof bytes) > 0) continue;
  fcntl(input, F_SETFL, flags);
}

static void interrupt_once_it_sleeps() {
  const pid_t reader = getpid();
  if (fork() != 0) return;
  const std::string path = "/proc/" + std::to_string(reader) + "/syscall";
  const std::string reading = std::to_string(SYS_read) + " ";
  char now[16] = "";
  while (strncmp(now, reading.c_str(), reading.size()) != 0) {
    FILE *file = fopen(path.c_str(), "r");
    if (file == nullptr || fgets(now, sizeof now, file) == nullptr) now[0] = '\0';
    if (file != nullptr) fclose(file);
  }
  kill(reader, SIGINT);
  _exit(0);
}

static const struct {
  const char *name;
  void (*before_read)();
} late_reads[] = {
    {"a signal that comes before the read",
     [] {
       take_input_away();
       raise(SIGINT);
     }},
    {"a signal that comes in the read",
     [] {
       take_input_away();
       interrupt_once_it_sleeps();
     }},
};

static void expect_signals_to_end_reads() {
  set_handler(SIGINT, type_a_line);
  rl_getc_function = nullptr;
  for (const auto &row : late_reads) {
    SCOPED_TRACE(row.name);
    handled[SIGINT] = 0;
    ASSERT_EQ(write(input_end, "x\n", 2), 2);
    before_read = row.before_read;
    EXPECT_EQ(read_next_line(), "line");
    EXPECT_EQ(handled[SIGINT], 1);
  }
}

LAYER_TEST(LateRead, ASignalEndsItOnATerminalWithoutEcho) {
  struct termios settings = pty_settings(&terminal);
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  tcsetattr(terminal.slave, TCSANOW, &settings);
  input_end = terminal.master;
  expect_signals_to_end_reads();
}

LAYER_TEST(LateRead, ASignalEndsItOnAPipe) {
  const Pipe input = make_pipe();
  rl_instream = fdopen(input.in, "r");
  input_end = input.out;
  expect_signals_to_end_reads();
}

// --- Without means -------------------------------------------------------------------------------

static void use_up_descriptors() {
  constexpr rlim_t few = 64;
  struct rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = few;
  setrlimit(RLIMIT_NOFILE, &limit);
  while (dup(terminal.slave) >= 0) continue;
}

// The checkers of a sanitizer build need some at the end.
static void give_some_back() { close_range(30, ~0U, 0); }

LAYER_TEST(NoDescriptors, ASignalStillEndsTheWait) {
  static WaitSet set;
  set_handler(SIGUSR1, count_signal);
  const Pipe empty = make_pipe();
  const Pipe full = make_full_pipe();
  use_up_descriptors();
  ASSERT_TRUE(block_signals(nullptr));
  EXPECT_EQ(wait_for(&set, {full.in}), 1);
  raise(SIGUSR1);
  EXPECT_EQ(handled[SIGUSR1], 0);
  EXPECT_EQ(wait_for(&set, {empty.in}), -1);
  EXPECT_EQ(handled[SIGUSR1], 1);
  unblock_signals();
  give_some_back();
}

LAYER_TEST(NoDescriptors, ALineIsReadAllTheSame) {
  ASSERT_EQ(rl_initialize(), 0);
  rl_getc_function = nullptr;
  pty_start_typing(&terminal, {{"> ", "ab\002c\n"}});
  use_up_descriptors();
  EXPECT_EQ(read_next_line(), "acb");
  EXPECT_TRUE(pty_finish_typing());
  give_some_back();
}

// In a forked child the layer's kept descriptors are gone.
LAYER_TEST(NoDescriptors, AForkedChildReadsALineOnceThereAreSome) {
  ASSERT_EQ(rl_initialize(), 0);
  use_up_descriptors();
  EXPECT_EQ(read_line({"first\n"}), "first");
  const pid_t child = fork();
  if (child == 0) {
    give_some_back();
    EXPECT_EQ(read_line({"second\n"}), "second");
    exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  give_some_back();
}
