// When signals reach the process while a line is read: during the wait for a key, and during a
// callback of the application.
//
// The editor is not safe against signals. A handler that resizes its buffers or jumps out of it in
// the middle of a key corrupts its heap. A signal during a write to the terminal makes the write
// fail, and its output is lost. So nearly all signals are blocked during a read and let in only
// while the editor is idle.
//
// Order of calls for one line: block_signals; readline, which installs the layer's handlers and
// restores the ones it found; then, once the caller's own handlers are removed, unblock_signals. A
// caller may leave the blocking to readline, unless its handlers jump out of the read. Such a
// caller must block the signals itself, and unblock them where the jump lands.
#pragma once

#include <unistd.h>

#include <csignal>
#include <cstddef>

#include "editline/base/editor.h"
#include "editline/base/wait_set.h"

namespace lineedit {

// Blocks the signals on the calling thread. Those in `admitted`, which may be null, get through
// during the wait and after unblock_signals, even if they were blocked before. Returns false, and
// changes nothing, if the signals are already blocked.
bool block_signals(const sigset_t *admitted);
// Does nothing if they are not blocked.
void unblock_signals();

// select() for reading from the descriptors below `count`, without a timeout. It lets the blocked
// signals in while it waits. A signal is acted on here, after the wait, never inside a handler: the
// terminal is restored and the disposition from before the read runs. If that returns, editing
// resumes; it may also jump out of the read. Returns as select does; -1 with EINTR after a signal,
// 0 after the line was drawn for a new size. A closed descriptor counts as readable, since reading
// it fails at once.
int wait_for_input(int count, WaitSet *readable);

// Reads one byte after the wait. The input may have gone meanwhile, as at Ctrl-C, and the read may
// then have to wait: a signal ends that, too. Returns as read does, or `wait_again`.
constexpr ssize_t wait_again = -2;
ssize_t read_byte_slowly(int descriptor, char *byte);
// Inline, because it runs for every key. The raw terminal of a line never makes a read wait.
inline ssize_t read_byte(int descriptor, char *byte) {
  if (editor.terminal_is_raw) {
    const ssize_t got = read(descriptor, byte, 1);
    if (got != 0) return got;
  }
  return read_byte_slowly(descriptor, byte);
}

// For a forked child: the signals are no longer blocked.
void unblock_signals_in_child();

// Runs `call`, a function of the application that may take long and may write to the terminal, with
// the signals let in and in the thread's own locale. Then runs `apply`, which may change and redraw
// the line, with the signals blocked again and in the editor's locale. Output of `call` appears
// below the line.
//
// During `call`, HUP, TERM and QUIT restore the terminal and go to the disposition from before the
// read. INT and TSTP wait for the next wait_for_input. If `own_handlers`, the caller has just
// installed its own dispositions for these two, and they apply at once; the terminal is restored
// before a default action.
//
// If `call` closes or replaces a stream, it must have set its variable to null when it returns, or
// the layer must be able to tell by the descriptor. The line then ends as at the end of input, and
// both streams stay null.
void run_callback(void (*call)(), void (*apply)(), bool own_handlers);

}  // namespace lineedit
