// A log monitor for machines without the platform's own. It watches one file with inotify for
// appended lines, and continues when the file is truncated, or moved away and created again.
#include "vesker.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

struct vesker {
  vesker_callback *callback;
  void *userdata;
  int notify_fd;    // inotify: what the user waits on; -1 once it turned out to be closed
  char *path;       // of the file, absolute, owned
  int file_fd;      // the file being read, or -1 while there is none
  int file;         // the watch on it, or -1
  off_t reported;   // the offset up to which its lines have been reported
  bool processing;  // inside vesker_process_event
  bool closed;      // closed from inside it
};

// --- Watching ------------------------------------------------------------------------------------

// The working folder may change later, and the name then means another file. Returns null with
// errno set. Symbolic links stay: whoever moves a log away may also change where one leads.
static char *absolute_path(const char *name) {
  if (*name == '/') return strdup(name);
  if (*name == '\0') {
    errno = ENOENT;
    return nullptr;
  }
  char *folder = getcwd(nullptr, 0);
  char *path = nullptr;
  if (folder != nullptr && asprintf(&path, "%s/%s", folder, name) < 0) path = nullptr;
  free(folder);
  return path;
}

// Watches the folder, so that a new file of the same name is noticed. Returns false with errno set.
static bool watch_folder(const vesker *handle) {
  const char *slash = strrchr(handle->path, '/');
  char *folder = strndup(handle->path, slash - handle->path + size_t{1});
  const int watch =
      inotify_add_watch(handle->notify_fd, folder, IN_CREATE | IN_MOVED_TO | IN_ATTRIB);
  free(folder);
  return watch != -1;
}

// Sets errno for any other than a regular file.
static bool is_regular(int fd) {
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  if (S_ISREG(status.st_mode)) return true;
  errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  return false;
}

// Opens and watches the file. Returns false with errno set; only a regular file is accepted.
static bool open_file(vesker *handle) {
  const int fd = open(handle->path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd == -1) return false;
  const int watch =
      is_regular(fd) ? inotify_add_watch(handle->notify_fd, handle->path, IN_MODIFY) : -1;
  if (watch == -1) {
    const int reason = errno;
    close(fd);
    errno = reason;
    return false;
  }
  handle->file_fd = fd;
  handle->file = watch;
  return true;
}

static void close_file(vesker *handle) {
  if (handle->file_fd == -1) return;
  inotify_rm_watch(handle->notify_fd, handle->file);
  close(handle->file_fd);
  handle->file_fd = handle->file = -1;
}

// --- Reporting -----------------------------------------------------------------------------------

struct batch {
  off_t lines;
  off_t bytes;  // up to and including the last line end
};

// The complete lines after the reported ones.
static batch new_lines(const vesker *handle) {
  batch found = {0, 0};
  off_t position = 0;
  char block[65536];
  ssize_t got;
  while ((got = pread(handle->file_fd, block, sizeof block, handle->reported + position)) > 0) {
    for (ssize_t i = 0; i < got; ++i) {
      if (block[i] != '\n') continue;
      ++found.lines;
      found.bytes = position + i + 1;
    }
    position += got;
  }
  return found;
}

static int as_int(off_t number) { return number < INT_MAX ? static_cast<int>(number) : INT_MAX; }

// Reports the new lines of the file being read. Returns the number of events, 0 or 1.
static int report_new_lines(vesker *handle) {
  if (handle->file_fd == -1) return 0;
  struct stat status;
  if (fstat(handle->file_fd, &status) == 0 && status.st_size < handle->reported)
    handle->reported = 0;  // truncated
  const batch found = new_lines(handle);
  if (found.lines == 0) return 0;
  handle->reported += found.bytes;
  handle->callback(as_int(found.lines), handle->userdata, as_int(found.bytes));
  return 1;
}

// Whether the name now belongs to another file than the one being read. While it belongs to none,
// the old file is kept: its writer may go on until there is a new one.
static bool file_was_replaced(const vesker *handle) {
  struct stat named;
  struct stat being_read;
  if (stat(handle->path, &named) != 0) return false;
  if (handle->file_fd == -1 || fstat(handle->file_fd, &being_read) != 0) return true;
  return named.st_ino != being_read.st_ino || named.st_dev != being_read.st_dev;
}

// Reports the last lines of the old file, then reads the new one from its start.
static int follow_replacement(vesker *handle) {
  int events = report_new_lines(handle);
  if (handle->closed) return events;
  close_file(handle);
  handle->reported = 0;
  if (open_file(handle)) events += report_new_lines(handle);
  return events;
}

// --- The interface -------------------------------------------------------------------------------

static void destroy(vesker *handle) {
  const int reason = errno;
  if (handle->file_fd != -1) close(handle->file_fd);
  if (handle->notify_fd != -1) close(handle->notify_fd);
  free(handle->path);
  free(handle);
  errno = reason;
}

vesker *vesker_open(const char *filename, vesker_callback *callback, void *userdata) {
  vesker *handle = static_cast<vesker *>(calloc(1, sizeof *handle));
  if (handle == nullptr) return nullptr;
  handle->callback = callback;
  handle->userdata = userdata;
  handle->file_fd = handle->file = -1;
  handle->path = absolute_path(filename);
  handle->notify_fd = handle->path != nullptr ? inotify_init1(IN_NONBLOCK | IN_CLOEXEC) : -1;
  if (handle->notify_fd == -1 || !open_file(handle) || !watch_folder(handle)) {
    destroy(handle);
    return nullptr;
  }
  handle->reported = lseek(handle->file_fd, 0, SEEK_END);
  return handle;
}

int vesker_inotify_fd(vesker *handle) { return handle->notify_fd; }

// Discards the notices: the file itself shows what has changed, so any number of them is one event.
// Returns -1 if the descriptor is closed, or belongs to something else by now: there is nothing
// left to wait on.
static int discard_notices(vesker *handle) {
  alignas(inotify_event) char notices[16384];
  const ssize_t size = read(handle->notify_fd, notices, sizeof notices);
  if (size > 0) return 1;
  if (size < 0 && errno == EAGAIN) return 0;
  handle->notify_fd = -1;
  return -1;
}

int vesker_process_event(vesker *handle) {
  const int notices = discard_notices(handle);
  if (notices <= 0) return notices;
  handle->processing = true;
  const int events =
      file_was_replaced(handle) ? follow_replacement(handle) : report_new_lines(handle);
  handle->processing = false;
  if (handle->closed) destroy(handle);
  return events;
}

void vesker_close(vesker *handle) {
  if (handle->processing)
    handle->closed = true;
  else
    destroy(handle);
}
