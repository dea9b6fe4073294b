// What one press of Up costs with the line that it brings back so and so far away: the time from
// the moment the editor gets the key until it asks for the next one, the drawing on a terminal
// included.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>

#include "editline/readline.h"
#include "store_under_test.h"

using Clock = std::chrono::steady_clock;

static constexpr int line_count = 100000;
static constexpr char up = 'P' & 0x1f;
static constexpr char down = 'N' & 0x1f;

// The keys of one line: first `lead_in`, then Up and Down in turn, then Enter.
static struct {
  benchmark::State *state;
  std::string lead_in;
  size_t led;
  char pressed;  // the key that was given last
  Clock::time_point since;
} script;

static int terminal_master;

// The terminal has to be read, or the editor would wait for it in the middle of a measurement.
static void read_what_was_drawn() {
  char bytes[4096];
  while (read(terminal_master, bytes, sizeof bytes) > 0) continue;
}

static char next_key() {
  if (script.led < script.lead_in.size()) return script.lead_in[script.led++];
  if (script.pressed == up) return down;
  return script.state->KeepRunning() ? up : '\n';
}

// Up is followed by Down at once, so Enter never comes right after it: the last press is Down.
static int give_key(FILE *) {
  const Clock::time_point now = Clock::now();
  const bool from_script = script.led == script.lead_in.size();
  if (from_script && script.pressed == up)
    script.state->SetIterationTime(std::chrono::duration<double>(now - script.since).count());
  read_what_was_drawn();
  const bool measured = script.led == script.lead_in.size();
  const char key = next_key();
  script.pressed = measured ? key : '\0';
  script.since = Clock::now();
  return key;
}

static FILE *open_terminal() {
  terminal_master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
  if (terminal_master == -1 || grantpt(terminal_master) != 0 || unlockpt(terminal_master) != 0)
    return nullptr;
  const winsize size = {24, 80, 0, 0};
  ioctl(terminal_master, TIOCSWINSZ, &size);
  const int slave = open(ptsname(terminal_master), O_RDWR | O_NOCTTY);
  return slave == -1 ? nullptr : fdopen(slave, "r+");
}

// An editor on a terminal of its own, with the store plugged in as the module plugs it in.
static bool set_up_editor() {
  // Neither the terminal nor the settings of whoever runs this.
  setenv("TERM", "xterm", 1);
  unsetenv("HOME");
  unsetenv("EDITRC");
  FILE *terminal = open_terminal();
  if (terminal == nullptr) return false;
  lineedit::rl_instream = lineedit::rl_outstream = terminal;
  lineedit::rl_getc_function = give_key;
  lineedit::rl_input_available_hook = [] { return 1; };
  if (lineedit::rl_initialize() != 0) return false;
  HistEvent event;
  return history(lineedit::get_history(), &event, H_FUNC, &hist_ctx, hist_first, hist_next,
                 hist_last, hist_prev, hist_curr, hist_set, hist_clear, hist_enter, hist_add,
                 hist_del) == 0;
}

// The keys that go to the line so many back: numbers as arguments of Up, which end at 9999.
static std::string keys_to_go_back(int lines) {
  std::string keys;
  for (; lines > 0; lines -= 9999) keys += "\033" + std::to_string(std::min(lines, 9999)) + up;
  return keys;
}

static void press_up(benchmark::State &state) {
  static const bool ready = set_up_editor();
  if (!ready) {
    state.SkipWithError("no editor on a terminal");
    return;
  }
  const int depth = static_cast<int>(state.range(0));
  fill_store(line_count);
  script = {&state, keys_to_go_back(depth - 1), 0, '\0', {}};
  char *line = lineedit::readline("> ");
  const std::string wanted = depth == 1 ? "" : "line " + std::to_string(line_count - depth + 2);
  if (line == nullptr || line != wanted) state.SkipWithError("the keys did not lead there");
  free(line);
}
BENCHMARK(press_up)
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(line_count)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
