// The texts of conditions, as far as the rules read them.
#pragma once

#include <set>
#include <string>
#include <string_view>

namespace tovra::check {

// The properties that a condition names, without their '$', as operands and in eval strings.
std::set<std::string> names_in(std::string_view condition);

} // namespace tovra::check
