// Finds what one render covers, and compares coverage with limits.
#pragma once

#include <optional>

#include "../command_line.hpp"
#include "../request.hpp"
#include "report.hpp"

namespace tovra::coverage {

// Renders, and adds what the render covered. The result is that of request::render; `data` is the name of the
// data file.
bool gather(request &made, const std::string &data, report &into);

// In percent; nullopt: no limit.
struct limits {
  std::optional<double> nodes, properties;
};
std::vector<option> add_limits(command &to, limits &asked);
// False when less is covered, which has been reported.
bool is_enough(const report &told, const limits &asked);

} // namespace tovra::coverage
