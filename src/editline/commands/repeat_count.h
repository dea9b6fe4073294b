// Repeat counts: how often the key that follows is to be taken.
#pragma once

#include <histedit.h>

namespace lineedit {

// Editor command for a key that is a digit of a count, whether an Escape or the eighth bit marks it
// or vi's command mode: reads the digits that follow, and tells the count to libedit and to the
// layer's own commands (repeat_count in keys.h). Counts end at 9999.
unsigned char read_repeat_count(EditLine *el, wint_t key);

}  // namespace lineedit
