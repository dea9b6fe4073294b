// Commands that move through history, by lines or by matches.
#pragma once

#include <histedit.h>

namespace lineedit {

// Editor commands: go back or forward by as many lines as the repeat count says.
unsigned char go_to_older_line(EditLine *el, wint_t key);
unsigned char go_to_newer_line(EditLine *el, wint_t key);
// Editor commands: go to the oldest line, and back to the line being typed.
unsigned char go_to_oldest_line(EditLine *el, wint_t key);
unsigned char go_to_newest_line(EditLine *el, wint_t key);
// Editor command: goes to the line whose number, from the oldest on, the repeat count is; without a
// count to the oldest.
unsigned char go_to_line_number(EditLine *el, wint_t key);
// Editor commands: go to the next line that contains the text before the cursor.
unsigned char go_to_older_match(EditLine *el, wint_t key);
unsigned char go_to_newer_match(EditLine *el, wint_t key);

// Makes the next search for the text before the cursor a new one. To be called at the start of a
// line.
void end_text_search();
// Wipes what was searched for or shown, before the next user.
void wipe_walk();

}  // namespace lineedit
