// The locale in which lines are edited. It is the editor's alone: the process's locale never
// changes, nor does that of any other thread.
//
// It is chosen when the editor is set up. If the application has set LC_CTYPE, or the thread has a
// locale of its own, nothing is switched: the editor works in what is in force at each moment.
// Otherwise it is the environment's (LC_ALL, LC_CTYPE, LANG), or C where that is not installed, and
// it stays until the next set-up, whatever the application sets meanwhile. The key map is made for
// the locale of the set-up.
//
// Every call of the layer that converts or shows text runs in the editor's locale. The
// application's callbacks run in the thread's own, and so do its handlers of the signals that the
// layer watches. The completion hook and the
// commands of the application run in the editor's: the line that they get is in its encoding.
//
// Callers pair the two functions below themselves, without a destructor, because a signal handler
// may jump out of a read:
//
//   const bool entered = enter_editor_locale();
//   ...
//   if (entered) leave_editor_locale();
#pragma once

namespace lineedit {

// Chooses the locale for a new editor, and frees that of the one before. The thread must not be in
// a call of the layer's; if it is in the editor's locale, it gets its own again.
void choose_editor_locale();

// Each switches the calling thread's locale, and returns whether it did: false where the thread is
// already there, or nothing is ever switched.
bool enter_editor_locale();
bool leave_editor_locale();

// Whether bytes above 127 are Meta keys: only where the locale chosen cannot decode any of them.
bool bytes_are_meta_keys();

}  // namespace lineedit
