// A process that is forked while a line is read. The line stays its parent's.
#pragma once

namespace lineedit {

// From now on, a forked child gets the dispositions and the mask from before the read, no
// descriptor of the layer's, and does not touch the terminal. It may read lines of its own.
//
// `further` is what the application does in the child: it runs after the layer's part and before
// the child gets its first signal, and may make only calls that a signal handler may make. A null
// one adds nothing, and leaves an earlier one in place.
void release_forked_children(void (*further)());

}  // namespace lineedit
