// Reading one line through libedit, with the terminal made raw before the prompt is shown.
#pragma once

#include <histedit.h>

namespace lineedit {
namespace engine {

// Reads a line as libedit's el_wgets does. Returns the editor's own buffer, or null with `*count` 0
// at the end of input and -1 after an error. Switches the terminal to raw mode before the prompt is
// shown. If that fails on a cooked terminal with no input waiting, returns null with `*count` and
// errno 0. If it fails otherwise, writes "Could not set rawmode.\n" to the editor's error stream
// and reads the line without editing. Does not switch the terminal if there is none, or while
// editing is off and the guard is not armed.
const wchar_t *el_wgets(EditLine *el, int *count);

}  // namespace engine
}  // namespace lineedit
