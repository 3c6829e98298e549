// The name that was probably meant.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::check {

// How many letters have to be changed, put in, taken out, or swapped with the next, to make one text of the
// other.
size_t distance(std::string_view a, std::string_view b);

// Names by their lengths and letters, so that few of them are compared with a wrong one. What was found is
// remembered, and after very many comparisons no more is looked for: a check ends soon, however much is
// wrong.
class nearest_names {
public:
  explicit nearest_names(std::set<std::string> names);
  nearest_names(const nearest_names &) = delete;
  nearest_names &operator=(const nearest_names &) = delete;

  // The nearest name; empty when none is near, or the name is one of them.
  const std::string &nearest(const std::string &name);
  // ", did you mean NAME?" with it, or empty.
  std::string hint(const std::string &name);

private:
  struct entry {
    uint64_t letters;
    const std::string *name;
  };

  std::string look_for(const std::string &name);

  std::set<std::string> names_;
  std::vector<std::vector<entry>> by_length_;
  std::map<std::string, std::string> found_;
  size_t left_ = 100000000; // of comparing one letter with another
};

// The same for one name.
std::string did_you_mean(const std::string &name, const std::set<std::string> &names);

} // namespace tovra::check
