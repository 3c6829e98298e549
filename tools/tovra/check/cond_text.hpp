// The texts of conditions, as far as the rules read them.
#pragma once

#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::check {

// The properties that a condition names, without their '$', as operands and in eval strings.
std::set<std::string> names_in(std::string_view condition);

struct comparison {
  std::string op;   // "eq" for a pair at the top
  std::string name; // of the property, without its '$'
  nlohmann::json literal;
  std::string text; // as it could be written
};

// What a condition that parses compares with literals.
std::vector<comparison> comparisons_in(std::string_view condition);

} // namespace tovra::check
