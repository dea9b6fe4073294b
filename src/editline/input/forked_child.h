// A process that is forked while a line is read. The line stays its parent's.
#pragma once

namespace lineedit {

// From now on, a forked child gets the dispositions and the mask from before the read, no
// descriptor of the layer's, and does not touch the terminal. It may read lines of its own.
void release_forked_children();

}  // namespace lineedit
