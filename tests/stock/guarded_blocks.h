// Blocks of memory between pages that nobody may touch: a read or a write outside of one, or after
// its end, ends the process. This program's malloc hands them out, to the libraries that it uses,
// too.
#pragma once

enum class Guard { none, behind, before };

// From now on each block of a kilobyte or more ends, or begins, right at such a page. One that is
// made later has a higher address.
void guard_blocks(Guard guard);
