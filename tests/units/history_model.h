// A plain model of the rules of history: lines in a vector, modes by number, everything found by
// looking at all of it. The randomised test plays the store against it.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

struct ModelLine {
  int number;
  std::string text;
  int mode;  // or no_mode
};

struct ModelMode {
  std::string key;
  int parent;          // or no_mode
  std::set<int> line;  // the mode itself and its ancestors
};

// What a call reports: its result, and the event it writes when it writes one.
struct ModelAnswer {
  int result;
  std::optional<int> number;
  std::string text;
};

class HistoryModel {
 public:
  static constexpr int no_mode = -1;

  ModelAnswer first() { return walk_to(pick(lines.size(), -1)); }
  ModelAnswer last() { return walk_to(pick(-1, +1)); }
  ModelAnswer next() { return step(-1); }
  ModelAnswer prev() { return step(+1); }
  ModelAnswer curr() const;
  ModelAnswer set(int number);
  void clear();
  ModelAnswer enter(const std::string &text);
  ModelAnswer add(const std::string &text);
  ModelAnswer del(int number);
  void remove_at(int index);
  void shrink_to(unsigned new_limit);

  // The number of the mode with this key, or no_mode.
  int find_mode(const std::string &key) const;
  // The same, made when it does not exist; no_mode when its parent does not.
  int new_mode(const std::string &key, const std::string &parent_key);
  // The numbers of all modes as the directory has them: by key, equal keys in the order of making.
  std::vector<int> directory() const;

  std::vector<ModelLine> lines;  // oldest first
  int cursor = 0;                // number of the current line; 0 for none
  int last_number = 0;
  unsigned limit = 1024;
  std::vector<ModelMode> modes;  // in the order of making
  int current_mode = no_mode;

 private:
  int index_of(int number) const;
  bool offers(const ModelLine &line) const;
  int pick(int from, int direction) const;
  ModelAnswer walk_to(int index);
  ModelAnswer step(int direction);
  ModelAnswer report(int result, int index) const;
  void trim();
};
