// One way to write a template file.
#pragma once

#include <string>
#include <string_view>

namespace tovra::fmt {

// The text of a file that loads, so written; it loads to the same nodes in the same order.
std::string formatted(std::string_view text);

} // namespace tovra::fmt
