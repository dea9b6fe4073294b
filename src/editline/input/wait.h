// When signals reach the process while a line is read: in the wait for a key, and while a callback
// of the application's runs.
//
// The editor is not safe against signals: a handler that resizes its buffers or jumps out of it in
// the middle of a key tears its heap, and a signal that comes while it writes to the terminal makes
// the write fail and what was to be shown disappear. So nearly all signals are blocked for the
// length of a read and let in only where the editor is at rest.
//
// Order of calls for one line: block_signals, readline (which installs the layer's handlers and
// restores the ones it found), then, when the caller's own handlers are out of the way again,
// unblock_signals. A caller that does not block them leaves it to readline; but one whose handlers
// jump out of the read has to, and to unblock them where the jump lands.
#pragma once

#include <csignal>

#include "editline/base/wait_set.h"

namespace lineedit {

// Blocks the signals on the calling thread. Those of `admitted`, which may be null, get through in
// the wait and after the unblocking even where they were blocked before. Returns false when the
// signals are blocked already, and changes nothing then.
bool block_signals(const sigset_t *admitted);
// Lets them in again. Does nothing when they are not blocked.
void unblock_signals();

// select() for reading over the descriptors below `count`, without a deadline, that lets the
// blocked signals in while it waits. A signal that arrives is acted on here, after the wait, never
// inside a handler: the terminal is given back, the disposition in force before the read runs, and
// if that returns the line is taken up again. It may also jump away. Returns as select does; -1
// with EINTR after a signal. A closed descriptor counts as readable, since reading it fails at
// once.
int wait_for_input(int count, WaitSet *readable);

// For a read of nothing after the wait: whether the terminal has dropped what was there, as it does
// at a Ctrl-C, and there is more to wait for. False at the end of the input, which a terminal that
// edits lines itself tells in the same way.
bool input_was_dropped(int descriptor);

// Runs `call`, a function of the application's that may take long and may write to the terminal,
// with the signals let in, and then `apply`, which may change and draw the line, with the signals
// blocked again. What `call` writes comes below the line.
//
// In `call` HUP, TERM and QUIT give the terminal back and go to the disposition in force before the
// read. INT and TSTP wait for the next wait_for_input; except where `own_handlers` says that the
// caller has put dispositions of his own in place for these two, right before: then those act, with
// the terminal given back before a default action.
void run_callback(void (*call)(), void (*apply)(), bool own_handlers);

}  // namespace lineedit
