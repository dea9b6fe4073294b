// Descriptors that the layer keeps open from line to line, in a process that may close any of them
// between two lines and whose standard streams may be closed.
#pragma once

namespace lineedit {

// Gives a new descriptor a number that nobody takes for that of a closed standard stream. Returns
// the number, closed on exec; or -1 for a negative one and where there is no number left.
int keep_descriptor(int made);

}  // namespace lineedit
