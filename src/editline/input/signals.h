// Handlers for the seven signals that concern the line being edited: INT, TSTP, QUIT, HUP, TERM,
// CONT and WINCH. They only note a signal; the wait for input acts on it.
//
// libedit's own handlers (EL_SIGNAL) are not used. They would run on whichever thread the kernel
// picks while the reading thread has the signals blocked, act only once per line, and send each
// signal on to the whole process group.
#pragma once

#include <csignal>

namespace lineedit {

// Every signal except those that must never be blocked.
sigset_t blockable_signals();

// Install the handlers for one read, and restore the dispositions found then.
void install_signal_handlers();
void restore_signal_handlers();
// Install the handler for one signal, or those for INT and TSTP, again after others have replaced
// them.
void reinstall_signal_handler(int signo);
void reinstall_displaced_handlers();

// Whether the disposition that the read found is a handler function.
bool found_disposition_is_a_handler(int signo);

// Whether there is a noted signal to act on.
bool signal_was_noted();
// Takes the next noted signal, those that end the process first. Sets `*passed_on` if it has
// already been passed on to the disposition that the read found. Returns false if there are no
// more.
bool take_noted_signal(int *signo, bool *passed_on);

// Bracket a callback that runs on the reading thread with signals let in. HUP, TERM and QUIT then
// restore the terminal and go to the disposition that the read found; the other four are noted.
//
// With `own_handlers` the callback runs under the caller's own dispositions for INT and TSTP. Call
// the first right after those are installed, since another thread may receive these signals at any
// time. If one of the two is the default action, the terminal is restored before it takes effect.
void begin_callback_signals(bool own_handlers);
void end_callback_signals(bool own_handlers);

}  // namespace lineedit
