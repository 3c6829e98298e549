// Edit distance, and the hint made of it.
#include "nearest.hpp"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>
#include <vector>

namespace tovra::check {

size_t distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < a.size(); ++i) {
    size_t diagonal = std::exchange(row[0], i + 1);
    for (size_t j = 0; j < b.size(); ++j) {
      const size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = std::exchange(row[j + 1], std::min({replaced, row[j] + 1, row[j + 1] + 1}));
    }
  }
  return row.back();
}

std::string did_you_mean(const std::string &name, const std::set<std::string> &names) {
  const std::string *best = nullptr;
  size_t least = std::max<size_t>(1, name.size() / 4) + 1;
  for (const std::string &candidate : names) {
    const size_t apart = distance(name, candidate);
    if (apart < least) {
      least = apart;
      best = &candidate;
    }
  }
  return best != nullptr ? ", did you mean " + *best + "?" : "";
}

} // namespace tovra::check
