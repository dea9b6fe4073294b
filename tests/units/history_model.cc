// A plain model of the rules of history.
#include "history_model.h"

#include <algorithm>
#include <numeric>

static constexpr int nowhere = -1;

// --- Lines ---------------------------------------------------------------------------------------

int HistoryModel::index_of(int number) const {
  const auto found = std::find_if(lines.begin(), lines.end(), [number](const ModelLine &line) {
    return line.number == number;
  });
  return found == lines.end() ? nowhere : static_cast<int>(found - lines.begin());
}

bool HistoryModel::offers(const ModelLine &line) const {
  if (current_mode == no_mode || line.mode == no_mode) return true;
  return modes[current_mode].line.count(line.mode) > 0;
}

// The first index beyond `from` whose line is offered, or nowhere.
int HistoryModel::pick(int from, int direction) const {
  const int size = static_cast<int>(lines.size());
  for (int i = from + direction; i >= 0 && i < size; i += direction)
    if (offers(lines[i])) return i;
  return nowhere;
}

ModelAnswer HistoryModel::report(int result, int index) const {
  return {result, lines[index].number, lines[index].text};
}

ModelAnswer HistoryModel::walk_to(int index) {
  cursor = index == nowhere ? 0 : lines[index].number;
  return curr();
}

ModelAnswer HistoryModel::step(int direction) {
  if (cursor == 0) return {-1, {}, {}};
  const int index = pick(index_of(cursor), direction);
  return index == nowhere ? ModelAnswer{-1, {}, {}} : walk_to(index);
}

ModelAnswer HistoryModel::curr() const {
  return cursor == 0 ? ModelAnswer{-1, {}, {}} : report(0, index_of(cursor));
}

ModelAnswer HistoryModel::set(int number) {
  if (lines.empty()) return {-1, {}, {}};
  cursor = index_of(number) == nowhere ? 0 : number;
  return {cursor == 0 ? -1 : 0, {}, {}};
}

void HistoryModel::clear() {
  lines.clear();
  cursor = 0;
  last_number = 0;
}

ModelAnswer HistoryModel::enter(const std::string &text) {
  if (!lines.empty() && lines.back().text == text) return {0, {}, {}};
  lines.push_back({++last_number, text, current_mode});
  ModelAnswer answer = report(1, static_cast<int>(lines.size()) - 1);
  trim();
  return answer;
}

ModelAnswer HistoryModel::add(const std::string &text) {
  if (cursor == 0) return enter(text);
  const int index = index_of(cursor);
  lines[index].text += text;
  return report(0, index);
}

ModelAnswer HistoryModel::del(int number) {
  if (set(number).result == -1) return {-1, {}, {}};
  const int index = index_of(number);
  ModelAnswer answer = report(0, index);
  remove_at(index);
  return answer;
}

void HistoryModel::remove_at(int index) {
  if (lines[index].number == cursor) {
    const int size = static_cast<int>(lines.size());
    const int heir = index + 1 < size ? index + 1 : index - 1;
    cursor = heir < 0 ? 0 : lines[heir].number;
  }
  lines.erase(lines.begin() + index);
}

void HistoryModel::trim() {
  while (lines.size() > limit) remove_at(0);
}

void HistoryModel::shrink_to(unsigned new_limit) {
  limit = new_limit;
  trim();
}

// --- Modes ---------------------------------------------------------------------------------------

int HistoryModel::find_mode(const std::string &key) const {
  if (key.empty()) return no_mode;
  for (size_t i = 0; i < modes.size(); ++i)
    if (modes[i].key == key) return static_cast<int>(i);
  return no_mode;
}

int HistoryModel::new_mode(const std::string &key, const std::string &parent_key) {
  if (find_mode(key) != no_mode) return find_mode(key);
  const int parent = find_mode(parent_key);
  if (parent == no_mode && !parent_key.empty()) return no_mode;
  const int made = static_cast<int>(modes.size());
  std::set<int> line;
  if (parent != no_mode) line = modes[parent].line;
  line.insert(made);
  modes.push_back({key, parent, line});
  return made;
}

std::vector<int> HistoryModel::directory() const {
  std::vector<int> order(modes.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [this](int a, int b) { return modes[a].key < modes[b].key; });
  return order;
}
