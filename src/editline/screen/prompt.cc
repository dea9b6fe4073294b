// The prompt, in a form that libedit shows completely.
#include "editline/screen/prompt.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "editline/base/editor.h"
#include "editline/base/variables.h"

namespace lineedit {

static struct {
  // Owned. Null until the first editor is set up.
  wchar_t *text;
} prompt_state;

const wchar_t *prompt_text() { return prompt_state.text; }

// The editor has one marker for both ends of an invisible sequence. It would take an end followed
// by a start for an empty sequence, so that pair is dropped between two adjacent sequences.
static const char *skip_adjacent_markers(const char *bytes) {
  while (bytes[0] == '\002' && bytes[1] == '\001') bytes += 2;
  return bytes;
}

// Decodes one character of `bytes`, or gives '?' for a byte that the locale cannot decode. Returns
// the number of bytes used.
static size_t decode_character(wchar_t *out, const char *bytes) {
  mbstate_t shift = {};
  const size_t used = mbrtowc(out, bytes, strlen(bytes), &shift);
  if (used <= MB_LEN_MAX) return used;
  *out = L'?';
  return 1;
}

// libedit 3.1-20221030 writes an invisible sequence together with the character after it, and drops
// a sequence at the very end of the prompt: a colour switched off there would stay on. So such a
// sequence swaps places with the character before it, usually a blank. If it then follows another
// sequence, the two are merged.
static void save_trailing_sequence(wchar_t *text, wchar_t *end) {
  if (end - text < 3 || end[-1] != L'\001') return;
  wchar_t *start = end - 2;
  while (start > text && *start != L'\001') --start;
  if (start == text || start[-1] == L'\001') return;
  const wchar_t character = start[-1];
  wmemmove(start - 1, start, static_cast<size_t>(end - start));
  end[-1] = character;
  if (start - text < 2 || start[-2] != L'\001') return;
  wmemmove(start - 2, start, static_cast<size_t>(end + 1 - start));
}

// libedit does not draw a character without a width, and it loses a sequence before one.
static bool is_drawn(wchar_t character, bool invisible) {
  return invisible || character == L'\001' || wcwidth(character) >= 0;
}

// If libedit 3.1-20221030 cannot decode a narrow prompt (any byte above 127 in the C locale), it
// crashes on a null pointer. So it gets a decoded one.
void set_prompt(const char *bytes) {
  free(prompt_state.text);
  prompt_state.text = static_cast<wchar_t *>(malloc((strlen(bytes) + 1) * sizeof(wchar_t)));
  wchar_t *out = prompt_state.text;
  bool invisible = false;
  for (bytes = skip_adjacent_markers(bytes); *bytes != '\0'; bytes = skip_adjacent_markers(bytes)) {
    bytes += decode_character(out, bytes);
    if (*out == L'\002') *out = L'\001';
    if (*out == L'\001') invisible = !invisible;
    if (is_drawn(*out, invisible)) ++out;
  }
  *out = L'\0';
  save_trailing_sequence(prompt_state.text, out);
}

// libedit 3.1-20221030 can draw only a prompt of one row.
void show_prompt(const char *prompt) {
  const char *last_break = strrchr(prompt, '\n');
  for (; last_break != nullptr && prompt <= last_break; ++prompt)
    if (editor.has_terminal && *prompt != '\001' && *prompt != '\002') fputc(*prompt, rl_outstream);
  set_prompt(prompt);
}

}  // namespace lineedit
