// A paste of one megabyte in 80-byte lines, with the bulk-input guard armed and without: what it
// costs the process that reads it. Each line is compared with what was pasted.
#include "editline/input/bulk_guard.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "editline/base/editor.h"
#include "editline/readline.h"

static constexpr int line_count = 13107;
static constexpr int line_length = 79;  // and the Enter

static std::string line_number(int number) {
  std::string line = "line " + std::to_string(number) + ' ';
  while (line.size() < line_length) line += static_cast<char>('a' + line.size() % 26);
  return line;
}

static int master;
static std::string paste;

// Pastes, and throws away what is shown, until the terminal is closed.
static void *be_the_terminal(void *) {
  size_t pasted = 0;
  char shown[65536];
  for (;;) {
    struct pollfd ready = {master,
                           static_cast<short>(POLLIN | (pasted < paste.size() ? POLLOUT : 0)), 0};
    poll(&ready, 1, -1);
    if ((ready.revents & POLLIN) != 0 && read(master, shown, sizeof shown) <= 0) return nullptr;
    if ((ready.revents & POLLOUT) != 0) {
      const ssize_t put = write(master, paste.data() + pasted, paste.size() - pasted);
      if (put > 0) pasted += static_cast<size_t>(put);
    }
    if ((ready.revents & POLLHUP) != 0) return nullptr;
  }
}

static void open_terminal() {
  master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
  grantpt(master);
  unlockpt(master);
  const char *name = ptsname(master);
  lineedit::rl_instream = fopen(name, "r");
  lineedit::rl_outstream = fopen(name, "w");
  const struct winsize size = {24, 80, 0, 0};
  ioctl(master, TIOCSWINSZ, &size);
}

static double processor_seconds() {
  struct rusage usage;
  getrusage(RUSAGE_THREAD, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Reads all lines. Returns how many were read plainly, or -1 when one was not as it was pasted.
static int read_paste() {
  int plain = 0;
  for (int number = 0; number < line_count; ++number) {
    int editing = 0;
    el_get(lineedit::editor.el, EL_EDITMODE, &editing);
    plain += editing == 0 ? 1 : 0;
    char *line = lineedit::readline("> ");
    const bool right = line != nullptr && line_number(number) == line;
    free(line);
    if (!right) return -1;
  }
  return plain;
}

static void read_pasted_lines(benchmark::State &state) {
  setenv("TERM", "xterm", 1);
  for (int number = 0; paste.size() < static_cast<size_t>(line_count * (line_length + 1)); ++number)
    paste += line_number(number) + '\r';
  for (auto _ : state) {
    open_terminal();
    lineedit::rl_initialize();
    lineedit::engine::el_wset(lineedit::editor.el, lineedit::EL_TTY_OVERFLOW_FIX,
                              static_cast<int>(state.range(0)));
    pthread_t keyboard;
    pthread_create(&keyboard, nullptr, be_the_terminal, nullptr);
    const double before = processor_seconds();
    const int plain = read_paste();
    state.SetIterationTime(processor_seconds() - before);
    if (plain < 0) state.SkipWithError("a line was lost or changed");
    state.counters["plain_lines"] = plain;
    fclose(lineedit::rl_instream);
    fclose(lineedit::rl_outstream);
    pthread_join(keyboard, nullptr);
    close(master);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(paste.size()));
}
BENCHMARK(read_pasted_lines)
    ->ArgName("armed")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->Repetitions(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
