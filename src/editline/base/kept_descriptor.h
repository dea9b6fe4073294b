// Descriptors that the layer keeps open from line to line, in a process that may close any of them,
// whose standard streams may be closed, and that may fork.
#pragma once

namespace lineedit {

// Gives a new descriptor a number that nobody takes for that of a closed standard stream, and puts
// it into `*kept`; -1 where `made` is negative or there is no number left. It is closed on exec. In
// a forked child `*kept` becomes -1: what stands behind the number is still the parent's.
void keep_descriptor(int made, int *kept);

}  // namespace lineedit
