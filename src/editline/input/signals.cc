// Which signals reach the process while a line is read, and when.
#include "editline/input/signals.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>

#include "editline/base/editor.h"
#include "editline/base/kept_descriptor.h"
#include "editline/commands/history_search.h"
#include "editline/readline.h"
#include "editline/screen/rows.h"

namespace lineedit {

// The signals that concern a line being edited. Those that end the process come first, so that they
// are acted on first.
static constexpr int watched[] = {SIGTERM, SIGHUP, SIGQUIT, SIGINT, SIGTSTP, SIGCONT, SIGWINCH};
static constexpr int watched_count = sizeof watched / sizeof watched[0];

// It is to be passed on to the disposition that the read found.
static constexpr sig_atomic_t arrived = 1;
// That has been done, in a callback; the terminal and our handler are to be put back in place.
static constexpr sig_atomic_t passed_on = 2;

static struct {
  // Held back from the reading thread, between rl_hold_signals and rl_release_signals.
  bool held;
  // The mask before the hold: what the wait opens and the release goes back to.
  sigset_t outside;
  // The mask during the hold.
  sigset_t inside;
  // Our handler is in place; `reader` and `found` are valid.
  bool taken;
  pthread_t reader;
  // The dispositions that the read found, by index into `watched`.
  struct sigaction found[watched_count];
  // A callback runs on the reading thread, with signals let in.
  volatile sig_atomic_t in_callback;
  // Signals that arrived and wait for rl_wait to act on them: one of the marks below, or 0.
  volatile sig_atomic_t noted[watched_count];
  volatile sig_atomic_t any_noted;
  // Signals whose default action, which a callback runs under, is ours to take meanwhile.
  volatile sig_atomic_t covered[watched_count];
} signals;

// A descriptor that is readable when a held signal has arrived. pselect, which opens the mask only
// if it has to wait, would pass over them for as long as keys keep coming. Kept from line to line;
// -1 when there is none.
static int arrivals = -1;

// --- The hold ------------------------------------------------------------------------------------

// Signals that are never held. A fault of the code being run would end the process without the
// handler that somebody may have for it. And the terminal driver stops a process in the background
// only where the last two are not blocked; else reads fail and settings are changed.
static constexpr int never_held[] = {SIGABRT, SIGBUS,  SIGFPE,  SIGILL, SIGSEGV,
                                     SIGSYS,  SIGTRAP, SIGTTIN, SIGTTOU};

// The held signals that the wait lets in.
static sigset_t signals_to_let_in() {
  sigset_t set = signals.inside;
  for (int signo = 1; signo < NSIG; ++signo)
    if (sigismember(&signals.outside, signo) == 1) sigdelset(&set, signo);
  return set;
}

// Makes `arrivals` tell of the signals to let in. The application may have closed it meanwhile, and
// something else may have its number now.
static void watch_arrivals() {
  const sigset_t set = signals_to_let_in();
  if (arrivals < 0 || signalfd(arrivals, &set, 0) < 0)
    keep_descriptor(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK), &arrivals);
}

bool rl_hold_signals() {
  if (signals.held) return false;
  sigset_t set;
  sigfillset(&set);
  for (const int signo : never_held) sigdelset(&set, signo);
  pthread_sigmask(SIG_BLOCK, &set, &signals.outside);
  sigorset(&signals.inside, &signals.outside, &set);
  signals.held = true;
  watch_arrivals();
  return true;
}

void rl_release_signals() {
  if (!signals.held) return;
  signals.held = false;
  pthread_sigmask(SIG_SETMASK, &signals.outside, nullptr);
}

void rl_admit_signals(const sigset_t *set) {
  bool changed = false;
  for (const int signo : watched) {
    if (sigismember(set, signo) != 1 || sigismember(&signals.outside, signo) != 1) continue;
    sigdelset(&signals.outside, signo);
    changed = true;
  }
  if (changed) watch_arrivals();
}

// --- Arrival -------------------------------------------------------------------------------------

static int index_of(int signo) {
  int which = 0;
  while (watched[which] != signo) ++which;
  return which;
}

bool is_main_thread() { return gettid() == getpid(); }

static bool changes_display_only(int signo) { return signo == SIGCONT || signo == SIGWINCH; }

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
// to any. So on another thread it came because the reader holds it just now: it goes to the reader.
// The main thread itself gets Ctrl-C and Ctrl-Z only when some other thread reads, which the
// reading calls rule out: their handler must see that, so it runs here.
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
  note(which, passed_on);
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

// --- Dispositions --------------------------------------------------------------------------------

// A signal that the application ignores stays ignored, and stays so for programs that it starts.
static bool is_left_ignored(int which) {
  return signals.found[which].sa_handler == SIG_IGN && !changes_display_only(watched[which]);
}

static void install_handler(int which, struct sigaction *found) {
  struct sigaction ours = {};
  ours.sa_handler = signal_arrived;
  ours.sa_mask = signals.inside;
  ours.sa_flags = SA_RESTART;
  sigaction(watched[which], &ours, found);
}

static void take_handler(int which) {
  install_handler(which, &signals.found[which]);
  if (is_left_ignored(which)) sigaction(watched[which], &signals.found[which], nullptr);
}

static void retake_handler(int which) {
  if (is_left_ignored(which))
    sigaction(watched[which], &signals.found[which], nullptr);
  else
    install_handler(which, nullptr);
}

void take_signal_handlers() {
  signals.reader = pthread_self();
  signals.taken = true;
  for (int which = 0; which < watched_count; ++which) take_handler(which);
}

void retake_signal_handlers() {
  if (!signals.taken) return;
  retake_handler(index_of(SIGINT));
  retake_handler(index_of(SIGTSTP));
}

// What was noted and not acted on belongs to the dispositions that come back now.
void give_back_signal_handlers() {
  signals.taken = false;
  signals.any_noted = 0;
  for (int which = 0; which < watched_count; ++which) {
    sigaction(watched[which], &signals.found[which], nullptr);
    if (signals.noted[which] == arrived) pthread_kill(pthread_self(), watched[which]);
    signals.noted[which] = 0;
  }
}

// --- Acting on a signal, between two keys --------------------------------------------------------

// Lets one signal through to the disposition that the read found. That may end or stop the process,
// or jump away: everything is given back before, and taken again only if it returns.
static void let_found_disposition_act(int which) {
  give_back_signal_handlers();
  pthread_kill(pthread_self(), watched[which]);
  sigset_t open = signals.inside;
  sigdelset(&open, watched[which]);
  pthread_sigmask(SIG_SETMASK, &open, nullptr);
  pthread_sigmask(SIG_SETMASK, &signals.inside, nullptr);
  take_signal_handlers();
}

static bool found_disposition_is_a_handler(int which) {
  return signals.found[which].sa_handler != SIG_DFL && signals.found[which].sa_handler != SIG_IGN;
}

// Whoever stopped the process may have changed the terminal, which the editor takes for raw. Where
// it is so, keys are on their way that must not meet it otherwise.
static void restore_raw_terminal() {
  if (hands_over_single_keys(fileno(rl_instream))) return;
  make_terminal_cooked();
  make_terminal_raw();
}

static void act_on_display_change(int which) {
  if (watched[which] == SIGWINCH) {
    forget_screen();
    el_resize(layer.editor);
    fit_screen_to_line();
  } else {
    restore_raw_terminal();
  }
  if (found_disposition_is_a_handler(which)) let_found_disposition_act(which);
  rl_forced_update_display();
}

static void act_on(int which) {
  const sig_atomic_t mark = signals.noted[which];
  signals.noted[which] = 0;
  if (changes_display_only(watched[which])) {
    act_on_display_change(which);
    return;
  }
  if (mark == passed_on) {
    retake_handler(which);
  } else {
    take_search_off_screen();
    make_terminal_cooked();
    let_found_disposition_act(which);
  }
  make_terminal_raw();
}

static void act_on_noted_signals() {
  signals.any_noted = 0;
  for (int which = 0; which < watched_count; ++which)
    if (signals.noted[which] != 0) act_on(which);
}

// --- The wait ------------------------------------------------------------------------------------

// True also for a closed descriptor.
static bool reading_returns_at_once(int descriptor) {
  struct pollfd entry = {descriptor, POLLIN, 0};
  return poll(&entry, 1, 0) == 1;
}

bool rl_read_was_too_late(int descriptor) {
  struct pollfd entry = {descriptor, POLLIN, 0};
  return layer.terminal_is_raw && poll(&entry, 1, 0) >= 0 &&
         (entry.revents & (POLLHUP | POLLERR | POLLNVAL)) == 0;
}

// For a set in which a descriptor is closed, which select refuses as a whole: keeps what can be
// read and takes the others out. Returns how many are left.
static int keep_readable_descriptors(int count, WaitSet *readable) {
  int kept = 0;
  for (int descriptor = 0; descriptor < count; ++descriptor) {
    if (!wait_set_has(readable, descriptor)) continue;
    if (reading_returns_at_once(descriptor))
      ++kept;
    else
      wait_set_remove(readable, descriptor);
  }
  return kept;
}

// Whether a held signal has arrived; takes `arrivals` out of the set.
static bool take_arrivals(WaitSet *readable) {
  if (arrivals < 0 || !wait_set_has(readable, arrivals)) return false;
  wait_set_remove(readable, arrivals);
  return true;
}

static void let_held_signals_in() {
  pthread_sigmask(SIG_SETMASK, &signals.outside, nullptr);
  pthread_sigmask(SIG_SETMASK, &signals.inside, nullptr);
}

// select() with the held signals let in.
static int wait_for_input(int count, WaitSet *readable) {
  const sigset_t *mask = signals.held ? &signals.outside : nullptr;
  if (!signals.held || arrivals < 0)
    return pselect(count, readable->sets, nullptr, nullptr, nullptr, mask);
  wait_set_add(readable, arrivals);
  if (count <= arrivals) count = arrivals + 1;
  int ready = pselect(count, readable->sets, nullptr, nullptr, nullptr, mask);
  const bool arrived_meanwhile = take_arrivals(readable) && ready > 0;
  if (arrived_meanwhile) let_held_signals_in();
  if (arrived_meanwhile || (ready < 0 && errno == EBADF && fcntl(arrivals, F_GETFD) < 0)) {
    watch_arrivals();
    if (--ready > 0) return ready;
    errno = EINTR;
    return -1;
  }
  return ready;
}

int rl_wait(int count, WaitSet *readable) {
  if (signals.any_noted != 0 && signals.taken) act_on_noted_signals();
  const int ready = wait_for_input(count, readable);
  if (ready < 0 && errno == EBADF) return keep_readable_descriptors(count, readable);
  if (signals.any_noted != 0 && signals.taken) {
    act_on_noted_signals();
    errno = EINTR;
    return -1;
  }
  return ready;
}

// --- Callbacks -----------------------------------------------------------------------------------

// The caller may have put the default action in force for these. It would end or stop the process
// with the terminal as the editor has it, so our handler goes first.
static void cover_default_action(int signo) {
  struct sigaction action;
  sigaction(signo, nullptr, &action);
  if (action.sa_handler != SIG_DFL) return;
  signals.covered[index_of(signo)] = 1;
  install_handler(index_of(signo), nullptr);
}

void rl_lend_signals() {
  if (!signals.taken) return;
  cover_default_action(SIGINT);
  cover_default_action(SIGTSTP);
}

void rl_take_back_signals() {
  if (!signals.taken) return;
  retake_signal_handlers();
  signals.covered[index_of(SIGINT)] = signals.covered[index_of(SIGTSTP)] = 0;
}

void rl_open_signals() {
  if (!signals.held) return;
  signals.in_callback = 1;
  pthread_sigmask(SIG_SETMASK, &signals.outside, nullptr);
}

void rl_close_signals() {
  if (!signals.held) return;
  pthread_sigmask(SIG_SETMASK, &signals.inside, nullptr);
  signals.in_callback = 0;
}

}  // namespace lineedit
