// Edit distance, and the hint that is made from it.
#include "nearest.hpp"

#include <algorithm>
#include <bit>
#include <numeric>
#include <utility>
#include <vector>

namespace tovra::check {

size_t distance(std::string_view a, std::string_view b) {
  std::vector<size_t> before(b.size() + 1);
  std::vector<size_t> last(b.size() + 1);
  std::vector<size_t> row(b.size() + 1);
  std::iota(last.begin(), last.end(), size_t{0});
  for (size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) row[j] = std::min(row[j], before[j - 2] + 1);
    }
    std::swap(before, last);
    std::swap(last, row);
  }
  return last.back();
}

// The set of letters in a text. A change of one letter changes at most two members of the set, so texts whose
// sets differ more need not be compared.
static uint64_t letters_of(std::string_view text) {
  uint64_t letters = 0;
  for (const char c : text) letters |= uint64_t{1} << (static_cast<unsigned char>(c) % 64);
  return letters;
}

nearest_names::nearest_names(std::set<std::string> names) : names_(std::move(names)) {
  for (const std::string &name : names_) {
    if (name.size() >= by_length_.size()) by_length_.resize(name.size() + 1);
    by_length_[name.size()].push_back({letters_of(name), &name});
  }
}

const std::string &nearest_names::nearest(const std::string &name) {
  const auto [at, first] = found_.try_emplace(name);
  if (first && !names_.contains(name)) at->second = look_for(name);
  return at->second;
}

std::string nearest_names::hint(const std::string &name) {
  const std::string &found = nearest(name);
  return found.empty() ? "" : ", did you mean " + found + "?";
}

// Of several equally near names, the first in alphabetical order.
std::string nearest_names::look_for(const std::string &name) {
  const uint64_t letters = letters_of(name);
  const size_t most = std::max<size_t>(1, name.size() / 4);
  const std::string *best = nullptr;
  size_t least = most;
  const size_t shortest = name.size() > most ? name.size() - most : 0;
  for (size_t length = shortest; length <= name.size() + most && length < by_length_.size(); ++length) {
    for (const entry &at : by_length_[length]) {
      if (static_cast<size_t>(std::popcount(letters ^ at.letters)) > 2 * least) continue;
      const size_t work = name.size() * length + 1;
      if (left_ < work) return "";
      left_ -= work;
      const size_t apart = distance(name, *at.name);
      if (apart > least || (apart == least && best != nullptr && *best < *at.name)) continue;
      least = apart;
      best = at.name;
    }
  }
  return best != nullptr ? *best : "";
}

std::string did_you_mean(const std::string &name, const std::set<std::string> &names) {
  return nearest_names(names).hint(name);
}

} // namespace tovra::check
