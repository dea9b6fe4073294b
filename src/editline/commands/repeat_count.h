// Repeat counts, which are typed before a key.
#pragma once

#include <histedit.h>

namespace lineedit {

// Editor command, for the first digit of a count: a digit after an Escape, with the eighth bit set,
// or in vi's command mode. Reads the digits that follow, and passes the count to libedit and to the
// layer's own commands (take_repeat_count in keys.h). The largest count is 9999.
unsigned char read_repeat_count(EditLine *el, wint_t key);

}  // namespace lineedit
