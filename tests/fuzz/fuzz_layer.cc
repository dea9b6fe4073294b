// A fuzz target over the line-editing layer: each input is a person at the keyboard of a
// pseudo-terminal who also changes the window, gets messages and asks for completions. Whatever was
// typed, the next line must come back as it is typed, and the terminal have the settings that it
// had.
//
// An input is one byte that says how to begin and then keys; the byte 255, which no key sends, is
// followed by one that says what to do, and by what that needs.
#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "editline/readline.h"
#include "editline/screen/display.h"

using namespace lineedit;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

// The terminal library forgets a string of each terminal that it sets up. Named by its file: a
// machine need not have what finds the names of functions.
extern "C" __attribute__((visibility("default"))) const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions() { return "leak:libtinfo\n"; }

// --- The terminal --------------------------------------------------------------------------------

static struct {
  int master;
  int slave;
  struct termios settings = {};
} terminal;

// Inputs that have ended. Stands still when the editor does.
static std::atomic<unsigned long> progress;

[[noreturn]] static void fail(const char *what) {
  fprintf(stderr, "\n%s\n", what);
  abort();
}

// What is shown has to be read, or writing it would block.
[[noreturn]] static void *read_screen(void *) {
  static char shown[65536];
  for (;;)
    if (read(terminal.master, shown, sizeof shown) < 0) usleep(1000);
}

[[noreturn]] static void *watch_progress(void *) {
  const char *patience = getenv("TAVORIN_FUZZ_PATIENCE");
  const unsigned patience_s = patience != nullptr ? static_cast<unsigned>(atoi(patience)) : 20;
  for (unsigned long before = progress;; before = progress) {
    sleep(patience_s);
    if (progress == before) fail("The editor hangs.");
  }
}

// Runs beside the editor, and takes no signals.
static void start_thread(void *(*body)(void *)) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  pthread_t thread;
  if (pthread_create(&thread, nullptr, body, nullptr) != 0) fail("No thread.");
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

static void set_window(int rows, int columns) {
  struct winsize size = {};
  size.ws_row = static_cast<unsigned short>(rows);
  size.ws_col = static_cast<unsigned short>(columns);
  ioctl(terminal.slave, TIOCSWINSZ, &size);
}

// --- The input -----------------------------------------------------------------------------------

static struct {
  const uint8_t *at;
  const uint8_t *end;
  // Keys that were asked for after the end: Enter, in case one is taken for text.
  int enters;
} input;

static int next_byte() { return input.at < input.end ? *input.at++ : 0; }

// --- What happens besides typing -----------------------------------------------------------------

static int window_length() {
  static const int lengths[] = {0, 1, 2, 3, 5, 10, 20, 24, 79, 80, 81, 132, 300, 1000};
  return lengths[static_cast<size_t>(next_byte()) % std::size(lengths)];
}

// A signal acts in the wait, which the keys of a fuzz input do not need.
static void let_signals_act() {
  static WaitSet nothing;
  wait_set_clear(&nothing);
  wait_for_input(0, &nothing);
}

static void change_window() {
  const int rows = window_length();
  set_window(rows, window_length());
  pthread_kill(pthread_self(), SIGWINCH);
  let_signals_act();
}

static void stop_and_go_on() {
  pthread_kill(pthread_self(), SIGCONT);
  let_signals_act();
}

// With a handler that returns, the line goes on.
static void send_signal() {
  pthread_kill(pthread_self(), SIGQUIT);
  let_signals_act();
}

static void show_message() {
  begin_output();
  const int kind = next_byte();
  if ((kind & 1) != 0) fputs("\na message\n", rl_outstream);
  if ((kind & 2) != 0) rl_forced_update_display();
  end_output();
}

static void record_line() {
  static const char *const lines[] = {"show version",  "show \351",   "",   "trailing blank ",
                                      "caf\303\251 x", "one\ntwo",    "\t", "interface eth0",
                                      "\377\376\375",  "\346\227\245"};
  add_history(lines[static_cast<size_t>(next_byte()) % std::size(lines)]);
}

static void record_long_line() {
  static char line[4000];
  const size_t length = static_cast<size_t>(next_byte()) * 15;
  memset(line, 'l', length);
  line[length] = '\0';
  add_history(line);
}

static void set_width() {
  static const int widths[] = {0, -1, 1, 2, 80, 5000};
  rl_set_screen_size(24, widths[static_cast<size_t>(next_byte()) % std::size(widths)]);
  rl_forced_update_display();
}

static void (*const actions[])() = {change_window,    stop_and_go_on, show_message, record_line,
                                    record_long_line, set_width,      send_signal};

static int next_key(FILE *) {
  while (input.at < input.end) {
    const int byte = next_byte();
    // Ctrl-Z would stop everything that was started with this program.
    if (byte == 032) continue;
    if (byte != 0xff) return static_cast<signed char>(byte);
    actions[static_cast<size_t>(next_byte()) % std::size(actions)]();
  }
  if (input.enters++ == 10) fail("Enter does not end the line.");
  return '\n';
}

// A pause before an action, and none otherwise.
static int more_keys_come() { return input.at < input.end && *input.at != 0xff; }

// --- Completion ----------------------------------------------------------------------------------

static void edit_line(const char *text, int backspaces) {
  rl_point = rl_end;
  const int deleted = backspaces < rl_point ? backspaces : rl_point;
  rl_point -= deleted;
  rl_delete_text(rl_point, rl_point + deleted);
  rl_insert_text(text);
  rl_point = rl_end;
  rl_forced_update_display();
}

static char **complete(const char *, int, int) {
  begin_output();
  switch (next_byte() % 7) {
    case 0:
      fputs("\n  a list\n", rl_outstream);
      rl_forced_update_display();
      break;
    case 1:
      edit_line("sion ", 0);
      break;
    case 2:
      edit_line("x", 3);
      break;
    case 3:
      edit_line("\351\303", 1);
      break;
    case 4:
      edit_line("a very long answer that goes on to the right margin and on the next row, perhaps",
                0);
      break;
    case 5:
      edit_line("", 1000);
      break;
    default:
      rl_done = 1;
  }
  end_output();
  rl_attempted_completion_over = 1;
  return nullptr;
}

// --- A line, and the one after it ----------------------------------------------------------------

static void set_up() {
  sigset_t none;
  sigemptyset(&none);
  pthread_sigmask(SIG_SETMASK, &none, nullptr);
  terminal.master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (terminal.master < 0 || grantpt(terminal.master) != 0 || unlockpt(terminal.master) != 0)
    fail("No pseudo-terminal.");
  terminal.slave = open(ptsname(terminal.master), O_RDWR | O_NOCTTY | O_CLOEXEC);
  tcgetattr(terminal.slave, &terminal.settings);
  start_thread(read_screen);
  start_thread(watch_progress);
  setenv("TERM", "xterm", 1);
  setenv("HOME", "/nonexistent", 1);
  setenv("LC_ALL", "C", 1);
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  sigaction(SIGQUIT, &action, nullptr);
  rl_instream = fdopen(terminal.slave, "r");
  rl_outstream = fdopen(dup(terminal.slave), "w");
  rl_getc_function = next_key;
  rl_input_available_hook = more_keys_come;
  rl_attempted_completion_function = complete;
}

// The low bits of the first byte choose the environment's locale, the window and whether the editor
// is a new one, as it is for each new locale.
static void begin(int how) {
  static const int windows[][2] = {{24, 80}, {24, 80}, {3, 10}, {0, 0}};
  const char *locale = (how & 1) != 0 ? "C" : "C.UTF-8";
  const bool same_locale = strcmp(getenv("LC_ALL"), locale) == 0;
  setenv("LC_ALL", locale, 1);
  const int *window = windows[(how >> 1) & 3];
  set_window(window[0], window[1]);
  if ((how & 0x38) == 0 || get_history() == nullptr || !same_locale) {
    rl_initialize();
    rl_parse_and_bind("bind ? rl_complete");
  }
  clear_history();
  add_history("show one");
  add_history("show two");
}

static void read_line(const uint8_t *data, size_t size) {
  input = {data, data + size, 0};
  free(readline("\001\033[1m\002> \001\033[0m\002"));
}

static void expect_plain_line() {
  static const uint8_t plain[] = {'p', 'l', 'a', 'i', 'n', '\n'};
  input = {plain, plain + sizeof plain, 0};
  char *line = readline("> ");
  if (line == nullptr || strcmp(line, "plain") != 0) fail("The next line is another one.");
  free(line);
}

static void expect_settings() {
  struct termios settings = {};
  tcgetattr(terminal.slave, &settings);
  if (memcmp(&settings, &terminal.settings, sizeof settings) != 0)
    fail("The terminal has other settings.");
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (terminal.master == 0) set_up();
  if (size == 0) return 0;
  begin(data[0]);
  read_line(data + 1, size - 1);
  expect_settings();
  expect_plain_line();
  expect_settings();
  ++progress;
  return 0;
}
