// Descriptors that the layer keeps open from one line to the next. The process may close any of
// them, may run with closed standard streams, and may fork.
#pragma once

namespace lineedit {

// Moves a new descriptor, or -1, to a number of at least `lowest`, so that it cannot be mistaken
// for a closed standard stream. Returns -1 if no number is free. It is closed on exec, as `made`
// must be.
int move_descriptor(int made, int lowest);

// Moves it to 10 or above, and stores it in `*kept`.
void keep_descriptor(int made, int *kept);

// For a forked child: closes all that were kept and stores -1, because they still refer to the
// parent's objects. What the process has opened under their numbers stays open, unless it is of the
// same kind: another signalfd or inotify.
void close_kept_descriptors();

}  // namespace lineedit
