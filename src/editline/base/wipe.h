// Overwriting what a user typed in memory that is not the layer's own: libedit frees its buffers as
// they are.
#pragma once

namespace lineedit {

// What is freed between the two is overwritten, except blocks that the C library keeps at hand (up
// to 1032 bytes): those wait for wipe_freed_memory. The pairs may nest.
void begin_wiping();
void end_wiping();

// Overwrites the blocks that the C library keeps at hand, and the stack below the caller's frame,
// where signals and the loader leave whole registers.
void wipe_freed_memory();

}  // namespace lineedit
