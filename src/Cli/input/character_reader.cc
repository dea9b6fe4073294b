// The editor's input hook: waits for the next key, and handles log events between keys.
#include "Cli/input/character_reader.h"

#include <fcntl.h>

#include "Cli/input/log_monitor.h"
#include "editline/readline.h"

// What the reader waits on; kept to reuse the storage.
static lineedit::WaitSet waiting;
// The log monitor's descriptor, after it has turned out to be closed: the wait would report it
// again and again. -1 if there is none.
static int closed_log = -1;

static int open_log_descriptor() {
  const int log_fd = log_descriptor();
  return log_fd != closed_log ? log_fd : -1;
}

// Waits until the terminal has a key, or has reached the end of input. Returns false if a callback
// has released the stream.
static bool wait_for_key(int fd) {
  for (;;) {
    lineedit::wait_set_add(&waiting, fd);
    // Looked up in each pass, since a callback may have turned logging off.
    const int log_fd = open_log_descriptor();
    if (log_fd >= 0) lineedit::wait_set_add(&waiting, log_fd);
    if (lineedit::wait_for_input((fd > log_fd ? fd : log_fd) + 1, &waiting) <= 0) continue;
    if (log_fd >= 0 && lineedit::wait_set_has(&waiting, log_fd)) {
      if (fcntl(log_fd, F_GETFD) == -1) closed_log = log_fd;
      process_log_events();
      // The callback may have closed it.
      lineedit::wait_set_remove(&waiting, log_fd);
      if (lineedit::rl_instream == nullptr) return false;
    }
    if (lineedit::wait_set_has(&waiting, fd)) return true;
  }
}

int read_char(FILE *) {
  const int fd = fileno(lineedit::rl_instream);
  char key;
  ssize_t got;
  lineedit::wait_set_clear(&waiting);
  closed_log = -1;
  do {
    if (!wait_for_key(fd)) return -1;
    got = lineedit::read_byte(fd, &key);
  } while (got == lineedit::wait_again);
  return got == 1 ? static_cast<signed char>(key) : -1;
}
