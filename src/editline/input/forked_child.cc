#include "editline/input/forked_child.h"

#include <pthread.h>

#include "editline/base/kept_descriptor.h"
#include "editline/base/terminal.h"
#include "editline/input/signals.h"
#include "editline/input/wait.h"

namespace lineedit {

static struct { bool released; } forked_children;

// Only calls that a signal handler may make: another thread may have held any lock.
static void release_child() {
  close_kept_descriptors();
  leave_terminal_to_parent();
  restore_dispositions_in_child();
  unblock_signals_in_child();
}

void release_forked_children() {
  if (!forked_children.released) pthread_atfork(nullptr, nullptr, release_child);
  forked_children.released = true;
}

}  // namespace lineedit
