// Descriptors that the layer keeps open from one line to the next. The process may close any of
// them, may run with closed standard streams, and may fork.
#pragma once

namespace lineedit {

// Moves the new descriptor `made` to a number of at least `lowest`, so that it cannot be mistaken
// for a closed standard stream, and stores it in `*kept`; stores -1 if `made` is negative or no
// number is free. It is closed on exec, as `made` must be.
void keep_descriptor(int made, int *kept, int lowest = 10);

// For a forked child: closes all of them and stores -1, because they still refer to the parent's
// objects. What the process has opened under their numbers stays open, unless it is of the same
// kind: the same terminal, or another signalfd or inotify.
void close_kept_descriptors();

}  // namespace lineedit
