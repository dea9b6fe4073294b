// Handlers of signals while a line is read.
#include "editline/input/signals.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>

#include "editline/base/terminal.h"

namespace lineedit {

// The signals that concern a line being edited. Those that end the process come first, so that they
// are acted on first.
static constexpr int watched[] = {SIGTERM, SIGHUP, SIGQUIT, SIGINT, SIGTSTP, SIGCONT, SIGWINCH};
static constexpr int watched_count = sizeof watched / sizeof watched[0];

// It is to be passed on to the disposition that the read found.
static constexpr sig_atomic_t arrived = 1;
// That has been done, in a callback; the terminal and our handler are to be put back in place.
static constexpr sig_atomic_t passed_on_already = 2;

static struct {
  // Our handlers are in place; `reader` and `found` are valid.
  bool installed;
  pthread_t reader;
  // The dispositions that the read found, by index into `watched`.
  struct sigaction found[watched_count];
  // A callback runs on the reading thread, with signals let in.
  volatile sig_atomic_t in_callback;
  // Signals that arrived and wait to be acted on: one of the marks above, or 0.
  volatile sig_atomic_t noted[watched_count];
  volatile sig_atomic_t any_noted;
  // Signals whose default action, which a callback runs under, is ours to take meanwhile.
  volatile sig_atomic_t covered[watched_count];
} signals;

static int index_of(int signo) {
  int which = 0;
  while (watched[which] != signo) ++which;
  return which;
}

// A fault of the code being run would end the process without the handler that somebody may have
// for it. And the terminal driver stops a process in the background only where the last two are not
// blocked; else reads fail and settings are changed.
static constexpr int never_blocked[] = {SIGABRT, SIGBUS,  SIGFPE,  SIGILL, SIGSEGV,
                                        SIGSYS,  SIGTRAP, SIGTTIN, SIGTTOU};

sigset_t blockable_signals() {
  sigset_t set;
  sigfillset(&set);
  for (const int signo : never_blocked) sigdelset(&set, signo);
  return set;
}

// --- Arrival -------------------------------------------------------------------------------------

static bool is_main_thread() { return gettid() == getpid(); }

static bool ends_process(int signo) {
  return signo == SIGTERM || signo == SIGHUP || signo == SIGQUIT;
}

static void note(int which, sig_atomic_t mark) {
  signals.noted[which] = mark;
  signals.any_noted = 1;
}

// Puts a disposition in force for the signal being handled and sends it once more to this thread,
// which takes it as soon as the handler returns.
static void hand_to(const struct sigaction *disposition, int signo) {
  sigaction(signo, disposition, nullptr);
  pthread_kill(pthread_self(), signo);
}

// As a rule the kernel gives a signal for the process to the main thread if that lets it in, else
// to any. So on another thread it came because the reader blocks it just now: it goes to the
// reader. The main thread itself gets Ctrl-C and Ctrl-Z only when some other thread reads, which
// the reading calls rule out: their handler must see that, so it runs here.
static void arrived_on_other_thread(int which) {
  const int signo = watched[which];
  const bool misdirected = is_main_thread() && (signo == SIGINT || signo == SIGTSTP);
  if (misdirected && signals.covered[which] == 0)
    hand_to(&signals.found[which], signo);
  else
    pthread_kill(signals.reader, signo);
}

// What ends or stops the process does so with the terminal given back.
static void arrived_in_callback(int which) {
  const bool covered = signals.covered[which] != 0;
  if (!ends_process(watched[which]) && !covered) {
    note(which, arrived);
    return;
  }
  note(which, passed_on_already);
  make_terminal_cooked();
  const struct sigaction default_action = {};
  hand_to(covered ? &default_action : &signals.found[which], watched[which]);
}

static void signal_arrived(int signo) {
  const int saved_errno = errno;
  const int which = index_of(signo);
  if (pthread_equal(pthread_self(), signals.reader) == 0)
    arrived_on_other_thread(which);
  else if (signals.in_callback != 0)
    arrived_in_callback(which);
  else
    note(which, arrived);
  errno = saved_errno;
}

bool signal_was_noted() { return signals.any_noted != 0 && signals.installed; }

bool take_noted_signal(int *signo, bool *passed_on) {
  for (int which = 0; which < watched_count; ++which) {
    if (signals.noted[which] == 0) continue;
    *signo = watched[which];
    *passed_on = signals.noted[which] == passed_on_already;
    signals.noted[which] = 0;
    return true;
  }
  signals.any_noted = 0;
  return false;
}

// --- Dispositions --------------------------------------------------------------------------------

// A signal that the application ignores stays ignored, and stays so for programs that it starts.
static bool is_left_ignored(int which) {
  const bool changes_display_only = watched[which] == SIGCONT || watched[which] == SIGWINCH;
  return signals.found[which].sa_handler == SIG_IGN && !changes_display_only;
}

static void install_handler(int which, struct sigaction *found) {
  struct sigaction ours = {};
  ours.sa_handler = signal_arrived;
  ours.sa_mask = blockable_signals();
  ours.sa_flags = SA_RESTART;
  sigaction(watched[which], &ours, found);
}

void install_signal_handlers() {
  signals.reader = pthread_self();
  signals.installed = true;
  for (int which = 0; which < watched_count; ++which) {
    install_handler(which, &signals.found[which]);
    if (is_left_ignored(which)) sigaction(watched[which], &signals.found[which], nullptr);
  }
}

void reinstall_signal_handler(int signo) {
  const int which = index_of(signo);
  if (is_left_ignored(which))
    sigaction(signo, &signals.found[which], nullptr);
  else
    install_handler(which, nullptr);
}

void reinstall_displaced_handlers() {
  if (!signals.installed) return;
  reinstall_signal_handler(SIGINT);
  reinstall_signal_handler(SIGTSTP);
}

// What was noted and not acted on belongs to the dispositions that come back now.
void restore_signal_handlers() {
  signals.installed = false;
  signals.any_noted = 0;
  for (int which = 0; which < watched_count; ++which) {
    sigaction(watched[which], &signals.found[which], nullptr);
    if (signals.noted[which] == arrived) pthread_kill(pthread_self(), watched[which]);
    signals.noted[which] = 0;
  }
}

bool found_disposition_is_a_handler(int signo) {
  const struct sigaction *found = &signals.found[index_of(signo)];
  return found->sa_handler != SIG_DFL && found->sa_handler != SIG_IGN;
}

// --- Callbacks -----------------------------------------------------------------------------------

void begin_callback_signals() { signals.in_callback = 1; }

void end_callback_signals() { signals.in_callback = 0; }

// The default action would end or stop the process with the terminal as the editor has it, so our
// handler goes first.
static void cover_default_action(int signo) {
  struct sigaction action;
  sigaction(signo, nullptr, &action);
  if (action.sa_handler != SIG_DFL) return;
  signals.covered[index_of(signo)] = 1;
  install_handler(index_of(signo), nullptr);
}

void cover_default_actions() {
  if (!signals.installed) return;
  cover_default_action(SIGINT);
  cover_default_action(SIGTSTP);
}

void uncover_default_actions() {
  if (!signals.installed) return;
  reinstall_displaced_handlers();
  signals.covered[index_of(SIGINT)] = signals.covered[index_of(SIGTSTP)] = 0;
}

}  // namespace lineedit
