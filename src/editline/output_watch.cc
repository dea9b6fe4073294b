// The kernel reports each write to a terminal's device as a change of its file. What the driver
// echoes is no write.
#include "output_watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <climits>
#include <cstdio>

namespace lineedit {

// The inotify instance; -1 while nothing is watched.
static int watch = -1;

static void end_watch() {
  if (watch >= 0) close(watch);
  watch = -1;
}

void watch_output(int fd) {
  end_watch();
  watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  char terminal[64];
  snprintf(terminal, sizeof terminal, "/proc/self/fd/%d", fd);
  if (watch < 0) return;
  if (inotify_add_watch(watch, terminal, IN_MODIFY) < 0) end_watch();
  // The other name by which a program can reach the terminal. It is the same for every terminal, so
  // that a program elsewhere may seem to write to this one.
  if (watch >= 0) inotify_add_watch(watch, "/dev/tty", IN_MODIFY);
}

bool output_was_written() {
  if (watch < 0) return true;
  char event[sizeof(struct inotify_event) + NAME_MAX + 1];
  const bool written = read(watch, event, sizeof event) > 0;
  end_watch();
  return written;
}

}  // namespace lineedit
