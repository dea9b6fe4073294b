// Where the editor gets its keys from.
#pragma once

#include <histedit.h>

namespace lineedit {

// The editor's reading function: through rl_getc_function when that is set, else the layer's own.
el_rfunc_t key_reader();

}  // namespace lineedit
