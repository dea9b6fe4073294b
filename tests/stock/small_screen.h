// What a terminal shows, as far as these symptoms need it: text, the ends of lines, and what the
// terminal description "xterm" has for moving in a line and for changing it.
#pragma once

#include <string>
#include <vector>

// The rows of a screen of that width after all of `shown`, without blanks at their ends. The screen
// is as high as it needs to be.
std::vector<std::string> rows_on_screen(const std::string &shown, size_t columns);
