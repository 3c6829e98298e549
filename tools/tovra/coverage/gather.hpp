// What one render covers, and limits of what it should.
#pragma once

#include <optional>

#include "../command_line.hpp"
#include "../request.hpp"
#include "report.hpp"

namespace tovra::coverage {

// Renders, and adds what that covered. As request::render; `data` names the data file.
bool gather(request &made, const std::string &data, report &into);

// In percent; none: whatever is covered is enough.
struct limits {
  std::optional<double> nodes, properties;
};
std::vector<option> add_limits(command &to, limits &asked);
// False when less is covered, which is said.
bool is_enough(const report &told, const limits &asked);

} // namespace tovra::coverage
