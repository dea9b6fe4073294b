// inotify reports each write to a terminal as a modification of its device file. The driver's echo
// is not reported.
#include "editline/screen/output_watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "editline/base/kept_descriptor.h"

namespace lineedit {

static struct {
  // The inotify instance, kept open because closing one is slow; -1 until the first watch.
  int instance;
  // The watches, or -1: on the terminal, and on /dev/tty, the name by which a program reaches its
  // own terminal. That name is the same for every terminal, so a write to another terminal may look
  // like a write to this one.
  int terminal;
  int own_terminal;
  // A write has been seen.
  bool written;
} watch = {-1, -1, -1, false};

// Reads the pending events. Returns whether one is a write, or may be, because the application has
// closed the instance. Other events report the end of an earlier watch.
static bool read_events() {
  alignas(struct inotify_event) char events[4096];
  bool written = false;
  ssize_t size;
  while ((size = read(watch.instance, events, sizeof events)) > 0) {
    const struct inotify_event *event;
    for (char *at = events; at < events + size; at += sizeof *event + event->len) {
      event = reinterpret_cast<const struct inotify_event *>(at);
      written = written || (event->mask & IN_MODIFY) != 0;
    }
  }
  return written || errno != EAGAIN;
}

static void remove_watch(int *descriptor) {
  if (*descriptor >= 0) inotify_rm_watch(watch.instance, *descriptor);
  *descriptor = -1;
}

static int watch_name(const char *name) {
  return inotify_add_watch(watch.instance, name, IN_MODIFY);
}

bool begin_output_watch(int fd) {
  end_output_watch();
  char name[64];
  snprintf(name, sizeof name, "/proc/self/fd/%d", fd);
  watch.terminal = watch_name(name);
  if (watch.terminal < 0 && (errno == EBADF || errno == EINVAL)) {
    // There is no instance yet, or the application has closed it.
    keep_descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC), &watch.instance);
    watch.terminal = watch_name(name);
  }
  watch.own_terminal = watch_name("/dev/tty");
  if (watch.terminal >= 0) read_events();
  watch.written = false;
  return watch.terminal >= 0;
}

bool output_was_written() {
  if (watch.terminal < 0) return true;
  watch.written = read_events() || watch.written;
  return watch.written;
}

void end_output_watch() {
  remove_watch(&watch.terminal);
  remove_watch(&watch.own_terminal);
}

}  // namespace lineedit
