// Which signals reach the process while a line is read, and when.
//
// The editor is not safe against signals: a handler that resizes its buffers or jumps out of it in
// the middle of a key tears its heap, and one of any signal that comes while it writes to the
// terminal makes the write fail and what was to be shown disappear. So nearly all signals are held
// back for the length of a read, and let in only where the editor is at rest: in the wait for a
// key, and while a callback that may take long runs. Seven of them concern the line being edited
// (INT, TSTP, QUIT, HUP, TERM, CONT and WINCH) and are handled here. libedit's own handlers
// (EL_SIGNAL) are not used: they would run on whatever thread the kernel picks while this one has
// the signals held, act once a line, and send each signal on to the whole process group.
//
// Order of calls for one line: rl_hold_signals, readline (which takes and gives back the
// dispositions), then, when the caller's own handlers are out of the way again, rl_release_signals.
// A caller that does not hold them leaves it to readline; but one whose handlers jump out of the
// read has to, and to release them where the jump lands.
#pragma once

#include <csignal>

#include "editline/base/wait_set.h"

namespace lineedit {

// Holds the signals back from the calling thread. Returns false when they are held already.
bool rl_hold_signals();
// Lets them in again, as they were before the hold. Does nothing when they are not held.
void rl_release_signals();
// Changes what the hold will end in and what the wait lets in: the signals of `set` get through
// even where they were blocked before the hold.
void rl_admit_signals(const sigset_t *set);

// select() for reading over the descriptors below `count`, without a deadline, that lets the held
// signals in while it waits. A signal that arrives is acted on here, after the wait, never inside a
// handler: the terminal is given back, the disposition in force before the read runs, and if that
// returns the line is taken up again. It may also jump away. Returns as select does; -1 with EINTR
// after a signal. A closed descriptor counts as readable, since reading it fails at once.
int rl_wait(int count, WaitSet *readable);

// For a read of nothing after rl_wait: the terminal has dropped what was there, as it does at a
// Ctrl-C, and there is more to wait for. False at the end of the input, which a terminal that edits
// lines itself tells in the same way.
bool rl_read_was_too_late(int descriptor);

// Brackets a callback that runs while the editor is at rest, on the reading thread, and may take
// long: between the two the held signals get through. HUP, TERM and QUIT give the terminal back and
// go to the disposition in force before the read; the other four wait for the next rl_wait, unless
// the caller has put dispositions of his own in place.
void rl_open_signals();
void rl_close_signals();

// Brackets a callback with dispositions of the caller's own for INT and TSTP: the one comes right
// after he has put them in place, the other right after the callback. Other threads take such
// signals at any time, so nothing else belongs in between. Where one of the two is the default
// action, it comes after the terminal is given back.
void rl_lend_signals();
void rl_take_back_signals();

// Whether the calling thread is the process's first.
bool is_main_thread();

// For the layer: takes the dispositions of the signals over for one read, makes good for those that
// a command displaced, and gives them back as they were found.
void take_signal_handlers();
void retake_signal_handlers();
void give_back_signal_handlers();

}  // namespace lineedit
