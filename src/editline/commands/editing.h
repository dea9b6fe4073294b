// Editing commands that libedit lacks or gets wrong.
#pragma once

#include <histedit.h>

namespace lineedit {

// Editor command: exchanges the character before the cursor and the one at it; at the end of the
// line, the last two.
unsigned char transpose_characters(EditLine *el, wint_t key);

// Editor command: exchanges the word before the cursor and the one at it or after it; at the end of
// the line, the last two.
unsigned char transpose_words(EditLine *el, wint_t key);

// Editor command: inserts the last word of the line before in history. Repeated, it takes the word
// of the next older line instead.
unsigned char insert_last_word(EditLine *el, wint_t key);
// Makes the next one a new one. To be called at the start of a line.
void end_word_insertion();

// Editor command: sends the suspend signal to the process group. If the key is the terminal's
// suspend key, as usual, the terminal sends the signal and the editor never sees the key.
unsigned char suspend(EditLine *el, wint_t key);

// Editor command: clears the screen, and draws prompt and line at its top.
unsigned char clear_screen(EditLine *el, wint_t key);

// Wipes what was typed, before the next user.
void wipe_editing();

}  // namespace lineedit
