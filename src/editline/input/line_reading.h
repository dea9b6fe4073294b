// Reading one line through libedit, on a terminal that is raw before the prompt is shown.
#pragma once

#include <histedit.h>

namespace lineedit {
namespace engine {

// Reads a line, as libedit's el_wgets: the editor's own buffer, or null with `*count` 0 at the end
// of input and -1 after an error. The terminal is switched to raw mode first, before the prompt is
// shown. Where that fails, nothing waits to be read and the terminal was not raw: null, with
// `*count` and errno 0. Where it fails otherwise, "Could not set rawmode.\n" goes to the editor's
// error stream, and the line is read without editing. Without a terminal, and while editing is off
// and the guard is not armed, nothing is switched.
const wchar_t *el_wgets(EditLine *el, int *count);

}  // namespace engine
}  // namespace lineedit
