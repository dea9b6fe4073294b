// The texts that keys type (`bind -s`). libedit looks a typed text up for keys again, and never
// ends a text that leads back to its own key; no signal gets in meanwhile.
#pragma once

namespace lineedit {

// Notes a key and its text, both as `bind` has them. Returns false, and notes nothing, if the text
// may lead back to the key.
bool note_bound_text(const char *key, const char *text);
// All texts are gone with the other bindings.
void forget_bound_texts();

}  // namespace lineedit
