// The handlers of Ctrl-C and Ctrl-Z while a line is read.
#include "Cli/input/signal_jumps.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "Cli/base/invariant.h"
#include "Cli/base/streams.h"
#include "editline/readline.h"

sigjmp_buf sigintJumpBuffer;
sigjmp_buf sigtstpJumpBuffer;
unsigned long readlineThreadId;

// The dispositions of SIGINT and SIGTSTP from before the latest readline call. Saved whole, because
// signal() would restore only the function and turn on the restarting of system calls: Ctrl-C would
// no longer interrupt what the shell waits for between two lines.
static struct sigaction savedSigintHandler;
static struct sigaction savedSigtstpHandler;

// The two handlers are in place, and the jump points are valid.
static volatile sig_atomic_t jumping;

// --- The handlers --------------------------------------------------------------------------------

// Only the reading thread has a frame to jump to. A thread that is neither the reader nor the main
// one got the signal because the reader is blocking it, and sends it on. On the main thread the
// signal means that another thread reads, which the module does not allow; a jump to that thread's
// stack would corrupt it. Others may have saved our handler and put it back after the line, as
// system() in another thread does; it then gives way to the shell's. Returns in these cases only,
// and says whether it has sent the signal on.
static bool jump_to_reader_or_forward(sigjmp_buf buffer, int signo, const struct sigaction *saved) {
  if (jumping == 0) {
    sigaction(signo, saved, nullptr);
    pthread_kill(pthread_self(), signo);
    return true;
  }
  if (pthread_self() == readlineThreadId) siglongjmp(buffer, 1);
  if (gettid() == getpid()) return false;
  pthread_kill(readlineThreadId, signo);
  return true;
}

[[noreturn]] static void abort_on_wrong_thread() {
  lineedit::give_terminal_back();
  fflush(stdout);
  abort();
}

static void sigint_handler(int signo) {
  if (jump_to_reader_or_forward(sigintJumpBuffer, signo, &savedSigintHandler)) return;
  printf("Assertion failed: readlineThreadId == pthread_self %s:%d (%lu, %lu)\n", report_file, 515,
         readlineThreadId, pthread_self());
  abort_on_wrong_thread();
}

static void sigtstp_handler(int signo) {
  if (jump_to_reader_or_forward(sigtstpJumpBuffer, signo, &savedSigtstpHandler)) return;
  printf("Assertion failed: readlineThreadId == pthread_self %s:%d\n", report_file, 533);
  abort_on_wrong_thread();
}

// --- Binding -------------------------------------------------------------------------------------

static void bind_signal(int signo, void (*handler)(int), struct sigaction *saved) {
  struct sigaction action = {};
  struct sigaction found;
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigaction(signo, &action, &found);
  const bool ours = found.sa_handler == handler || lineedit::is_layers_handler(found.sa_handler);
  if (saved != nullptr && !ours) *saved = found;
}

void install_jump_handlers() {
  jumping = 1;
  bind_signal(SIGINT, sigint_handler, &savedSigintHandler);
  bind_signal(SIGTSTP, sigtstp_handler, &savedSigtstpHandler);
}

void bind_signals_to_shell() {
  sigaction(SIGINT, &savedSigintHandler, nullptr);
  sigaction(SIGTSTP, &savedSigtstpHandler, nullptr);
  jumping = 0;
}

void bind_signals_to_module() {
  jumping = 1;
  bind_signal(SIGINT, sigint_handler, nullptr);
  bind_signal(SIGTSTP, sigtstp_handler, nullptr);
}

static void remove_handler(int signo, void (*handler)(int), const struct sigaction *saved) {
  struct sigaction current;
  sigaction(signo, nullptr, &current);
  if (current.sa_handler == handler) sigaction(signo, saved, nullptr);
}

void remove_jump_handlers() {
  remove_handler(SIGINT, sigint_handler, &savedSigintHandler);
  remove_handler(SIGTSTP, sigtstp_handler, &savedSigtstpHandler);
  jumping = 0;
}

sigset_t jump_signals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTSTP);
  return set;
}
