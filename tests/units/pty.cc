// A pseudo-terminal for tests: what is shown on it, what is typed at it, and its settings.
#include "pty.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <sstream>

// Only a test that has gone wrong waits this long.
static constexpr int patience_ms = 20000;

void pty_set_size(const Pty *pty, int rows, int columns) {
  struct winsize size = {};
  size.ws_row = static_cast<unsigned short>(rows);
  size.ws_col = static_cast<unsigned short>(columns);
  ioctl(pty->slave, TIOCSWINSZ, &size);
}

bool pty_open(Pty *pty, int rows, int columns) {
  pty->shown.clear();
  pty->searched = 0;
  pty->master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (pty->master < 0 || grantpt(pty->master) != 0 || unlockpt(pty->master) != 0) return false;
  pty->slave = open(ptsname(pty->master), O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (pty->slave < 0) return false;
  fcntl(pty->master, F_SETFL, O_NONBLOCK);
  pty->in = fdopen(dup(pty->slave), "r");
  pty->out = fdopen(dup(pty->slave), "w");
  pty_set_size(pty, rows, columns);
  return pty->in != nullptr && pty->out != nullptr;
}

void pty_collect(Pty *pty) {
  char bytes[4096];
  ssize_t got;
  while ((got = read(pty->master, bytes, sizeof bytes)) > 0)
    pty->shown.append(bytes, static_cast<size_t>(got));
}

static bool find_shown(Pty *pty, const std::string &text) {
  const size_t found = pty->shown.find(text, pty->searched);
  if (found == std::string::npos) return false;
  pty->searched = found + text.size();
  return true;
}

// Waits for one of `events` on `descriptor`.
static bool wait_for_events(int descriptor, short events) {
  struct pollfd waiting = {descriptor, events, 0};
  return poll(&waiting, 1, patience_ms) > 0 && (waiting.revents & events) != 0;
}

bool pty_wait_for(Pty *pty, const std::string &text) {
  for (pty_collect(pty); !find_shown(pty, text); pty_collect(pty))
    if (!wait_for_events(pty->master, POLLIN)) return false;
  return true;
}

void pty_type(Pty *pty, const std::string &bytes) {
  size_t typed = 0;
  while (typed < bytes.size() && wait_for_events(pty->master, POLLIN | POLLOUT)) {
    pty_collect(pty);
    const ssize_t put = write(pty->master, bytes.data() + typed, bytes.size() - typed);
    if (put > 0) typed += static_cast<size_t>(put);
  }
}

bool pty_wait_for_input(const Pty *pty) { return wait_for_events(pty->slave, POLLIN); }

// --- Settings ------------------------------------------------------------------------------------

struct termios pty_settings(const Pty *pty) {
  struct termios settings = {};
  tcgetattr(pty->slave, &settings);
  return settings;
}

static void compare(std::ostringstream *text, const char *name, unsigned before, unsigned after) {
  if (before != after) *text << name << ' ' << std::oct << before << " -> " << after << "; ";
}

std::string difference(const struct termios &before, const struct termios &after) {
  std::ostringstream text;
  compare(&text, "iflag", before.c_iflag, after.c_iflag);
  compare(&text, "oflag", before.c_oflag, after.c_oflag);
  compare(&text, "cflag", before.c_cflag, after.c_cflag);
  compare(&text, "lflag", before.c_lflag, after.c_lflag);
  compare(&text, "line", before.c_line, after.c_line);
  for (int i = 0; i < NCCS; ++i) {
    const std::string name = "cc[" + std::to_string(i) + "]";
    compare(&text, name.c_str(), before.c_cc[i], after.c_cc[i]);
  }
  compare(&text, "ispeed", cfgetispeed(&before), cfgetispeed(&after));
  compare(&text, "ospeed", cfgetospeed(&before), cfgetospeed(&after));
  return text.str();
}

bool pty_is_raw(const Pty *pty) { return (pty_settings(pty).c_lflag & (ICANON | ECHO)) == 0; }

// --- Typing --------------------------------------------------------------------------------------

static struct {
  Pty *pty;
  std::vector<Typing> typing;
  bool typed_all;
  pthread_t thread;
  int stop[2];
} keyboard;

static bool type_everything() {
  for (const Typing &step : keyboard.typing) {
    if (!pty_wait_for(keyboard.pty, step.after)) return false;
    pty_type(keyboard.pty, step.bytes);
  }
  return true;
}

static void *run_keyboard(void *) {
  keyboard.typed_all = type_everything();
  struct pollfd waiting[] = {{keyboard.stop[0], POLLIN, 0}, {keyboard.pty->master, POLLIN, 0}};
  while (poll(waiting, 2, -1) > 0 && waiting[0].revents == 0) {
    pty_collect(keyboard.pty);
    // A terminal that was hung up has nothing more to show.
    if ((waiting[1].revents & POLLHUP) != 0) waiting[1].fd = -1;
  }
  pty_collect(keyboard.pty);
  return nullptr;
}

void pty_start_typing(Pty *pty, const std::vector<Typing> &typing) {
  keyboard.pty = pty;
  keyboard.typing = typing;
  if (pipe(keyboard.stop) != 0) abort();
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  pthread_create(&keyboard.thread, nullptr, run_keyboard, nullptr);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

bool pty_finish_typing() {
  close(keyboard.stop[1]);
  pthread_join(keyboard.thread, nullptr);
  close(keyboard.stop[0]);
  return keyboard.typed_all;
}
