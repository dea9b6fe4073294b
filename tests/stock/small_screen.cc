// What a terminal shows.
#include "small_screen.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

struct Screen {
  size_t columns;
  size_t row;
  // As many as there are columns behind a full row: the next character goes to the next row.
  size_t column;
  std::vector<std::string> rows;
};

static std::string *current_row(Screen *screen) {
  while (screen->rows.size() <= screen->row) screen->rows.emplace_back(screen->columns, ' ');
  return &screen->rows[screen->row];
}

static void show(Screen *screen, char character) {
  if (character == '\n') ++screen->row;
  if (character == '\r') screen->column = 0;
  if (character == '\b') screen->column = std::min(screen->column, screen->columns - 1) - 1;
  if (isprint(static_cast<unsigned char>(character)) == 0) return;
  if (screen->column == screen->columns) {
    ++screen->row;
    screen->column = 0;
  }
  (*current_row(screen))[screen->column++] = character;
}

static void run_sequence(Screen *screen, size_t count, char letter) {
  const size_t at = std::min(screen->column, screen->columns - 1);
  const size_t right = std::min(count, screen->columns - at);
  std::string *row = current_row(screen);
  screen->column = at;
  if (letter == 'A') screen->row -= std::min(count, screen->row);
  if (letter == 'C') screen->column = std::min(at + right, screen->columns - 1);
  if (letter == 'D') screen->column -= std::min(count, at);
  if (letter == 'G') screen->column = std::min(count, screen->columns) - 1;
  if (letter == 'J') screen->rows.resize(screen->row + 1);
  if (letter == 'J' || letter == 'K') row->replace(at, row->size(), screen->columns - at, ' ');
  if (letter == '@') row->insert(at, right, ' ').resize(screen->columns);
  if (letter == 'P') row->erase(at, right).resize(screen->columns, ' ');
}

std::vector<std::string> rows_on_screen(const std::string &shown, size_t columns) {
  Screen screen = {columns, 0, 0, {}};
  for (size_t i = 0; i < shown.size(); ++i) {
    if (shown.compare(i, 2, "\033[") != 0) {
      show(&screen, shown[i]);
      continue;
    }
    const size_t letter = std::min(shown.find_first_not_of("0123456789", i + 2), shown.size() - 1);
    const size_t count = strtoul(shown.c_str() + i + 2, nullptr, 10);
    run_sequence(&screen, std::max<size_t>(count, 1), shown[letter]);
    i = letter;
  }
  for (std::string &row : screen.rows) row.erase(row.find_last_not_of(' ') + 1);
  return screen.rows;
}
