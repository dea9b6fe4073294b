#include "editline/input/forked_child.h"

#include <pthread.h>

#include <csignal>

#include "editline/base/kept_descriptor.h"
#include "editline/base/terminal.h"
#include "editline/input/signals.h"
#include "editline/input/wait.h"
#include "editline/screen/writer.h"

namespace lineedit {

static struct {
  bool released;
  // The application's part; null if there is none.
  void (*further)();
} forked_children;

// The mask of a thread that forks. Several may do so at the same time.
static thread_local sigset_t mask_of_fork;

// Our handlers must not run in the child. So it gets no signal before its dispositions are back.
static void hold_signals() {
  const sigset_t set = blockable_signals();
  pthread_sigmask(SIG_BLOCK, &set, &mask_of_fork);
}

static void let_signals_in() { pthread_sigmask(SIG_SETMASK, &mask_of_fork, nullptr); }

// Calls nothing that takes a lock: another thread may have held any.
static void release_child() {
  close_kept_descriptors();
  close_terminal();
  leave_terminal_to_parent();
  restore_dispositions_in_child();
  if (forked_children.further != nullptr) forked_children.further();
  let_signals_in();
  unblock_signals_in_child();
}

void release_forked_children(void (*further)()) {
  if (further != nullptr) forked_children.further = further;
  if (!forked_children.released) pthread_atfork(hold_signals, let_signals_in, release_child);
  forked_children.released = true;
}

}  // namespace lineedit
