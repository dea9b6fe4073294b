// What the tests of the line-editing layer share: a process, a session and a terminal for each
// test, and keys that come from a script.
#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pty.h"

// Runs `body` in a child process that leads a session of its own on a new terminal, with the
// layer's streams on it and its keys from the script below. The layer is not initialised, so each
// test starts fresh, and a signal to the whole process group stays within the test.
void run_in_own_session(void (*body)());

// A test whose body runs like that.
#define LAYER_TEST(suite, name)                             \
  static void suite##_##name();                             \
  TEST(suite, name) { run_in_own_session(suite##_##name); } \
  static void suite##_##name()

// The terminal of the running test: 24 rows, 80 columns, TERM=xterm. The test has set the locale
// C.UTF-8; the environment's is C.
extern Pty terminal;

// Starts `child` in a process group of its own, in the foreground of the terminal or in its
// background. It ends with the status 0, or 1 after a failed expectation.
pid_t start_foreground_child(void (*child)());
pid_t start_background_child(void (*child)());

// --- Scripted keys -------------------------------------------------------------------------------

// Keys that arrive together, or something to do where the editor waits for a key.
struct Step {
  Step(const char *bytes) : keys(bytes) {}
  Step(std::string bytes) : keys(std::move(bytes)) {}
  template <typename Callable, typename = decltype(std::declval<Callable &>()())>
  Step(Callable what) : action(what) {}
  std::string keys;
  std::function<void()> action;
};

// Replaces the script. Its end is the end of input.
void set_script(std::vector<Step> steps);
// The keys that have not been asked for yet.
std::string unread_keys();
// The character-input hook that takes its keys from the script.
int next_scripted_key(FILE *stream);
int step_goes_on();

// Sets the script and reads a line; no value if readline returned null.
std::optional<std::string> read_line(std::vector<Step> steps);
// Reads a line with the rest of the script, or through the layer's own reader.
std::optional<std::string> read_next_line(const char *prompt = "> ");

// Binds Ctrl-G (command_key) to a command that calls `action`. Initialises the layer.
void on_command_key(std::function<void()> action);
#define command_key "\a"

// --- The line and the process --------------------------------------------------------------------

// `text`, `count` times over.
std::string repeated(const std::string &text, int count);

struct PublishedLine {
  std::string text;
  int point;
  int end;
};
PublishedLine published_line();
void expect_line(const PublishedLine &line, const std::string &text, int point, int end);

// Waits once with wait_for_input on nothing but signals, which must end the wait.
void wait_for_signal();

// What the system does from now on when this process changes any terminal's settings, as a
// SECCOMP_RET_ value: refuse it, or end the process.
void on_change_of_settings(unsigned action);

// A handler that counts, and how often it ran for each signal.
void count_signal(int signo);
extern volatile sig_atomic_t handled[NSIG];
void set_handler(int signo, void (*handler)(int));

// The dispositions of the signals that concern a line being edited, and the signal mask.
struct SignalState {
  struct sigaction dispositions[7];
  sigset_t mask;
};
SignalState signal_state();
// What differs, in words; empty when nothing does.
std::string difference(const SignalState &before, const SignalState &after);
