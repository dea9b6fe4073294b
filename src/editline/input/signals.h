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

// Install the handlers for one read, and restore the dispositions found then. A disposition that
// others have installed meanwhile stays.
void install_signal_handlers();
void restore_signal_handlers();
// For a forked child: restores the dispositions, and forgets what arrived before.
void restore_dispositions_in_child();
// Install the handler for one signal, or those for INT and TSTP, again after others have replaced
// them.
void reinstall_signal_handler(int signo);
void reinstall_displaced_handlers();

// Whether the disposition that the read found is a handler function.
bool found_disposition_is_a_handler(int signo);

// Others may have saved the layer's handler within a line, and put it back later.
bool is_layers_handler(void (*handler)(int));

// Whether there is a noted signal to act on.
bool signal_was_noted();
// Whether the reading thread is in a callback, and signals go to the application.
bool callback_is_running();
// From now on a handler that notes a signal replaces the descriptor `called` by `instead`, on which
// every read and write fails at once. So a signal also ends a call that has not begun yet. -1 for
// none.
void let_signals_end_calls_on(int called, int instead);
// Takes the next noted signal, those that end the process first. Sets `*passed_on` if it has
// already been passed on to the disposition that the read found. Returns false if there are no
// more.
bool take_noted_signal(int *signo, bool *passed_on);

// Bracket a callback that runs on the reading thread with signals let in. HUP, TERM and QUIT then
// restore the terminal and go to the disposition that the read found; the other four are noted. A
// disposition that the callback installs for one of the five besides INT and TSTP takes the place
// of the one that the read found.
//
// With `own_handlers` the callback runs under the caller's own dispositions for INT and TSTP. Call
// the first right after those are installed, since another thread may receive these signals at any
// time. If one of the two is the default action, the terminal is restored before it takes effect.
void begin_callback_signals(bool own_handlers);
void end_callback_signals(bool own_handlers);

}  // namespace lineedit
