// Screen positions, by the rules of libedit 3.1-20221030: what it writes for a character that
// cannot be shown as it is, and what it does at the right margin.
#include "editline/screen/position.h"

#include <cwchar>
#include <cwctype>

namespace lineedit {

static constexpr int tab_stop = 8;

static void start_row(ScreenPosition *at) {
  ++at->row;
  at->column = 0;
}

// After a full row the cursor is in the next one at once. A character that does not fit in the rest
// of the row goes to the next one.
static void draw(ScreenPosition *at, int width, int columns) {
  if (width <= columns && at->column + width > columns) start_row(at);
  at->column += width;
  if (at->column >= columns) start_row(at);
}

// A substitute such as ^A is drawn one column at a time.
static void draw_substitute(ScreenPosition *at, int width, int columns) {
  for (; width > 0; --width) draw(at, 1, columns);
}

static void draw_tab(ScreenPosition *at, int columns) {
  do draw(at, 1, columns);
  while (at->column % tab_stop != 0);
}

void advance_position(ScreenPosition *at, wchar_t character, int columns) {
  // A byte that is not a character is negative: neither cntrl nor print.
  const auto code = static_cast<wint_t>(static_cast<int>(character));
  if (character == L'\n')
    start_row(at);
  else if (character == L'\t')
    draw_tab(at, columns);
  else if (iswcntrl(code) != 0)
    draw_substitute(at, 2, columns);  // ^A
  else if (iswprint(code) == 0)
    draw_substitute(at, static_cast<int>(character) > 0xffff ? 8 : 7, columns);  // \U+00e4
  else
    draw(at, wcwidth(character) > 0 ? wcwidth(character) : 0, columns);
}

// In a prompt, only characters with a positive width are drawn.
static void draw_prompt(ScreenPosition *at, const wchar_t *prompt, int columns) {
  bool invisible = false;
  for (; *prompt != L'\0'; ++prompt) {
    if (*prompt == L'\001')
      invisible = !invisible;
    else if (!invisible && wcwidth(*prompt) > 0)
      draw(at, wcwidth(*prompt), columns);
  }
}

ScreenPosition screen_position(const wchar_t *prompt, const wchar_t *line, size_t length,
                               int columns) {
  ScreenPosition at = {0, 0};
  draw_prompt(&at, prompt, columns);
  for (size_t i = 0; i < length; ++i) advance_position(&at, line[i], columns);
  return at;
}

}  // namespace lineedit
