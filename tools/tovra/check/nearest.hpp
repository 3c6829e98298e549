// The name that was probably meant.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::check {

// How many edits make one text out of the other: to change, insert or remove a letter, or to swap it with the
// next one.
size_t distance(std::string_view a, std::string_view b);

// Names, sorted by length and letters so that only few are compared with a wrong name. Results are
// remembered, and after very many comparisons the search stops: a check must end soon even when everything is
// wrong.
class nearest_names {
public:
  explicit nearest_names(std::set<std::string> names);
  nearest_names(const nearest_names &) = delete;
  nearest_names &operator=(const nearest_names &) = delete;

  // The nearest name; empty when no name is near, or when the given one exists.
  const std::string &nearest(const std::string &name);
  // ", did you mean NAME?", or empty.
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
  size_t left_ = 100000000; // how many more letters may be compared
};

// The same for a single search.
std::string did_you_mean(const std::string &name, const std::set<std::string> &names);

} // namespace tovra::check
