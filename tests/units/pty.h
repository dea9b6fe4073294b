// A pseudo-terminal for tests: what is shown on it, what is typed at it, and its settings.
#pragma once

#include <termios.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

struct Pty {
  int master;  // the keyboard and screen side; never blocks
  int slave;   // the program's side
  // Streams over the program's side.
  FILE *in;
  FILE *out;
  // Everything read from the master so far, and how much of it pty_wait_for has passed.
  std::string shown;
  size_t searched;
};

// Opens a pair with the given window size. Returns false when the system has none.
bool pty_open(Pty *pty, int rows, int columns);
void pty_set_size(const Pty *pty, int rows, int columns);

// Reads what has been shown, without waiting.
void pty_collect(Pty *pty);
// Reads until `text` has been shown after the latest match. Returns false after a long time without
// new output.
bool pty_wait_for(Pty *pty, const std::string &text);
// Types `bytes`, however long.
void pty_type(Pty *pty, const std::string &bytes);
// Waits until the program has typed input to read.
bool pty_wait_for_input(const Pty *pty);

struct termios pty_settings(const Pty *pty);
// The fields in which two settings differ, by name; empty when they are equal.
std::string difference(const struct termios &before, const struct termios &after);
// Whether keys reach the program one by one, unechoed.
bool pty_is_raw(const Pty *pty);

// A user at the keyboard, on a thread that blocks all signals: waits until `after` has been shown,
// then types `bytes`, and so on, and keeps reading what is shown. Between the two calls only that
// thread may touch `pty`.
struct Typing {
  std::string after;
  std::string bytes;
};
void pty_start_typing(Pty *pty, const std::vector<Typing> &typing);
// Ends it. Returns whether everything was typed.
bool pty_finish_typing();
