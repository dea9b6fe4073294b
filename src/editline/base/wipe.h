// Overwriting typed text in memory that the layer does not own: libedit frees its buffers without
// clearing them.
#pragma once

namespace lineedit {

// Memory freed between the two calls is overwritten, except blocks of up to 1032 bytes that the C
// library caches: wipe_freed_memory overwrites those. Pairs may nest.
void begin_wiping();
void end_wiping();

// Overwrites the blocks that the C library caches, and the stack below the caller's frame, where
// signals and the loader leave the contents of registers.
void wipe_freed_memory();

}  // namespace lineedit
