// Descriptors that the layer keeps open from one line to the next. The process may close any of
// them, may run with closed standard streams, and may fork.
#pragma once

namespace lineedit {

// Moves the new descriptor `made` to a number that cannot be mistaken for a closed standard stream,
// and stores it in `*kept`; stores -1 if `made` is negative or no number is free. It is closed on
// exec. A forked child closes it and sets `*kept` to -1, because it still refers to the parent's
// object.
void keep_descriptor(int made, int *kept);

}  // namespace lineedit
