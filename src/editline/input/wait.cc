// Waiting for input with signals let in, and acting on those that arrive.
#include "editline/input/wait.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "editline/base/editor.h"
#include "editline/base/kept_descriptor.h"
#include "editline/base/locale.h"
#include "editline/base/streams.h"
#include "editline/base/terminal.h"
#include "editline/input/signals.h"
#include "editline/screen/display.h"
#include "editline/screen/drawing.h"
#include "editline/screen/editor_output.h"
#include "editline/screen/size.h"
#include "editline/screen/writer.h"

namespace lineedit {

static struct {
  // Between block_signals and unblock_signals.
  bool blocked;
  // The mask during the wait and after unblock_signals: the one from before block_signals, without
  // the admitted signals.
  sigset_t outside;
  // The thread that has blocked them.
  pthread_t holder;
  // The mask while they are blocked.
  sigset_t inside;
  // A signalfd, readable when a blocked signal has arrived. pselect alone changes the mask only if
  // it has to wait, so it would miss signals for as long as keys keep coming. Kept from line to
  // line; -1 if there is none.
  int arrivals;
  // There may be a new size.
  bool resized;
  // The terminal was given back to others, who may have moved its cursor.
  bool was_away;
} waiting = {false, {}, {}, {}, -1, false, false};

// While a window is dragged, a terminal may already have another size than the kernel tells, for up
// to a quarter of a second in tmux. What is drawn meanwhile lands on other rows than it is meant
// for.
static constexpr struct timespec settling_time = {0, 300'000'000};

// --- Noticing signals ----------------------------------------------------------------------------

// The blocked signals that the wait lets in.
static sigset_t signals_to_let_in() {
  sigset_t set = waiting.inside;
  for (int signo = 1; signo < NSIG; ++signo)
    if (sigismember(&waiting.outside, signo) == 1) sigdelset(&set, signo);
  return set;
}

// Makes `arrivals` report the signals to let in. The application may have closed it meanwhile, and
// its number may now belong to something else.
static void watch_arrivals() {
  const sigset_t set = signals_to_let_in();
  if (waiting.arrivals < 0 || signalfd(waiting.arrivals, &set, 0) < 0)
    keep_descriptor(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK), &waiting.arrivals);
}

// --- Calls with signals let in -------------------------------------------------------------------

// Reads and writes go through a descriptor of their own, which a handler exchanges for one on which
// they fail. So a signal that comes before the call has begun ends it, too. If the process has no
// free descriptor for that, no signal ends a call that sleeps.
static int let_signals_end_calls(int descriptor) {
  const int own = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  watch_arrivals();
  let_signals_end_calls_on(own, waiting.arrivals);
  pthread_sigmask(SIG_SETMASK, &waiting.outside, nullptr);
  return own >= 0 ? own : descriptor;
}

static void block_signals_again(int own, int descriptor) {
  const int error = errno;
  pthread_sigmask(SIG_SETMASK, &waiting.inside, nullptr);
  let_signals_end_calls_on(-1, -1);
  if (own != descriptor) close(own);
  errno = error;
}

// --- A terminal that takes no output -------------------------------------------------------------

static bool takes_output(int descriptor) {
  struct pollfd entry = {descriptor, POLLOUT, 0};
  return poll(&entry, 1, 0) == 1;
}

// Whether a signal has ended a call. In a callback it may have been the application's own.
static bool call_was_ended() { return signal_was_noted() || callback_is_running(); }

static bool wait_for_room(int descriptor) {
  WaitSet writable = {};
  const sigset_t *mask = waiting.blocked ? &waiting.outside : nullptr;
  bool ended = false;
  while (!ended && !takes_output(descriptor)) {
    wait_set_add(&writable, descriptor);
    ended = signal_was_noted() || (pselect(descriptor + 1, nullptr, wait_set_fds(&writable),
                                           nullptr, nullptr, mask) < 0 &&
                                   call_was_ended());
  }
  free(writable.words);
  return !ended;
}

static ssize_t write_with_signals(int descriptor, const void *bytes, size_t size) {
  const int own = let_signals_end_calls(descriptor);
  const ssize_t written = write(own, bytes, size);
  block_signals_again(own, descriptor);
  return written;
}

// The application may have made its descriptor one that never waits.
static ssize_t write_to_stopped(int descriptor, const void *bytes, size_t size) {
  if (!waiting.blocked) return write(descriptor, bytes, size);
  while (!signal_was_noted() || takes_output(descriptor)) {
    const ssize_t written = write_with_signals(descriptor, bytes, size);
    const bool exchanged = written < 0 && errno == EINVAL && signal_was_noted();
    if (exchanged) break;
    if (written >= 0 || (errno != EINTR && errno != EAGAIN)) return written;
    if (errno == EINTR ? call_was_ended() : !wait_for_room(descriptor)) break;
  }
  errno = EINTR;
  return -1;
}

static const StoppedTerminal stopped_terminal = {write_to_stopped, wait_for_room};

// --- Blocking ------------------------------------------------------------------------------------

bool block_signals(const sigset_t *admitted) {
  if (waiting.blocked) return false;
  const sigset_t set = blockable_signals();
  pthread_sigmask(SIG_BLOCK, &set, &waiting.outside);
  sigorset(&waiting.inside, &waiting.outside, &set);
  for (int signo = 1; admitted != nullptr && signo < NSIG; ++signo)
    if (sigismember(admitted, signo) == 1) sigdelset(&waiting.outside, signo);
  waiting.holder = pthread_self();
  waiting.blocked = true;
  waiting.resized = waiting.was_away = false;
  watch_arrivals();
  wait_for_stopped_terminal(&stopped_terminal);
  return true;
}

void unblock_signals() {
  if (!waiting.blocked) return;
  close_terminal();
  waiting.blocked = false;
  pthread_sigmask(SIG_SETMASK, &waiting.outside, nullptr);
}

void unblock_signals_in_child() {
  if (waiting.blocked && pthread_equal(pthread_self(), waiting.holder) != 0) unblock_signals();
  waiting.blocked = false;
}

// --- Acting on a signal, between two keys --------------------------------------------------------

// Lets one signal through to the disposition that the read found. That may end or stop the process,
// or jump out of the read. So everything is restored first, and set up again only if it returns.
static void run_found_disposition(int signo) {
  const bool left = leave_editor_locale();
  close_terminal();
  restore_signal_handlers();
  mute_editor(false);
  pthread_kill(pthread_self(), signo);
  sigset_t open = waiting.inside;
  sigdelset(&open, signo);
  pthread_sigmask(SIG_SETMASK, &open, nullptr);
  pthread_sigmask(SIG_SETMASK, &waiting.inside, nullptr);
  mute_editor(true);
  install_signal_handlers();
  if (left) enter_editor_locale();
}

static void redraw_after_stop() {
  if (waiting.was_away)
    redraw_line();
  else
    draw_in_place();
  waiting.was_away = false;
}

// The new size is taken over when the wait ends, or has lasted for the settling time.
static void act_on_display_change(int signo) {
  // Another program may have used the terminal while the process was stopped. A raw one is not
  // switched: keys may be arriving, and must not find it cooked.
  if (signo == SIGCONT && !terminal_is_raw(input_descriptor())) {
    restore_raw_terminal();
    waiting.was_away = true;
  }
  if (found_disposition_is_a_handler(signo)) run_found_disposition(signo);
  if (signo == SIGCONT)
    redraw_after_stop();
  else
    waiting.resized = true;
}

static void take_new_size_over() {
  if (!waiting.resized) return;
  waiting.resized = false;
  follow_screen_size();
  update_drawing();
}

static void act_on_interruption(int signo) {
  take_new_size_over();
  if (editor.leave_command != nullptr) {
    editor.leave_command();
    update_drawing();
  }
  // Ctrl-C drops the rest of a paste.
  editor.pasting = false;
  move_behind_line();
  make_terminal_cooked();
  run_found_disposition(signo);
  make_terminal_raw();
  waiting.was_away = signo == SIGTSTP;
}

static void act_on_noted_signals() {
  int signo;
  bool passed_on;
  while (take_noted_signal(&signo, &passed_on)) {
    if (signo == SIGWINCH || signo == SIGCONT) {
      act_on_display_change(signo);
    } else if (passed_on) {
      reinstall_signal_handler(signo);
      make_terminal_raw();
    } else {
      act_on_interruption(signo);
    }
  }
  // What a signal has kept from being written to a stopped terminal.
  flush_writer();
}

// --- The wait ------------------------------------------------------------------------------------

// True also for a closed descriptor.
static bool reading_returns_at_once(int descriptor) {
  struct pollfd entry = {descriptor, POLLIN, 0};
  return poll(&entry, 1, 0) == 1;
}

// select refuses a set with a closed descriptor. Keeps the descriptors that can be read and removes
// the others. Returns how many are left.
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

// Removes `arrivals` from the set. Returns whether it was readable, so that a blocked signal has
// arrived.
static bool remove_arrivals(WaitSet *readable) {
  if (waiting.arrivals < 0 || !wait_set_has(readable, waiting.arrivals)) return false;
  wait_set_remove(readable, waiting.arrivals);
  return true;
}

static void let_blocked_signals_in() {
  pthread_sigmask(SIG_SETMASK, &waiting.outside, nullptr);
  pthread_sigmask(SIG_SETMASK, &waiting.inside, nullptr);
}

// select() with the blocked signals let in.
static int select_with_signals(int count, WaitSet *readable) {
  const int arrivals = waiting.arrivals;
  const sigset_t *mask = waiting.blocked ? &waiting.outside : nullptr;
  const struct timespec *limit = waiting.resized ? &settling_time : nullptr;
  if (!waiting.blocked || arrivals < 0)
    return pselect(count, wait_set_fds(readable), nullptr, nullptr, limit, mask);
  wait_set_add(readable, arrivals);
  if (count <= arrivals) count = arrivals + 1;
  int ready = pselect(count, wait_set_fds(readable), nullptr, nullptr, limit, mask);
  const bool arrived_meanwhile = remove_arrivals(readable) && ready > 0;
  if (arrived_meanwhile) let_blocked_signals_in();
  if (arrived_meanwhile || (ready < 0 && errno == EBADF && fcntl(arrivals, F_GETFD) < 0)) {
    watch_arrivals();
    if (--ready > 0) return ready;
    errno = EINTR;
    return -1;
  }
  return ready;
}

int wait_for_input(int count, WaitSet *readable) {
  while (signal_was_noted()) act_on_noted_signals();
  const int ready = select_with_signals(count, readable);
  if (ready < 0 && errno == EBADF) return keep_readable_descriptors(count, readable);
  if (signal_was_noted()) {
    act_on_noted_signals();
    errno = EINTR;
    return -1;
  }
  // Another handler ran. It may be in the place of ours: system() in another thread puts it there.
  if (ready < 0) reinstall_displaced_handlers();
  take_new_size_over();
  return ready;
}

// --- Reading ------------------------------------------------------------------------------------

static ssize_t read_with_signals(int descriptor, char *byte) {
  if (!waiting.blocked) return read(descriptor, byte, 1);
  const int own = let_signals_end_calls(descriptor);
  const ssize_t got = read(own, byte, 1);
  block_signals_again(own, descriptor);
  // A 0 may be a Ctrl-D, which would be lost.
  const bool ended = got < 0 && (signal_was_noted() || errno == EINTR || errno == EAGAIN);
  return ended ? wait_again : got;
}

// For a raw terminal, which reports the end of input and no input in the same way.
static bool input_was_dropped(int descriptor) {
  struct pollfd entry = {descriptor, POLLIN, 0};
  return poll(&entry, 1, 0) >= 0 && (entry.revents & (POLLHUP | POLLERR | POLLNVAL)) == 0;
}

// Where a read may wait, or a raw terminal's has returned nothing.
ssize_t read_byte_slowly(int descriptor, char *byte) {
  if (!editor.terminal_is_raw) return read_with_signals(descriptor, byte);
  return input_was_dropped(descriptor) ? wait_again : 0;
}

// --- Callbacks -----------------------------------------------------------------------------------

static void call_with_signals(void (*call)()) {
  if (!waiting.blocked) {
    call();
    return;
  }
  pthread_sigmask(SIG_SETMASK, &waiting.outside, nullptr);
  call();
  // A child that the callback has forked holds none.
  if (waiting.blocked) pthread_sigmask(SIG_SETMASK, &waiting.inside, nullptr);
}

void run_callback(void (*call)(), void (*apply)(), bool own_handlers) {
  begin_callback_signals(own_handlers);
  begin_output();
  lend_terminal();
  const bool left = leave_editor_locale();
  note_streams();
  call_with_signals(call);
  const bool lost = !keep_unchanged_streams();
  if (left) enter_editor_locale();
  if (!lost) take_terminal_back();
  end_callback_signals(own_handlers);
  apply();
  end_output();
  if (lost) abandon_terminal();
}

}  // namespace lineedit
