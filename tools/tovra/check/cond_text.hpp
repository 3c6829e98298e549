// What the rules need of the texts of conditions.
#pragma once

#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::check {

// The properties that a condition names, without their '$': operands, and names in eval strings.
std::set<std::string> names_in(std::string_view condition);

struct comparison {
  std::string op;   // "eq" for a pair at the top
  std::string name; // of the property, without its '$'
  nlohmann::json literal;
  std::string text; // of the comparison, as a template would have it
};

// The comparisons of properties with literals in a condition that parses.
std::vector<comparison> comparisons_in(std::string_view condition);

} // namespace tovra::check
