// A log-monitor library for tests: does what the name of the "log" says and reports just the events
// that a test asks for. It is loaded in place of the real one through the loader's path.
//
//   fifo:PATH      a named pipe; each line "FIRST SECOND" written to it is one event
//   high:PATH      the same, on a descriptor above 1023
//   silent:PATH    the same, but without a descriptor to wait on
//   errno:NUMBER   vesker_open fails with that errno
//
// Each call is written, one a line, to the file that TAVORIN_MONITOR_CALLS names.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vesker.h"

struct vesker {
  vesker_callback *callback;
  void *userdata;
  int fd;
  bool silent;
  char partial[64];  // the beginning of an event's line
  size_t partial_length;
};

static constexpr int high_descriptor = 1500;

static void record(const char *call) {
  const char *path = getenv("TAVORIN_MONITOR_CALLS");
  if (path == nullptr) return;
  const int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  dprintf(fd, "%s\n", call);
  close(fd);
}

// What follows `prefix` in `name`, or null.
static const char *after(const char *name, const char *prefix) {
  const size_t length = strlen(prefix);
  return strncmp(name, prefix, length) == 0 ? name + length : nullptr;
}

// Moves a descriptor above those that fit into an fd_set.
static int moved_up(int fd) {
  struct rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  const int high = fcntl(fd, F_DUPFD_CLOEXEC, high_descriptor);
  close(fd);
  return high;
}

// Opened for both, so that it does not end when the test's end is closed.
static int open_pipe(const char *path) { return open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC); }

vesker *vesker_open(const char *filename, vesker_callback *callback, void *userdata) {
  char call[512];
  snprintf(call, sizeof call, "open %s", filename);
  record(call);
  if (const char *number = after(filename, "errno:")) {
    errno = static_cast<int>(strtol(number, nullptr, 10));
    return nullptr;
  }
  vesker *handle = static_cast<vesker *>(calloc(1, sizeof *handle));
  handle->callback = callback;
  handle->userdata = userdata;
  handle->fd = open_pipe(strchr(filename, ':') + 1);
  if (after(filename, "high:") != nullptr) handle->fd = moved_up(handle->fd);
  handle->silent = after(filename, "silent:") != nullptr;
  return handle;
}

int vesker_inotify_fd(vesker *handle) { return handle->silent ? -1 : handle->fd; }

static void report(vesker *handle) {
  int first = 0;
  int second = 0;
  handle->partial[handle->partial_length] = '\0';
  handle->partial_length = 0;
  if (sscanf(handle->partial, "%d %d", &first, &second) == 2)
    handle->callback(first, handle->userdata, second);
}

int vesker_process_event(vesker *handle) {
  char byte;
  record("process");
  while (read(handle->fd, &byte, 1) == 1) {
    if (byte == '\n')
      report(handle);
    else if (handle->partial_length + 1 < sizeof handle->partial)
      handle->partial[handle->partial_length++] = byte;
  }
  return 0;
}

// A callback may close the handle from inside vesker_process_event, which then goes on with it; so
// only the descriptor goes.
void vesker_close(vesker *handle) {
  record("close");
  close(handle->fd);
  handle->fd = -1;
}
