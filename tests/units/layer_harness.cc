// What the tests of the line-editing layer share: a process, a session and a terminal for each
// test, and keys that come from a script.
#include "layer_harness.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <cstddef>
#include <cstdlib>
#include <iterator>

#include "editline/readline.h"

using namespace lineedit;

// The terminal library leaks a string for each terminal that it sets up; glibc 2.36 leaks the path
// of the locales (LOCPATH) for each one that it makes.
extern "C" __attribute__((visibility("default"))) const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions() {
  return "leak:_nc_trim_sgr0\nleak:argz_add_sep\n";
}

Pty terminal;
volatile sig_atomic_t handled[NSIG];

// --- Processes -----------------------------------------------------------------------------------

// The user's own settings must not reach the editor.
static void set_environment() {
  setenv("TERM", "xterm", 1);
  setenv("HOME", "/nonexistent", 1);
  unsetenv("EDITRC");
  unsetenv("LINES");
  unsetenv("COLUMNS");
  setenv("LC_ALL", "C", 1);
  setlocale(LC_ALL, "C.UTF-8");
}

// The program that started the tests may ignore or block signals, as a shell does for background
// jobs.
static void set_signals_to_default() {
  for (int signo = 1; signo < NSIG; ++signo) set_handler(signo, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] static void lead_session(void (*body)()) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  setsid();
  set_signals_to_default();
  set_environment();
  const bool ready = pty_open(&terminal, 24, 80) && ioctl(terminal.slave, TIOCSCTTY, 0) == 0;
  EXPECT_TRUE(ready) << "no pseudo-terminal";
  rl_instream = terminal.in;
  rl_outstream = terminal.out;
  rl_getc_function = next_scripted_key;
  rl_input_available_hook = step_goes_on;
  if (ready) body();
  exit(testing::Test::HasFailure() ? 1 : 0);
}

static bool has_ended(pid_t child) {
  siginfo_t ended = {};
  waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT | WNOHANG);
  return ended.si_pid == child;
}

// Ends a test that hangs. Valgrind 3.19 does not know pidfd_open, and polls.
static void end_after_a_while(pid_t child) {
  constexpr int patience_ms = 100000;
  struct pollfd ended = {static_cast<int>(syscall(SYS_pidfd_open, child, 0)), POLLIN, 0};
  if (ended.fd >= 0) poll(&ended, 1, patience_ms);
  for (int ms = 0; ended.fd < 0 && ms < patience_ms && !has_ended(child); ms += 10) usleep(10000);
  if (!has_ended(child)) kill(child, SIGKILL);
  close(ended.fd);
}

void run_in_own_session(void (*body)()) {
  fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) lead_session(body);
  end_after_a_while(child);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_FALSE(WIFSIGNALED(status)) << "killed by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0) << "see the failures above";
}

static pid_t start_child(void (*child)(), bool in_foreground) {
  fflush(nullptr);
  set_handler(SIGTTOU, SIG_IGN);
  const pid_t pid = fork();
  if (pid != 0) return pid;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  setpgid(0, 0);
  if (in_foreground) tcsetpgrp(terminal.slave, getpid());
  set_handler(SIGTTOU, SIG_DFL);
  child();
  exit(testing::Test::HasFailure() ? 1 : 0);
}

pid_t start_foreground_child(void (*child)()) { return start_child(child, true); }

pid_t start_background_child(void (*child)()) { return start_child(child, false); }

std::string repeated(const std::string &text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

// --- Scripted keys -------------------------------------------------------------------------------

static struct {
  std::vector<Step> steps;
  size_t step;
  size_t key;
} script;

void set_script(std::vector<Step> steps) {
  script.steps = std::move(steps);
  script.step = 0;
  script.key = 0;
}

std::string unread_keys() {
  std::string keys;
  for (size_t i = script.step; i < script.steps.size(); ++i) keys += script.steps[i].keys;
  return keys.substr(script.key);
}

// Must not own memory: an action can jump out of the read.
int next_scripted_key(FILE *) {
  pty_collect(&terminal);
  while (script.step < script.steps.size()) {
    const Step &step = script.steps[script.step];
    if (script.key < step.keys.size()) return static_cast<signed char>(step.keys[script.key++]);
    ++script.step;
    script.key = 0;
    if (step.action) step.action();
  }
  return -1;
}

int step_goes_on() {
  return script.step < script.steps.size() && script.key < script.steps[script.step].keys.size();
}

std::optional<std::string> read_next_line(const char *prompt) {
  char *line = readline(prompt);
  if (line == nullptr) return std::nullopt;
  std::string text = line;
  free(line);
  return text;
}

std::optional<std::string> read_line(std::vector<Step> steps) {
  set_script(std::move(steps));
  return read_next_line();
}

static std::function<void()> command_action;

static int run_command_action(int, int) {
  command_action();
  return 0;
}

void on_command_key(std::function<void()> action) {
  command_action = std::move(action);
  EXPECT_EQ(rl_add_defun("run-test-action", run_command_action, command_key[0]), 0);
}

// --- The line and the process --------------------------------------------------------------------

PublishedLine published_line() { return {rl_line_buffer, rl_point, rl_end}; }

void expect_line(const PublishedLine &line, const std::string &text, int point, int end) {
  EXPECT_EQ(line.text, text);
  EXPECT_EQ(line.point, point);
  EXPECT_EQ(line.end, end);
}

void wait_for_signal() {
  static WaitSet nothing;
  wait_set_clear(&nothing);
  const int ready = wait_for_input(0, &nothing);
  const int error = errno;
  EXPECT_EQ(ready, -1);
  EXPECT_EQ(error, EINTR);
}

void count_signal(int signo) { handled[signo] = handled[signo] + 1; }

void set_handler(int signo, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigaction(signo, &action, nullptr);
}

static const struct {
  int signo;
  const char *name;
} line_signals[] = {{SIGINT, "INT"},   {SIGTSTP, "TSTP"}, {SIGQUIT, "QUIT"},  {SIGHUP, "HUP"},
                    {SIGTERM, "TERM"}, {SIGCONT, "CONT"}, {SIGWINCH, "WINCH"}};

SignalState signal_state() {
  SignalState state = {};
  for (size_t i = 0; i < std::size(line_signals); ++i)
    sigaction(line_signals[i].signo, nullptr, &state.dispositions[i]);
  pthread_sigmask(SIG_SETMASK, nullptr, &state.mask);
  return state;
}

static bool same_set(const sigset_t &one, const sigset_t &other) {
  for (int signo = 1; signo < NSIG; ++signo)
    if (sigismember(&one, signo) != sigismember(&other, signo)) return false;
  return true;
}

static bool same_disposition(const struct sigaction &one, const struct sigaction &other) {
  // Added by the C library to every disposition that it sets.
  constexpr int restorer = 0x04000000;
  return one.sa_handler == other.sa_handler && same_set(one.sa_mask, other.sa_mask) &&
         (one.sa_flags & ~restorer) == (other.sa_flags & ~restorer);
}

std::string difference(const SignalState &before, const SignalState &after) {
  std::string text;
  for (size_t i = 0; i < std::size(line_signals); ++i)
    if (!same_disposition(before.dispositions[i], after.dispositions[i]))
      text += std::string(line_signals[i].name) + ' ';
  if (!same_set(before.mask, after.mask)) text += "mask";
  return text;
}

void on_change_of_settings(unsigned action) {
  struct sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_ioctl, 0, 5),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, args[1])),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TCSETS, 2, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TCSETSW, 1, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TCSETSF, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, action),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  struct sock_fprog filter = {std::size(program), program};
  ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
  ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
}
