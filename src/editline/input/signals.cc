// Signal handlers while a line is read.
#include "editline/input/signals.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>

#include "editline/base/terminal.h"

namespace lineedit {

// The signals that concern a line being edited. Those that end the process come first, so that they
// are acted on first.
static constexpr int watched[] = {SIGTERM, SIGHUP, SIGQUIT, SIGINT, SIGTSTP, SIGCONT, SIGWINCH};
static constexpr int watched_count = sizeof watched / sizeof watched[0];

// To be passed on to the disposition that the read found.
static constexpr sig_atomic_t arrived = 1;
// Passed on already, during a callback; the terminal and our handler must be set up again.
static constexpr sig_atomic_t passed_on_already = 2;

static struct {
  // Our handlers are in place; `reader`, `mask` and `found` are valid.
  bool installed;
  pthread_t reader;
  // What is blocked while a handler runs.
  sigset_t mask;
  // The dispositions that the read found, by index into `watched`.
  struct sigaction found[watched_count];
  // A callback runs on the reading thread, with signals let in.
  volatile sig_atomic_t in_callback;
  // Signals to act on: one of the marks above, or 0.
  volatile sig_atomic_t noted[watched_count];
  volatile sig_atomic_t any_noted;
  // Signals whose default action our handler replaces during a callback.
  volatile sig_atomic_t covered[watched_count];
  // What the reading thread reads or writes with signals let in, and what a handler puts in its
  // place.
  volatile sig_atomic_t called;
  volatile sig_atomic_t instead;
} signals = {false, {}, {}, {}, 0, {}, 0, {}, -1, -1};

static int index_of(int signo) {
  int which = 0;
  while (watched[which] != signo) ++which;
  return which;
}

// While a fault signal is blocked, a fault ends the process without running its handler. And the
// terminal driver stops a background process only if TTIN and TTOU are not blocked; otherwise its
// reads fail and its changes of the settings take effect.
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
  if (signals.called >= 0) dup3(signals.instead, signals.called, O_CLOEXEC);
}

// Installs a disposition for the signal being handled and sends the signal to this thread again,
// which receives it as soon as the handler returns.
static void redeliver(const struct sigaction *disposition, int signo) {
  sigaction(signo, disposition, nullptr);
  pthread_kill(pthread_self(), signo);
}

// The kernel prefers the main thread for a signal to the process, and picks any other if that one
// blocks it. So another thread got this one because the reader is blocking it, and sends it on to
// the reader. The main thread gets Ctrl-C and Ctrl-Z only if another thread reads, which the
// reading calls do not allow. Their own handler must detect that, so it runs here.
static void arrived_on_other_thread(int which) {
  const int signo = watched[which];
  const bool wrong_thread = is_main_thread() && (signo == SIGINT || signo == SIGTSTP);
  if (wrong_thread && signals.covered[which] == 0)
    redeliver(&signals.found[which], signo);
  else
    pthread_kill(signals.reader, signo);
}

// Restores the terminal before a signal ends or stops the process.
static void arrived_in_callback(int which) {
  const bool covered = signals.covered[which] != 0;
  if (!ends_process(watched[which]) && !covered) {
    note(which, arrived);
    return;
  }
  note(which, passed_on_already);
  make_terminal_cooked();
  const struct sigaction default_action = {};
  redeliver(covered ? &default_action : &signals.found[which], watched[which]);
}

static void signal_arrived(int signo);

void restore_dispositions_in_child() {
  for (int which = 0; which < watched_count; ++which) {
    struct sigaction current;
    sigaction(watched[which], nullptr, &current);
    if (current.sa_handler != signal_arrived) continue;
    const struct sigaction default_action = {};
    const bool covered = signals.covered[which] != 0;
    sigaction(watched[which], covered ? &default_action : &signals.found[which], nullptr);
  }
  signals = {};
  signals.called = signals.instead = -1;
}

static void signal_arrived(int signo) {
  const int saved_errno = errno;
  const int which = index_of(signo);
  if (!signals.installed)
    redeliver(&signals.found[which], signo);
  else if (pthread_equal(pthread_self(), signals.reader) == 0)
    arrived_on_other_thread(which);
  else if (signals.in_callback != 0)
    arrived_in_callback(which);
  else
    note(which, arrived);
  errno = saved_errno;
}

bool signal_was_noted() { return signals.any_noted != 0 && signals.installed; }

bool is_layers_handler(void (*handler)(int)) { return handler == signal_arrived; }

bool callback_is_running() { return signals.in_callback != 0; }

void let_signals_end_calls_on(int called, int instead) {
  signals.instead = instead;
  signals.called = instead >= 0 ? called : -1;
}

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

// A signal that the application ignores stays ignored, also in programs that it starts.
static bool is_left_ignored(int which) {
  const bool changes_display_only = watched[which] == SIGCONT || watched[which] == SIGWINCH;
  return signals.found[which].sa_handler == SIG_IGN && !changes_display_only;
}

static void install_handler(int which, struct sigaction *found) {
  struct sigaction ours = {};
  ours.sa_handler = signal_arrived;
  ours.sa_mask = signals.mask;
  ours.sa_flags = SA_RESTART;
  sigaction(watched[which], &ours, found);
}

void install_signal_handlers() {
  signals.reader = pthread_self();
  signals.mask = blockable_signals();
  signals.installed = true;
  for (int which = 0; which < watched_count; ++which) {
    struct sigaction found;
    install_handler(which, &found);
    if (!is_layers_handler(found.sa_handler)) signals.found[which] = found;
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

// Exchanges the two first, which takes one system call where the disposition is still ours.
static void restore_found(int which) {
  struct sigaction current;
  sigaction(watched[which], &signals.found[which], &current);
  if (current.sa_handler != signal_arrived) sigaction(watched[which], &current, nullptr);
}

// Signals that were noted but not acted on go to the restored dispositions.
void restore_signal_handlers() {
  signals.installed = false;
  signals.any_noted = 0;
  for (int which = 0; which < watched_count; ++which) {
    restore_found(which);
    if (signals.noted[which] == arrived) pthread_kill(pthread_self(), watched[which]);
    signals.noted[which] = 0;
  }
}

bool found_disposition_is_a_handler(int signo) {
  const struct sigaction *found = &signals.found[index_of(signo)];
  return found->sa_handler != SIG_DFL && found->sa_handler != SIG_IGN;
}

// --- Callbacks -----------------------------------------------------------------------------------

// The default action would end or stop the process with the terminal still raw, so our handler runs
// first.
static void cover_default_action(int signo) {
  struct sigaction action;
  sigaction(signo, nullptr, &action);
  if (action.sa_handler != SIG_DFL) return;
  signals.covered[index_of(signo)] = 1;
  install_handler(index_of(signo), nullptr);
}

// A disposition that is not ours is the application's new one.
static void adopt_disposition(int which) {
  struct sigaction current;
  sigaction(watched[which], nullptr, &current);
  if (current.sa_handler == signal_arrived) return;
  signals.found[which] = current;
  if (!is_left_ignored(which)) install_handler(which, nullptr);
}

void begin_callback_signals(bool own_handlers) {
  if (!signals.installed) return;
  signals.in_callback = 1;
  if (!own_handlers) return;
  cover_default_action(SIGINT);
  cover_default_action(SIGTSTP);
}

void end_callback_signals(bool own_handlers) {
  if (!signals.installed) return;
  signals.in_callback = 0;
  for (int which = 0; which < watched_count; ++which)
    if (watched[which] != SIGINT && watched[which] != SIGTSTP) adopt_disposition(which);
  reinstall_displaced_handlers();
  if (!own_handlers) return;
  signals.covered[index_of(SIGINT)] = signals.covered[index_of(SIGTSTP)] = 0;
}

}  // namespace lineedit
