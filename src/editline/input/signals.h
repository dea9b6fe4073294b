// What signals do to the line being edited: handlers for the seven that concern it (INT, TSTP,
// QUIT, HUP, TERM, CONT and WINCH), which take a note for the wait to act on.
//
// libedit's own handlers (EL_SIGNAL) are not used: they would run on whatever thread the kernel
// picks while the reading one has the signals blocked, act once a line, and send each signal on to
// the whole process group.
#pragma once

#include <csignal>

namespace lineedit {

// Every signal but those that must never be blocked.
sigset_t blockable_signals();

// Takes the dispositions of the seven signals over for one read, and restores them as they were
// found.
void install_signal_handlers();
void restore_signal_handlers();
// Puts the handler for one signal, or those for INT and TSTP, back in their place after others have
// been there.
void reinstall_signal_handler(int signo);
void reinstall_displaced_handlers();

// Whether the disposition that the read has found is a function.
bool found_disposition_is_a_handler(int signo);

// Whether a signal has arrived that was not acted on.
bool signal_was_noted();
// Takes the next of those, the ones that end the process first. `*passed_on` tells that the
// disposition that the read found has been in force for it already. False when there is none left.
bool take_noted_signal(int *signo, bool *passed_on);

// Brackets a callback on the reading thread with signals let in. HUP, TERM and QUIT then give the
// terminal back and go to the disposition that the read found; the other four wait to be noted.
void begin_callback_signals();
void end_callback_signals();
// The same for a callback with dispositions of the caller's own for INT and TSTP, to be called
// right after he has put them in place, and right after the callback. Where one of the two is the
// default action, it comes after the terminal is given back. Other threads take such signals at any
// time.
void cover_default_actions();
void uncover_default_actions();

}  // namespace lineedit
