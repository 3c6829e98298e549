// The name that was probably meant.
#pragma once

#include <set>
#include <string>

namespace tovra::check {

// How many letters have to be changed, put in or taken out to make one text of the other.
size_t distance(std::string_view a, std::string_view b);
// ", did you mean NAME?" with the nearest name; empty when none is near.
std::string did_you_mean(const std::string &name, const std::set<std::string> &names);

} // namespace tovra::check
